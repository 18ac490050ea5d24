#pragma once

#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>

#include <QString>

#include <memory>

namespace sync::interf {
class IQSqlQueryWrapper;
}

namespace velmioctl {
class WatchedDatabase;
}

namespace velmioctl::exchange {

/// Writes rows exactly as they are, with their ids. All functions throw CommandError on failure.
class RowWriter
{
public:
    /// Without secrets the stored ones stay, and new rows have none.
    RowWriter(WatchedDatabase& database, bool withSecrets);
    ~RowWriter();

    RowWriter(const RowWriter&) = delete;
    RowWriter& operator=(const RowWriter&) = delete;

    void beginTable(const TableShape& table);
    void add(const Row& row);
    void change(const Row& row);
    void remove(qint64 id);

    /// Ids up to this one are not used again.
    void endTable(qint64 lastId);

private:
    void put(const Row& row);

    WatchedDatabase& database;
    const bool withSecrets;
    const TableShape* table = nullptr;
    std::vector<size_t> written; // columns
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> statement;
};

} // namespace velmioctl::exchange
