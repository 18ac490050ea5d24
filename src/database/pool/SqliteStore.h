#pragma once

#include <database/SqliteDatabaseFactory.h>
#include <database/changes/ChangeFeed.h>
#include <database/opening/StoreOpening.h>
#include <database/pool/Checkpointer.h>
#include <database/pool/SqliteSession.h>
#include <database/pool/WriterQueue.h>

#include <QLoggingCategory>
#include <QString>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

Q_DECLARE_LOGGING_CATEGORY(velmioDatabase)

namespace sync::database {

/// What a factory and everything that it has handed out share: the connections of one database.
class SqliteStore : public std::enable_shared_from_this<SqliteStore>
{
public:
    SqliteStore(const QString& path, OpenedStore file);
    ~SqliteStore();

    const QString& path() const { return databasePath; }
    QStringList warnings() const { return openingWarnings; }
    QString storeId() const { return ownStoreId; }
    bool hasLog() const { return withLog; }
    /// As it was found, until the store is adopted.
    bool isMoved() const { return moved; }
    void noteAdopted() { moved = false; }

    /// The session of the calling thread, one connection for as long as it has a query or a
    /// transaction. To be given back for each time that it was borrowed. Throws DatabaseError.
    SqliteSession* borrow();
    void giveBack(SqliteSession* session) noexcept;

    /// False, with the reason in `error`, when the turn did not come within the busy timeout.
    bool enterWriterQueue(Failure& error);
    void leaveWriterQueue() { writers->leave(); }

    /// Checkpoints when the log is long enough. The caller has the turn and no transaction.
    void checkpointIfDue(int logPages) noexcept;

    void setCommitFailureHandler(SqliteDatabaseFactory::CommitFailureHandler handler);
    void reportCommitFailure(const Failure& failure) noexcept;
    int commitFailureCount() const { return commitFailures; }

    void setErrorHandler(SqliteDatabaseFactory::ErrorHandler handler);
    /// Counts the failure of a call and tells the handler. Any thread may call.
    void reportFailure(const Failure& failure) noexcept;
    int errorCount() const { return errors; }
    std::optional<DatabaseError> lastError() const;

    ChangeFeed& changes() { return feed; }

    /// Has the transaction() that the calling thread has begun undone should the thread end.
    void watchHostTransaction();
    void abandonHostTransaction(std::thread::id thread) noexcept;

private:
    const QString databasePath;
    const QStringList openingWarnings;
    const QString ownStoreId;
    const bool withLog;
    const bool readOnly;
    std::atomic<bool> moved;
    const std::shared_ptr<WriterQueue> writers;
    Checkpointer checkpointer;
    ChangeFeed feed;

    using Sessions = std::vector<std::unique_ptr<SqliteSession>>;

    SqliteHandle open() const;
    SqliteSession* activeSession(std::thread::id thread) const;
    std::unique_ptr<SqliteSession> takeIdle(std::thread::id thread);
    void retireUnused(SqliteSession* session);

    std::mutex sessionsMutex;
    Sessions active; // one for each thread that has one
    Sessions idle;   // the last one given back behind

    // Guarded by the turn of the writer queue.
    int logPagesBefore = 0;
    int checkpointAtPages;
    std::chrono::milliseconds checkpointPatience{0};

    std::atomic<int> commitFailures = 0;
    std::atomic<int> errors = 0;
    mutable std::mutex failureMutex;
    SqliteDatabaseFactory::CommitFailureHandler commitFailureHandler;
    SqliteDatabaseFactory::ErrorHandler errorHandler;
    std::optional<DatabaseError> lastFailure;
};

} // namespace sync::database
