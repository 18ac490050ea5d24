#include <database/pool/SqliteStore.h>

#include <base/FilePaths.h>
#include <database/opening/ReadOnlyConnection.h>

#include <QFileInfo>

#include <algorithm>
#include <exception>

Q_LOGGING_CATEGORY(velmioDatabase, "velmio.database")

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

// 48 MB of log. A checkpoint takes a hundred times as long as a durable addition of a file: this
// makes it rarer than one in a thousand. A longer log would cost the disk, readers and the next
// opening.
constexpr int CheckpointPages = 12288;

// While readers keep the log from being begun anew, a checkpoint follows whenever it has grown by a
// sixteenth, and holds the writers up for a little longer each time.
constexpr int RetryShare = 16;
constexpr std::chrono::milliseconds MaximumPatience{50};

// What a host's pool of threads leaves behind; each holds a page cache.
constexpr std::size_t MaximumIdleSessions = 8;

/// Rolls back what a thread that ends has left open.
struct OpenHostTransactions
{
    ~OpenHostTransactions()
    {
        for (const auto& store : stores) {
            if (const auto alive = store.lock())
                alive->abandonHostTransaction(std::this_thread::get_id());
        }
    }

    std::vector<std::weak_ptr<SqliteStore>> stores;
};

thread_local OpenHostTransactions openHostTransactions;

} // namespace

SqliteStore::SqliteStore(const QString& path, OpenedStore file)
    : databasePath(path)
    , openingWarnings(file.warnings)
    , ownStoreId(file.identity.storeId)
    , withLog(file.hasWal)
    , readOnly(file.readOnly)
    , moved(file.identity.moved)
    // Who only reads has no turn to wait for.
    , writers(
          readOnly ? std::make_shared<WriterQueue>()
                   : WriterQueue::forFile(QFileInfo(path).canonicalFilePath()))
    , checkpointer(path)
    , feed(path, writers)
    , checkpointAtPages(CheckpointPages)
{
    // Also says from now on that the file is in use.
    idle.push_back(std::make_unique<SqliteSession>(*this, std::move(file.connection)));
}

SqliteStore::~SqliteStore()
{
    // They roll back what is open and give up their turn, for which they need the rest of the
    // store.
    active.clear();
    idle.clear();
}

SqliteSession* SqliteStore::borrow()
{
    const auto thread = std::this_thread::get_id();
    std::unique_lock lock(sessionsMutex);
    if (SqliteSession* const mine = activeSession(thread)) {
        ++mine->users;
        return mine;
    }
    auto session = takeIdle(thread);
    if (!session) {
        // May wait for other processes, which is no reason for other threads to wait.
        lock.unlock();
        session = std::make_unique<SqliteSession>(*this, open());
        lock.lock();
    }
    session->thread = thread;
    session->users = 1;
    return active.emplace_back(std::move(session)).get();
}

void SqliteStore::giveBack(SqliteSession* session) noexcept
{
    const std::lock_guard lock(sessionsMutex);
    --session->users;
    retireUnused(session);
}

SqliteSession* SqliteStore::activeSession(std::thread::id thread) const
{
    const auto found = std::find_if(active.begin(), active.end(), [thread](const auto& session) {
        return session->thread == thread;
    });
    return found == active.end() ? nullptr : found->get();
}

SqliteHandle SqliteStore::open() const
{
    return readOnly ? openReadOnlyConnection(base::resolvedFilePath(databasePath)).database
                    : openConnection(databasePath);
}

std::unique_ptr<SqliteSession> SqliteStore::takeIdle(std::thread::id thread)
{
    if (idle.empty())
        return nullptr;
    // The one that this thread had before has its statements prepared and its pages at hand.
    auto found = std::find_if(idle.begin(), idle.end(), [thread](const auto& session) {
        return session->thread == thread;
    });
    if (found == idle.end())
        found = idle.end() - 1;
    auto session = std::move(*found);
    idle.erase(found);
    return session;
}

void SqliteStore::retireUnused(SqliteSession* session)
{
    if (session->users > 0 || session->inTransaction())
        return;
    session->releaseLeftBehind();
    const auto found = std::find_if(active.begin(), active.end(), [session](const auto& owned) {
        return owned.get() == session;
    });
    if (idle.size() < MaximumIdleSessions)
        idle.push_back(std::move(*found));
    active.erase(found);
}

bool SqliteStore::enterWriterQueue(Failure& error)
{
    if (writers->enter(BusyTimeout))
        return true;
    error = {
        DatabaseError::Cause::Busy,
        u"Another thread of this program has been writing to the database for more than 5 s: see "
        u"that it ends its transaction."_s};
    return false;
}

void SqliteStore::checkpointIfDue(int logPages) noexcept
{
    if (logPages == 0)
        return;
    if (logPages < logPagesBefore) {
        // A writer has begun the log anew.
        checkpointAtPages = CheckpointPages;
        checkpointPatience = std::chrono::milliseconds(0);
    }
    logPagesBefore = logPages;
    if (logPages < checkpointAtPages)
        return;
    checkpointer.run(checkpointPatience);
    checkpointAtPages = logPages + std::max(logPages, CheckpointPages) / RetryShare;
    checkpointPatience =
        std::min(std::max(2 * checkpointPatience, std::chrono::milliseconds(1)), MaximumPatience);
}

void SqliteStore::setCommitFailureHandler(SqliteDatabaseFactory::CommitFailureHandler handler)
{
    const std::lock_guard lock(failureMutex);
    commitFailureHandler = std::move(handler);
}

void SqliteStore::reportCommitFailure(const Failure& failure) noexcept
{
    ++commitFailures;
    reportFailure(failure);
    qCWarning(velmioDatabase).noquote()
        << u"Changes to %1 were undone, as they could not be committed: %2"_s.arg(
               databasePath, failure.text);
    SqliteDatabaseFactory::CommitFailureHandler handler;
    {
        const std::lock_guard lock(failureMutex);
        handler = commitFailureHandler;
    }
    if (handler)
        handler(failure.text);
}

void SqliteStore::setErrorHandler(SqliteDatabaseFactory::ErrorHandler handler)
{
    const std::lock_guard lock(failureMutex);
    errorHandler = std::move(handler);
}

void SqliteStore::reportFailure(const Failure& failure) noexcept
{
    const DatabaseError error(failure.cause, failure.text);
    SqliteDatabaseFactory::ErrorHandler handler;
    {
        const std::lock_guard lock(failureMutex);
        lastFailure = error;
        handler = errorHandler;
    }
    ++errors;
    if (handler)
        handler(error);
}

std::optional<DatabaseError> SqliteStore::lastError() const
{
    const std::lock_guard lock(failureMutex);
    return lastFailure;
}

void SqliteStore::watchHostTransaction()
{
    auto& watched = openHostTransactions.stores;
    std::erase_if(watched, [](const auto& store) { return store.expired(); });
    const auto isThis = [this](const auto& store) { return store.lock().get() == this; };
    if (std::none_of(watched.begin(), watched.end(), isThis))
        watched.push_back(weak_from_this());
}

void SqliteStore::abandonHostTransaction(std::thread::id thread) noexcept
{
    SqliteSession* session = nullptr;
    {
        const std::lock_guard lock(sessionsMutex);
        session = activeSession(thread);
    }
    Failure error;
    if (!session || !session->rollbackHostTransaction(error))
        return;
    qCWarning(velmioDatabase).noquote()
        << u"A thread ended without ending its transaction on %1, which was undone"_s.arg(
               databasePath);
    const std::lock_guard lock(sessionsMutex);
    retireUnused(session);
}

} // namespace sync::database
