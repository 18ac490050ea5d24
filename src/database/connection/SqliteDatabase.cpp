#include <database/connection/SqliteDatabase.h>

#include <database/DatabaseError.h>
#include <database/pool/SqliteStore.h>

namespace sync::database {

namespace {

// The interface has no place for the reason of a failure, so that the factory and the log tell it.
bool onSessionOf(
    const std::shared_ptr<SqliteStore>& store, bool (SqliteSession::*operation)(Failure& error))
{
    Failure error;
    try {
        const SessionLease session(store);
        if ((session.operator->()->*operation)(error))
            return true;
    } catch (const DatabaseError& failure) {
        error = {failure.cause(), failure.text()};
    }
    store->reportFailure(error);
    qCWarning(velmioDatabase).noquote() << error.text;
    return false;
}

} // namespace

bool SqliteDatabase::transaction()
{
    if (!onSessionOf(store, &SqliteSession::beginHostTransaction))
        return false;
    store->watchHostTransaction();
    return true;
}

bool SqliteDatabase::commit()
{
    return onSessionOf(store, &SqliteSession::commitHostTransaction);
}

bool SqliteDatabase::rollback()
{
    return onSessionOf(store, &SqliteSession::rollbackHostTransaction);
}

} // namespace sync::database
