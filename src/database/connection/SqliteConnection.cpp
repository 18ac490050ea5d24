#include <database/connection/SqliteConnection.h>

#include <base/system/Files.h>
#include <database/ScopeParticipant.h>
#include <database/TransactionalScope.h>
#include <database/connection/SqliteError.h>
#include <database/pool/ConnectionPool.h>

#include <sqlite3.h>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

/// Ends the transaction of a connection with the outermost scope of its thread.
class ScopeTransaction : public ScopeParticipant
{
public:
    explicit ScopeTransaction(std::shared_ptr<ConnectionPool> pool)
        : connection(std::move(pool))
    {
    }

    bool endScopeTransaction(bool commit) noexcept override
    {
        return connection->endScopeTransaction(commit);
    }

private:
    const ConnectionLease connection;
};

} // namespace

SqliteConnection::SqliteConnection(
    ConnectionPool& pool, SqliteHandle opened, const std::optional<StoreFingerprint>& fingerprint)
    : pool(pool)
    , database(std::move(opened))
    , fingerprint(fingerprint)
    , statements(database.get())
{
    sqlite3_wal_hook(
        handle(),
        [](void* self, sqlite3*, const char*, int pages) {
            auto* const connection = static_cast<SqliteConnection*>(self);
            connection->pool.changes().ownCommits().count();
            connection->walPages = pages;
            return SQLITE_OK;
        },
        this);
}

SqliteConnection::~SqliteConnection()
{
    statements.takeReturned();
    rollback();
}

int SqliteConnection::pagesRead() const
{
    int pages = 0;
    int highest = 0;
    sqlite3_db_status(handle(), SQLITE_DBSTATUS_CACHE_MISS, &pages, &highest, 0);
    return pages;
}

bool SqliteConnection::hasOtherFingerprint()
{
    checkedPages = pagesRead();
    return fingerprintOf(base::pathFromLibrary(sqlite3_db_filename(handle(), "main"))) !=
           *fingerprint;
}

StatementLoan SqliteConnection::prepare(const QString& sql, Failure& error)
{
    Q_ASSERT(isOnItsThread());
    return statements.acquire(sql, error);
}

bool SqliteConnection::beginWrite(Failure& error)
{
    Q_ASSERT(isOnItsThread());
    // depth() rolls back what a scope that ended on another thread has left.
    if (owner == TransactionOwner::Scope)
        TransactionalScope::depth();
    if (inTransaction()) {
        if (abandoned)
            reportAbandonedTransaction();
        return true;
    }
    // From the second level on, writes belong together; a lone one is a transaction by itself.
    if (TransactionalScope::depth() >= 2) {
        if (!begin(TransactionOwner::Scope, error))
            return false;
        joinOutermostScope(std::make_shared<ScopeTransaction>(pool.shared_from_this()));
        return true;
    }
    hasTurn = pool.takeTurn(error);
    if (hasTurn)
        pool.changes().ownCommits().begin({});
    return hasTurn;
}

Failure SqliteConnection::noteFailedStatement()
{
    Failure failure = failureOf(handle());
    if (!inTransaction() && hasTurn && mayHaveLeftCommit(handle()))
        undoOnDisk(failure);
    // Some errors, a full disk and a read without memory among them, make SQLite roll back the
    // whole transaction (sqlite.org/lang_transaction.html). What follows must not be committed
    // without what came before.
    if (inTransaction() && sqlite3_get_autocommit(handle()) != 0 && lostError.isEmpty()) {
        lostError = failure;
        lostError.text.prepend(u"the transaction was rolled back when a statement failed: "_s);
    }
    return failure;
}

void SqliteConnection::endWrite() noexcept
{
    if (!inTransaction())
        leaveTurnAndPublish();
}

bool SqliteConnection::beginHostTransaction(Failure& error)
{
    if (inTransaction()) {
        error = {.text = u"a transaction is already open on this thread"_s};
        return false;
    }
    undoneByCommit = false;
    return begin(TransactionOwner::Host, error);
}

bool SqliteConnection::commitHostTransaction(Failure& error)
{
    if (owner != TransactionOwner::Host) {
        error = {.text = u"no transaction is open on this thread"_s};
        return false;
    }
    undoneByCommit = !commit(error);
    return !undoneByCommit;
}

