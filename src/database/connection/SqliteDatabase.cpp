#include <database/connection/SqliteDatabase.h>

#include <database/DatabaseError.h>
#include <database/pool/ConnectionPool.h>

#include <exception>

namespace sync::database {

SqliteDatabase::SqliteDatabase(std::shared_ptr<ConnectionPool> pool)
    : pool(std::move(pool))
{
}

SqliteDatabase::~SqliteDatabase()
{
    // The host may still end the transaction, which belongs to the thread and not to this object.
    if (begun && std::uncaught_exceptions() > exceptionsAtBegin)
        pool->noteAbandonedTransaction();
}

bool SqliteDatabase::transaction()
{
    if (!run(&SqliteConnection::beginHostTransaction))
        return false;
    begun = true;
    exceptionsAtBegin = std::uncaught_exceptions();
    pool->watchHostTransaction();
    return true;
}

bool SqliteDatabase::commit()
{
    begun = false;
    return run(&SqliteConnection::commitHostTransaction);
}

bool SqliteDatabase::rollback()
{
    begun = false;
    return run(&SqliteConnection::rollbackHostTransaction);
}

// The interface cannot return the reason of a failure, so it is reported and logged.
bool SqliteDatabase::run(Operation operation)
{
    Failure error;
    try {
        const ConnectionLease connection(pool);
        if (((*connection).*operation)(error))
            return true;
    } catch (const DatabaseError& failure) {
        error = {Failure::Kind::Opening, failure.cause(), failure.text()};
    }
    pool->failures().report(error);
    qCWarning(velmioDatabase).noquote() << error.text;
    return false;
}

} // namespace sync::database
