#pragma once

#include <velmioctl/exchange/PagedRows.h>

#include <QString>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace velmioctl::exchange {

/// The rows of a database, exactly as they are stored. All functions throw doctor::ReadFailure.
class StoreRows : public PagedRows
{
public:
    /// The tables must be in the order of tableShapes(). The database must outlive this.
    StoreRows(
        sync::interf::factory::IDatabaseFactory& database, std::vector<const TableShape*> tables);

private:
    qint64 beginTable() override;
    std::vector<Row> readPage(qint64 first) override;

    sync::interf::factory::IDatabaseFactory& database;
    QString select;
};

/// All ids of a table, ascending; throws doctor::ReadFailure.
std::vector<qint64> readIds(
    sync::interf::factory::IDatabaseFactory& database, const TableShape& table);

} // namespace velmioctl::exchange