bool SqliteConnection::rollbackHostTransaction(Failure& error)
{
    if (std::exchange(undoneByCommit, false))
        return true;
    if (owner != TransactionOwner::Host) {
        error = {.text = u"no transaction is open on this thread"_s};
        return false;
    }
    rollback();
    return true;
}

void SqliteConnection::noteAbandonedTransaction()
{
    abandoned = owner == TransactionOwner::Host;
}

void SqliteConnection::reportAbandonedTransaction()
{
    abandoned = false;
    const Failure failure{
        .text = u"an exception has left a transaction() of this thread without commit() or "
                u"rollback(): what the thread writes until one of them is called may be lost. "
                u"HostTransaction ends a transaction in any case"_s};
    pool.failures().report(failure);
    qCWarning(velmioDatabase).noquote() << failure.text;
}

bool SqliteConnection::endScopeTransaction(bool commitIt) noexcept
{
    if (!commitIt) {
        rollback();
        return true;
    }
    Failure error;
    if (commit(error))
        return true;
    qCWarning(velmioDatabase).noquote()
        << u"Changes to %1 were rolled back because they could not be committed: %2"_s.arg(
               pool.path(), error.text);
    pool.failures().report(error);
    return false;
}

bool SqliteConnection::begin(TransactionOwner newOwner, Failure& error)
{
    Q_ASSERT(isOnItsThread());
    if (!pool.takeTurn(error))
        return false;
    hasTurn = true;
    if (!run("BEGIN IMMEDIATE")) {
        error = failureOf(handle());
        leaveTurnAndPublish();
        return false;
    }
    owner = newOwner;
    return true;
}

bool SqliteConnection::commit(Failure& error) noexcept
{
    Q_ASSERT(isOnItsThread());
    // A reader commits nothing, and must not touch the memory that the others share.
    if (!pool.isReadOnly())
        noteCommit();
    if (lostError.isEmpty() && run("COMMIT")) {
        owner = TransactionOwner::None;
        abandoned = false;
        leaveTurnAndPublish();
        return true;
    }
    error = lostError.isEmpty() ? failureOf(handle()) : lostError;
    error.kind = Failure::Kind::Commit;
    const bool mayBeLeft = lostError.isEmpty() && mayHaveLeftCommit(handle());
    if (sqlite3_get_autocommit(handle()) == 0)
        run("ROLLBACK");
    if (mayBeLeft)
        undoOnDisk(error);
    rollback();
    return false;
}

// A failure means that nothing of it is in the database, also when that is opened again. Without a
// WAL the next reader rolls back what has not been committed.
void SqliteConnection::undoOnDisk(Failure& failure) noexcept
{
    if (pool.hasWal() && !commitNothing(handle()))
        failure.text += u' ' + leftCommitWarning();
}

void SqliteConnection::rollback() noexcept
{
    if (sqlite3_get_autocommit(handle()) == 0)
        run("ROLLBACK");
    owner = TransactionOwner::None;
    abandoned = false;
    lostError = {};
    changedKinds = {};
    leaveTurnAndPublish();
}

bool SqliteConnection::run(const char* sql) noexcept
{
    return sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// The write lock is held.
void SqliteConnection::noteCommit()
{
    if (!walCommits && pool.hasWal())
        walCommits = walCommitCounter(handle());
    pool.changes().ownCommits().begin(
        walCommits ? std::optional<std::uint32_t>(*walCommits) : std::nullopt);
}

// Removes replaced and deleted secrets from the WAL. Once a checkpoint has copied all of it and no
// reader needs it, the next commit starts the WAL over, and the size limit truncates the file.
void SqliteConnection::cutOffWal() noexcept
{
    using namespace std::chrono_literals;
    run("PRAGMA journal_size_limit = 0");
    for (const auto patience : {0ms, 20ms}) {
        pool.checkpoint(patience);
        if (!commitNothing(handle()) || walPages == 1)
            break;
    }
    run(JournalSizeLimit);
}

void SqliteConnection::leaveTurnAndPublish() noexcept
{
    constexpr RecordKinds WithSecrets = RecordKind::SignIn | RecordKind::Product;
    const RecordKinds published = std::exchange(changedKinds, {});
    if (std::exchange(hasTurn, false)) {
        if (published.testAnyFlags(WithSecrets) && pool.hasWal())
            cutOffWal();
        pool.changes().ownCommits().end();
        pool.giveTurnBack(walPages);
    }
    // After the turn, so that a listener delays no writer.
    if (published)
        pool.changes().publish(published);
}

} // namespace sync::database
