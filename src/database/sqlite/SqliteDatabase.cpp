#include <database/sqlite/SqliteDatabase.h>

#include <database/DatabaseError.h>
#include <database/sqlite/SqliteStore.h>

namespace sync::database {

namespace {

// The interface has no place for the reason of a failure, so that the log tells it.
bool onSessionOf(
    const std::shared_ptr<SqliteStore>& store, bool (SqliteSession::*operation)(QString& error))
{
    QString error;
    try {
        const SessionLease session(store);
        if ((session.operator->()->*operation)(error))
            return true;
    } catch (const DatabaseError& failure) {
        error = failure.text();
    }
    qCWarning(velmioDatabase).noquote() << error;
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
