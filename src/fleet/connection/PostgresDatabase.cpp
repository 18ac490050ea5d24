#include <fleet/connection/PostgresDatabase.h>

#include <fleet/pool/ConnectionPool.h>

#include <exception>

namespace sync::fleet {

PostgresDatabase::PostgresDatabase(std::shared_ptr<ConnectionPool> pool)
    : pool(std::move(pool))
{
}

PostgresDatabase::~PostgresDatabase()
{
    // The host may still end the transaction, which belongs to the thread and not to this object.
    if (begun && std::uncaught_exceptions() > exceptionsAtBegin)
        pool->noteAbandonedTransaction();
}

bool PostgresDatabase::transaction()
{
    if (!run(&PostgresConnection::beginHostTransaction))
        return false;
    begun = true;
    exceptionsAtBegin = std::uncaught_exceptions();
    pool->watchHostTransaction();
    return true;
}

bool PostgresDatabase::commit()
{
    begun = false;
    return run(&PostgresConnection::commitHostTransaction);
}

bool PostgresDatabase::rollback()
{
    begun = false;
    return run(&PostgresConnection::rollbackHostTransaction);
}

// The interface cannot return the reason of a failure, so it is reported and logged.
bool PostgresDatabase::run(Operation operation)
{
    database::Failure error;
    {
        const ConnectionLease connection(pool);
        if ((connection.operator->()->*operation)(error))
            return true;
    }
    pool->failures().report(error);
    qCWarning(velmioFleet).noquote() << error.text;
    return false;
}

} // namespace sync::fleet
