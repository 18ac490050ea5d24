#pragma once

#include <base/ThreadLoans.h>
#include <database/ChangeSource.h>
#include <database/FailureLog.h>
#include <fleet/connection/Session.h>
#include <fleet/statement/Translation.h>

#include <QString>

#include <memory>
#include <thread>
#include <vector>

namespace sync::fleet {

class ConnectionPool;

/// A connection, and the transaction of the thread to which it is lent. The pool ensures that only
/// that thread uses it. It connects when it is first used, and again when the connection broke.
class PostgresConnection : public base::LentToThread
{
public:
    explicit PostgresConnection(ConnectionPool& pool);
    ~PostgresConnection();

    PostgresConnection(const PostgresConnection&) = delete;
    PostgresConnection& operator=(const PostgresConnection&) = delete;

    /// Takes a session that is already open.
    void use(std::unique_ptr<Session> opened) { session = std::move(opened); }

    /// Runs a statement with the values of its placeholders. Null, with the reason in `error`, if
    /// it fails.
    ///
    /// A write outside a transaction is a transaction by itself. Inside one, a statement that fails
    /// undoes nothing before it.
    ResultHandle run(
        const Translation& statement, const std::vector<BoundValue>& values,
        database::Failure& error);

    /// True while a scope or a host has a transaction open.
    bool inTransaction() const { return owner != TransactionOwner::None; }

    bool beginHostTransaction(database::Failure& error);
    bool commitHostTransaction(database::Failure& error);

    /// True also after a commitHostTransaction() that failed: cleaning up is not a second failure,
    /// which would hide the first.
    bool rollbackHostTransaction(database::Failure& error);

    /// For ThreadLoans: in a transaction, and from a commitHostTransaction() that failed until the
    /// thread rolls back, begins another transaction, or ends.
    bool isNeeded() const { return inTransaction() || undoneByCommit; }

    /// Makes the next write report that the host's transaction was left by an exception.
    void noteAbandonedTransaction() { abandoned = owner == TransactionOwner::Host; }

    /// Ends what the scopes of the thread have begun. A commit that fails is rolled back and
    /// reported, and returns false.
    bool endScopeTransaction(bool commitIt) noexcept;

private:
    enum class TransactionOwner { None, Scope, Host };

    /// A write that a return to the savepoint undoes.
    struct Write
    {
        QByteArray text;
        Parameters parameters;
        QByteArray rows; // that it touched
    };

    bool connect(database::Failure& error);
    bool connectAgain(database::Failure& error);
    bool beginWrite(database::Failure& error);
    bool fill(
        const Translation& statement, const std::vector<BoundValue>& values,
        database::Failure& error);
    ResultHandle runRead(const QByteArray& text, database::Failure& error);
    ResultHandle runAlone(
        const Translation& statement, const QByteArray& text, database::Failure& error);
    ResultHandle runInTransaction(
        const Translation& statement, const QByteArray& text, database::Failure& error);
    bool mustRenewSavepoint() const;
    bool takeTurn(database::Failure& error);
    bool readTurn(const PGresult* turn, database::Failure& error);
    void noteWrite(const Translation& statement, const QByteArray& text, PGresult* result);
    void recover(const Session::Answers& failed, const database::Failure& error);
    void lose(const database::Failure& failure);
    database::Failure failureOf(const Session::Answers& answers) const;
    bool begin(TransactionOwner newOwner, database::Failure& error);
    bool commit(database::Failure& error) noexcept;
    void rollback() noexcept;
    void end() noexcept;
    void reportAbandonedTransaction();

    ConnectionPool& pool; // which owns this connection
    std::unique_ptr<Session> session;
    Parameters parameters; // of the statement that runs
    TransactionOwner owner = TransactionOwner::None;
    bool abandoned = false;
    bool undoneByCommit = false;
    database::Failure lostError; // why every further call in the transaction fails

    // Of the open transaction.
    bool hasTurn = false;
    bool changed = false;
    std::vector<qlonglong> lastIds; // of RecordTables, since the turn
    std::vector<Write> repeatable;  // the writes since the savepoint
    std::size_t writtenBytes = 0;
    database::RecordKinds changedKinds;
};

} // namespace sync::fleet
