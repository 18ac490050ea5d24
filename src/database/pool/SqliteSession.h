#pragma once

#include <database/connection/SqliteConnection.h>

#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace sync::database {

class SqliteStore;

/// A connection while one thread has it on loan, with that thread's transaction.
///
/// Used by that thread alone; the store sees to that.
class SqliteSession
{
public:
    SqliteSession(SqliteStore& store, SqliteHandle opened);
    ~SqliteSession();

    SqliteSession(const SqliteSession&) = delete;
    SqliteSession& operator=(const SqliteSession&) = delete;

    SqliteConnection& connection() { return sqlite; }

    /// Takes back a statement that another thread has let go of: nothing but the thread of this
    /// session may touch it, which the next acquire() or the end of the loan does.
    void leaveBehind(PreparedStatement* statement);

    /// SqliteConnection::acquire(), after what was left behind is released.
    PreparedStatement* acquire(const QString& sql, Failure& error);

    /// True while a scope or a host has a transaction open.
    bool inTransaction() const { return owner != TransactionOwner::None; }

    /// Empty, or why nothing can be done any more in the transaction that is open: SQLite has
    /// rolled it back by itself.
    const Failure& lostTransactionError() const { return lostError; }

    /// Makes ready for a statement that writes: joins the open transaction, begins one for the
    /// scopes, or takes the turn for a write that is a transaction by itself. False, with the
    /// reason in `error`, when the turn or the write lock could not be had.
    bool beginWrite(Failure& error);

    /// Follows each statement that has failed, reads included, while its error is still at hand.
    void noteFailedStatement();

    /// Has the store count a failure and tell of it.
    void report(const Failure& failure);

    /// Notes tables whose rows a statement has changed, to be told with the commit.
    void noteChanges(const QStringList& tables);

    /// Follows each beginWrite() that returned true, when the statement has run.
    void endWrite() noexcept;

    bool beginHostTransaction(Failure& error);
    bool commitHostTransaction(Failure& error);
    bool rollbackHostTransaction(Failure& error);

    /// Ends what the scopes of the thread have begun. A commit that fails is rolled back, reported
    /// to the store, and false.
    bool endScopeTransaction(bool commitIt) noexcept;

private:
    void releaseLeftBehind();

    enum class TransactionOwner { None, Scope, Host };

    bool begin(TransactionOwner newOwner, Failure& error);
    bool commit(Failure& error) noexcept;
    void rollback() noexcept;
    void publishChanges() noexcept;
    void leaveTurn() noexcept;

    friend class SqliteStore;

    SqliteStore& store; // which owns this session
    SqliteConnection sqlite;
    TransactionOwner owner = TransactionOwner::None;
    bool hasTurn = false;
    Failure lostError;
    QStringList changedTables; // since the last commit

    std::mutex leftBehindMutex;
    std::vector<PreparedStatement*> leftBehind;
    std::atomic<bool> anyLeftBehind = false; // asked without the mutex, for nearly every statement

    // The store's, guarded by its mutex: who has it, and for how many leases.
    std::thread::id thread;
    int users = 0;
};

/// Holds the session of the thread that made it, and with it the store.
class SessionLease
{
public:
    /// Throws DatabaseError.
    explicit SessionLease(std::shared_ptr<SqliteStore> store);
    ~SessionLease();

    SessionLease(const SessionLease&) = delete;
    SessionLease& operator=(const SessionLease&) = delete;

    SqliteSession* operator->() const { return session; }

private:
    const std::shared_ptr<SqliteStore> store;
    SqliteSession* const session;
};

} // namespace sync::database
