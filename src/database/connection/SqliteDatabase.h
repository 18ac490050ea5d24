#pragma once

#include <interf/IQSqlDatabaseWrapper.h>

#include <memory>

namespace sync::database {

class ConnectionPool;
class SqliteConnection;
struct Failure;

/// The transaction() of a host on the connection of the calling thread.
class SqliteDatabase : public interf::IQSqlDatabaseWrapper
{
public:
    explicit SqliteDatabase(std::shared_ptr<ConnectionPool> pool);
    ~SqliteDatabase() override;

    bool transaction() override;
    bool commit() override;
    bool rollback() override;

private:
    using Operation = bool (SqliteConnection::*)(Failure& error);
    bool run(Operation operation);

    const std::shared_ptr<ConnectionPool> pool;
    bool begun = false; // here, and not ended here
    int exceptionsAtBegin = 0;
};

} // namespace sync::database
