#pragma once

#include <interf/IQSqlDatabaseWrapper.h>

#include <memory>

namespace sync::database {

class SqliteStore;

/// The transaction() of a host on the connection of whichever thread calls.
class SqliteDatabase : public interf::IQSqlDatabaseWrapper
{
public:
    explicit SqliteDatabase(std::shared_ptr<SqliteStore> store)
        : store(std::move(store))
    {
    }

    bool transaction() override;
    bool commit() override;
    bool rollback() override;

private:
    const std::shared_ptr<SqliteStore> store;
};

} // namespace sync::database
