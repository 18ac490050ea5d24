#pragma once

#include <interf/IQSqlDatabaseWrapper.h>

#include <memory>

namespace sync::database {
struct Failure;
} // namespace sync::database

namespace sync::fleet {

class ConnectionPool;
class PostgresConnection;

/// The transaction() of a host on the connection of the calling thread.
class PostgresDatabase : public interf::IQSqlDatabaseWrapper
{
public:
    explicit PostgresDatabase(std::shared_ptr<ConnectionPool> pool);
    ~PostgresDatabase() override;

    bool transaction() override;
    bool commit() override;
    bool rollback() override;

private:
    using Operation = bool (PostgresConnection::*)(database::Failure& error);
    bool run(Operation operation);

    const std::shared_ptr<ConnectionPool> pool;
    bool begun = false; // here, and not ended here
    int exceptionsAtBegin = 0;
};

} // namespace sync::fleet
