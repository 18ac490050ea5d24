#pragma once

#include <base/ThreadLoans.h>
#include <database/ChangeSource.h>
#include <database/FailureLog.h>
#include <database/connection/SqliteHandle.h>
#include <database/connection/StatementCache.h>

#include <QString>

#include <cstdint>
#include <optional>
#include <thread>

namespace sync::database {

class ConnectionPool;

/// A connection, and the transaction of the thread to which it is lent. The pool ensures that only
/// that thread uses it.
class SqliteConnection : public base::LentToThread
{
public:
    /// A connection that takes no locks has the fingerprint of the store before it was opened.
    SqliteConnection(
        ConnectionPool& pool, SqliteHandle opened,
        const std::optional<StoreFingerprint>& fingerprint = {});
    ~SqliteConnection();

    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    sqlite3* handle() const { return database.get(); }

    /// The prepared statement of a text; none, with the reason in `error`, if it does not prepare.
    StatementLoan prepare(const QString& sql, Failure& error);

    /// True if what a connection without locks has just read may be torn. @{
    bool wasOvertaken() { return fingerprint && hasOtherFingerprint(); }
    /// The same after a further row, without the system calls if that came from pages in memory.
    bool wasOvertakenAtRow() { return fingerprint && hasReadPages() && hasOtherFingerprint(); }
    ///@}

    /// True while a scope or a host has a transaction open.
    bool inTransaction() const { return owner != TransactionOwner::None; }

    /// Empty, or why every further call in the open transaction fails: SQLite has rolled the
    /// transaction back.
    const Failure& lostTransactionError() const { return lostError; }

    /// Call before each statement that writes: joins the open transaction, begins one for the
    /// scopes, or takes the turn for a write that is a transaction by itself. False, with the
    /// reason in `error`, if the turn or the write lock does not become free in time.
    bool beginWrite(Failure& error);

    /// Returns why a statement has failed. Call it once after each, reads included, before the next
    /// one runs.
    Failure noteFailedStatement();

    /// Notes what kinds of records a statement has changed, to be reported after the commit.
    void noteChanges(RecordKinds kinds) { changedKinds |= kinds; }

    /// Call after each beginWrite() that returned true, when the statement has run.
    void endWrite() noexcept;

    bool beginHostTransaction(Failure& error);
    bool commitHostTransaction(Failure& error);

    /// True also after a commitHostTransaction() that failed: cleaning up is not a second failure,
    /// which would hide the first.
    bool rollbackHostTransaction(Failure& error);

    /// For ThreadLoans: in a transaction, and from a commitHostTransaction() that failed until the
    /// thread rolls back, begins another transaction, or ends.
    bool isNeeded() const { return inTransaction() || undoneByCommit; }

    /// For ThreadLoans: takes back the statements that other threads have released.
    void rest() { statements.takeReturned(); }

    /// Makes the next write report that the host's transaction was left by an exception.
    void noteAbandonedTransaction();

    /// Ends what the scopes of the thread have begun. A commit that fails is rolled back and
    /// reported, and returns false.
    bool endScopeTransaction(bool commitIt) noexcept;

private:
    enum class TransactionOwner { None, Scope, Host };

    int pagesRead() const;
    bool hasReadPages() const { return pagesRead() != checkedPages; }
    bool hasOtherFingerprint();
    bool begin(TransactionOwner newOwner, Failure& error);
    bool commit(Failure& error) noexcept;
    void rollback() noexcept;
    void undoOnDisk(Failure& failure) noexcept;
    bool run(const char* sql) noexcept;
    void noteCommit();
    void cutOffWal() noexcept;
    void leaveTurnAndPublish() noexcept;
    void reportAbandonedTransaction();

    ConnectionPool& pool; // which owns this connection
    const SqliteHandle database;
    const std::optional<StoreFingerprint> fingerprint;
    int checkedPages = 0; // how many were read from the file when the fingerprint was compared
    StatementCache statements;
    TransactionOwner owner = TransactionOwner::None;
    bool hasTurn = false;
    bool abandoned = false;
    bool undoneByCommit = false;
    Failure lostError;
    RecordKinds changedKinds; // since the last commit
    int walPages = 0;         // after the last commit
    const volatile std::uint32_t* walCommits = nullptr;
};

} // namespace sync::database
