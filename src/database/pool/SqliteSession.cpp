#include <database/pool/SqliteSession.h>

#include <database/TransactionalScope.h>
#include <database/connection/SqliteError.h>
#include <database/pool/SqliteStore.h>
#include <database/scope/ScopeParticipant.h>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

/// Has the outermost scope of a thread end the transaction of its session.
class ScopeTransaction : public ScopeParticipant
{
public:
    explicit ScopeTransaction(std::shared_ptr<SqliteStore> store)
        : session(std::move(store))
    {
    }

    bool endScopeTransaction(bool commit) noexcept override
    {
        return session->endScopeTransaction(commit);
    }

private:
    const SessionLease session;
};

} // namespace

SqliteSession::SqliteSession(SqliteStore& store, SqliteHandle opened)
    : store(store)
    , sqlite(std::move(opened), store.changes().commitCount())
{
}

SqliteSession::~SqliteSession()
{
    releaseLeftBehind();
    rollback();
}

void SqliteSession::leaveBehind(PreparedStatement* statement)
{
    const std::lock_guard lock(leftBehindMutex);
    leftBehind.push_back(statement);
    anyLeftBehind = true;
}

PreparedStatement* SqliteSession::acquire(const QString& sql, Failure& error)
{
    releaseLeftBehind();
    return sqlite.acquire(sql, error);
}

void SqliteSession::releaseLeftBehind()
{
    if (!anyLeftBehind)
        return;
    const std::lock_guard lock(leftBehindMutex);
    for (PreparedStatement* const statement : leftBehind)
        sqlite.release(statement);
    leftBehind.clear();
    anyLeftBehind = false;
}

bool SqliteSession::beginWrite(Failure& error)
{
    if (inTransaction())
        return true;
    // From the second level on, writes belong together; a lone one is a transaction by itself.
    if (TransactionalScope::depth() >= 2) {
        if (!begin(TransactionOwner::Scope, error))
            return false;
        joinOutermostScope(std::make_shared<ScopeTransaction>(store.shared_from_this()));
        return true;
    }
    hasTurn = store.enterWriterQueue(error);
    return hasTurn;
}

void SqliteSession::noteFailedStatement()
{
    // Some errors, a full disk and a read without memory among them, make SQLite roll back the
    // whole transaction (sqlite.org/lang_transaction.html). What follows must not be committed
    // without what was.
    if (inTransaction() && sqlite3_get_autocommit(sqlite.handle()) != 0 && lostError.isEmpty()) {
        lostError = failureOf(sqlite.handle());
        lostError.text.prepend(u"the transaction was rolled back when a statement failed: "_s);
    }
}

void SqliteSession::report(const Failure& failure)
{
    store.reportFailure(failure);
}

void SqliteSession::noteChanges(const QStringList& tables)
{
    for (const QString& table : tables) {
        if (!changedTables.contains(table))
            changedTables.append(table);
    }
}

void SqliteSession::endWrite() noexcept
{
    if (inTransaction())
        return;
    publishChanges();
    leaveTurn();
}

bool SqliteSession::beginHostTransaction(Failure& error)
{
    if (inTransaction()) {
        error = {.text = u"a transaction is open already on this thread"_s};
        return false;
    }
    return begin(TransactionOwner::Host, error);
}

bool SqliteSession::commitHostTransaction(Failure& error)
{
    if (owner != TransactionOwner::Host) {
        error = {.text = u"no transaction is open on this thread"_s};
        return false;
    }
    return commit(error);
}

bool SqliteSession::rollbackHostTransaction(Failure& error)
{
    if (owner != TransactionOwner::Host) {
        error = {.text = u"no transaction is open on this thread"_s};
        return false;
    }
    rollback();
    return true;
}

bool SqliteSession::endScopeTransaction(bool commitIt) noexcept
{
    if (!commitIt) {
        rollback();
        return true;
    }
    Failure error;
    if (commit(error))
        return true;
    store.reportCommitFailure(error);
    return false;
}

bool SqliteSession::begin(TransactionOwner newOwner, Failure& error)
{
    if (!store.enterWriterQueue(error))
        return false;
    hasTurn = true;
    if (!sqlite.run("BEGIN IMMEDIATE")) {
        error = failureOf(sqlite.handle());
        leaveTurn();
        return false;
    }
    owner = newOwner;
    return true;
}

bool SqliteSession::commit(Failure& error) noexcept
{
    if (lostError.isEmpty() && sqlite.run("COMMIT")) {
        owner = TransactionOwner::None;
        publishChanges();
        leaveTurn();
        return true;
    }
    error = lostError.isEmpty() ? failureOf(sqlite.handle()) : lostError;
    rollback();
    return false;
}

void SqliteSession::rollback() noexcept
{
    if (sqlite3_get_autocommit(sqlite.handle()) == 0)
        sqlite.run("ROLLBACK");
    owner = TransactionOwner::None;
    lostError = {};
    changedTables.clear();
    leaveTurn();
}

void SqliteSession::publishChanges() noexcept
{
    if (!changedTables.isEmpty())
        store.changes().publish(std::exchange(changedTables, {}));
}

void SqliteSession::leaveTurn() noexcept
{
    if (!std::exchange(hasTurn, false))
        return;
    store.checkpointIfDue(sqlite.logPages());
    store.leaveWriterQueue();
}

SessionLease::SessionLease(std::shared_ptr<SqliteStore> store)
    : store(std::move(store))
    , session(this->store->borrow())
{
}

SessionLease::~SessionLease()
{
    store->giveBack(session);
}

} // namespace sync::database
