#pragma once

#include <velmioctl/exchange/RowSource.h>

#include <QString>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace velmioctl::exchange {

/// The rows of a database, exactly as they are stored.
///
/// No statement stays open between two calls, so rows may be changed between them; later rows of
/// the table are read as they are then. All functions throw doctor::ReadFailure.
class StoreRows : public RowSource
{
public:
    /// The tables must be in the order of tableShapes(). The database must outlive this.
    StoreRows(
        sync::interf::factory::IDatabaseFactory& database, std::vector<const TableShape*> tables);

    bool nextTable() override;
    bool nextRow() override;

private:
    void readPage();

    sync::interf::factory::IDatabaseFactory& database;
    const std::vector<const TableShape*> tables;
    size_t tablesBegun = 0;
    QString select;
    std::vector<Row> page;
    size_t pageRow = 0;
    bool hasMore = false;
    qint64 nextId = 0;
};

/// All ids of a table, ascending; throws doctor::ReadFailure.
std::vector<qint64> readIds(
    sync::interf::factory::IDatabaseFactory& database, const TableShape& table);

} // namespace velmioctl::exchange
