#pragma once

#include <base/ThreadLoans.h>
#include <database/FailureLog.h>
#include <database/changes/ChangeFeed.h>
#include <database/connection/SqliteConnection.h>
#include <database/opening/StoreOpening.h>
#include <database/pool/CheckpointPolicy.h>
#include <database/pool/WriterQueue.h>

#include <QLoggingCategory>
#include <QString>

#include <chrono>
#include <memory>

Q_DECLARE_LOGGING_CATEGORY(velmioDatabase)

namespace sync::database {

/// The connections of one store, each lent to one thread at a time, and what they share: the turn
/// to write, checkpoints, failures and changes. Any thread may call.
///
/// The locks, in the order in which they are taken:
///
/// 1. The turn of the writer queue: one writer of this process at a time. A writer waits for it for
///    up to 5 s, holding none of the others, and keeps it until its transaction has ended. A
///    checkpoint runs in the turn, so the next writer waits for it as well.
/// 2. SQLite's write lock on the file, which only a thread with the turn takes: one writer of all
///    processes. Waits for up to 5 s.
/// 3. Mutexes, none of which is held while another one is taken, while a statement runs or while a
///    listener is called: ThreadLoans::mutex guards the lists of connections, StatementCache::mutex
///    the statements that another thread has let go of, WriterQueue's its queue, and FailureLog's
///    and Listeners' their contents. Two may wait for the disk: Checkpointer::mutex, which only a
///    thread with the turn takes, and ChangeFeed::pollMutex, which no commit takes.
///
/// Listeners run after the turn was given back, except those of a failure in an open transaction.
class ConnectionPool : public std::enable_shared_from_this<ConnectionPool>,
                       public base::ThreadEndWatcher
{
public:
    /// Takes the connection of the opened store, which shows others that the file is in use.
    ConnectionPool(const QString& path, OpenedStore& opened);
    ~ConnectionPool() override;

    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    const QString& path() const { return databasePath; }
    bool hasWal() const { return withWal; }
    bool isReadOnly() const { return readOnly; }

    FailureLog& failures() { return failureLog; }
    ChangeFeed& changes() { return feed; }

    /// The connection of the calling thread, the same one for as long as it has a query or a
    /// transaction. Give it back as often as it was borrowed. Throws DatabaseError.
    SqliteConnection* borrow();
    void giveBack(SqliteConnection* connection) noexcept;

    /// False, with the reason in `error`, if the turn does not come within the busy timeout.
    bool takeTurn(Failure& error);

    /// Checkpoints as far as readers allow, and waits for those as long. The caller has the turn
    /// and no transaction.
    void checkpoint(std::chrono::milliseconds patience) noexcept { checkpoints.run(patience); }

    /// Checkpoints first if that is due. The caller has the turn and no transaction.
    void giveTurnBack(int walPages) noexcept;

    /// Rolls back the transaction() that the calling thread has begun if the thread ends.
    void watchHostTransaction();

    /// Makes the next write of the calling thread report that its transaction() was left by an
    /// exception, unless that has ended by then.
    void noteAbandonedTransaction() noexcept;

    /// Rolls back the transaction() of the calling thread, which ends.
    void threadEnds() noexcept override;

private:
    std::unique_ptr<SqliteConnection> open();

    const QString databasePath;
    const bool withWal;
    const bool readOnly;
    const std::shared_ptr<WriterQueue> writers;
    CheckpointPolicy checkpoints;
    FailureLog failureLog;
    ChangeFeed feed;
    base::ThreadLoans<SqliteConnection> connections;
};

using ConnectionLease = base::Lease<ConnectionPool>;

} // namespace sync::database
