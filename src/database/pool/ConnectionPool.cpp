#include <database/pool/ConnectionPool.h>

#include <base/FilePaths.h>
#include <base/LockGuard.h>
#include <database/opening/ReadOnlyConnection.h>

#include <QFileInfo>

#include <algorithm>
#include <exception>
#include <utility>

Q_LOGGING_CATEGORY(velmioDatabase, "velmio.database")

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

// What a host's pool of threads leaves; each holds a page cache.
constexpr std::size_t MaximumIdleConnections = 8;

/// Rolls back what a thread has left open when it ends.
struct OpenHostTransactions
{
    ~OpenHostTransactions()
    {
        for (const auto& pool : pools) {
            if (const auto alive = pool.lock())
                alive->undoHostTransaction(std::this_thread::get_id());
        }
    }

    std::vector<std::weak_ptr<ConnectionPool>> pools;
};

thread_local OpenHostTransactions openHostTransactions;

template <typename Connections, typename Matches>
auto findConnection(Connections& connections, Matches matches)
{
    return std::find_if(connections.begin(), connections.end(), matches);
}

} // namespace

ConnectionPool::ConnectionPool(const QString& path, OpenedStore& opened)
    : databasePath(path)
    , withWal(opened.hasWal)
    , readOnly(opened.readOnly)
    // A reader has no turn to wait for.
    , writers(
          readOnly ? std::make_shared<WriterQueue>()
                   : WriterQueue::forFile(QFileInfo(path).canonicalFilePath()))
    , checkpoints(path)
    , feed(path)
{
    if (!readOnly)
        idle.push_back(std::make_unique<SqliteConnection>(*this, std::move(opened.connection)));
}

ConnectionPool::~ConnectionPool()
{
    // They roll back what is open and give their turn back, for which they need the other members.
    active.clear();
    idle.clear();
}

SqliteConnection* ConnectionPool::borrow()
{
    const auto thread = std::this_thread::get_id();
    std::unique_lock lock(mutex);
    if (SqliteConnection* const mine = activeConnectionLocked(thread)) {
        ++mine->leases;
        return mine;
    }
    auto connection = takeIdle(thread);
    if (!connection) {
        // May wait for other processes; other threads must not wait for that.
        lock.unlock();
        connection = open();
        lock.lock();
    }
    connection->thread = thread;
    connection->leases = 1;
    return active.emplace_back(std::move(connection)).get();
}

std::unique_ptr<SqliteConnection> ConnectionPool::open()
{
    if (!readOnly)
        return std::make_unique<SqliteConnection>(*this, openConnection(databasePath));
    ReadOnlyConnection opened = openReadOnlyWithWal(base::resolvedFilePath(databasePath));
    execute(opened.database.get(), "COMMIT", databasePath);
    return std::make_unique<SqliteConnection>(
        *this, std::move(opened.database), opened.fingerprint);
}

void ConnectionPool::giveBack(SqliteConnection* connection) noexcept
{
    const base::LockGuard lock(mutex);
    --connection->leases;
    retireUnused(connection);
}

SqliteConnection* ConnectionPool::activeConnectionLocked(std::thread::id thread) const
{
    const auto found = findConnection(
        active, [thread](const auto& connection) { return connection->thread == thread; });
    return found == active.end() ? nullptr : found->get();
}

SqliteConnection* ConnectionPool::activeConnection(std::thread::id thread)
{
    const base::LockGuard lock(mutex);
    return activeConnectionLocked(thread);
}

std::unique_ptr<SqliteConnection> ConnectionPool::takeIdle(std::thread::id thread)
{
    if (idle.empty())
        return nullptr;
    // The connection that this thread had before has its statements prepared and its pages cached.
    auto found = findConnection(
        idle, [thread](const auto& connection) { return connection->thread == thread; });
    if (found == idle.end())
        found = idle.end() - 1;
    auto connection = std::move(*found);
    idle.erase(found);
    return connection;
}

void ConnectionPool::retireUnused(SqliteConnection* connection)
{
    if (connection->leases > 0 || connection->inTransaction() || connection->wasUndoneByCommit())
        return;
    connection->statements.takeReturned();
    const auto found = findConnection(
        active, [connection](const auto& owned) { return owned.get() == connection; });
    // How a store can be read without a trace changes with the programs that use it.
    if (!readOnly && idle.size() < MaximumIdleConnections)
        idle.push_back(std::move(*found));
    active.erase(found);
}

bool ConnectionPool::takeTurn(Failure& error)
{
    if (writers->enter(BusyTimeout))
        return true;
    error = {
        .cause = DatabaseError::Cause::Busy,
        .text = u"Another thread of this program has been writing to the database for more than "
                u"5 s: end its transaction."_s};
    return false;
}

void ConnectionPool::giveTurnBack(int walPages) noexcept
{
    Q_ASSERT(writers->isTaken());
    checkpoints.runIfDue(walPages);
    writers->leave();
}

void ConnectionPool::watchHostTransaction()
{
    auto& watched = openHostTransactions.pools;
    std::erase_if(watched, [](const auto& pool) { return pool.expired(); });
    const auto isThis = [this](const auto& pool) { return pool.lock().get() == this; };
    if (std::none_of(watched.begin(), watched.end(), isThis))
        watched.push_back(weak_from_this());
}

void ConnectionPool::noteAbandonedTransaction() noexcept
{
    if (SqliteConnection* const connection = activeConnection(std::this_thread::get_id()))
        connection->noteAbandonedTransaction();
}

void ConnectionPool::undoHostTransaction(std::thread::id thread) noexcept
{
    SqliteConnection* const connection = activeConnection(thread);
    if (!connection)
        return;
    const bool isOpen = connection->inTransaction();
    Failure error;
    if (!connection->rollbackHostTransaction(error))
        return;
    if (isOpen) {
        qCWarning(velmioDatabase).noquote()
            << u"A thread ended without ending its transaction on %1, which was rolled back"_s.arg(
                   databasePath);
    }
    const base::LockGuard lock(mutex);
    retireUnused(connection);
}

ConnectionLease::ConnectionLease(std::shared_ptr<ConnectionPool> lender)
    : pool(std::move(lender))
    , connection(pool->borrow())
{
}

ConnectionLease::~ConnectionLease()
{
    pool->giveBack(connection);
}

} // namespace sync::database
