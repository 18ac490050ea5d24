#include <fleet/pool/ConnectionPool.h>

#include <base/LockGuard.h>

#include <algorithm>
#include <utility>

Q_LOGGING_CATEGORY(velmioFleet, "velmio.fleet")

using namespace Qt::StringLiterals;

namespace sync::fleet {

namespace {

// What a host's pool of threads leaves; each is a process at the server.
constexpr std::size_t MaximumIdleConnections = 4;

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

ConnectionPool::ConnectionPool(
    const ConnectionOptions& options, const QString& storeId, std::unique_ptr<Session> first)
    : options(options)
    , storeId(storeId.toUtf8())
    , feed(this->options, this->storeId)
{
    idle.push_back(std::make_unique<PostgresConnection>(*this));
    idle.back()->use(std::move(first));
}

ConnectionPool::~ConnectionPool()
{
    // They roll back what is open, for which they need the other members.
    active.clear();
    idle.clear();
}

PostgresConnection* ConnectionPool::borrow()
{
    const auto thread = std::this_thread::get_id();
    const base::LockGuard lock(mutex);
    if (PostgresConnection* const mine = activeConnectionLocked(thread)) {
        ++mine->leases;
        return mine;
    }
    auto connection = takeIdle(thread);
    connection->thread = thread;
    connection->leases = 1;
    return active.emplace_back(std::move(connection)).get();
}

void ConnectionPool::giveBack(PostgresConnection* connection) noexcept
{
    const base::LockGuard lock(mutex);
    --connection->leases;
    retireUnused(connection);
}

PostgresConnection* ConnectionPool::activeConnectionLocked(std::thread::id thread) const
{
    const auto found = findConnection(
        active, [thread](const auto& connection) { return connection->thread == thread; });
    return found == active.end() ? nullptr : found->get();
}

PostgresConnection* ConnectionPool::activeConnection(std::thread::id thread)
{
    const base::LockGuard lock(mutex);
    return activeConnectionLocked(thread);
}

std::unique_ptr<PostgresConnection> ConnectionPool::takeIdle(std::thread::id thread)
{
    if (idle.empty())
        return std::make_unique<PostgresConnection>(*this);
    // The connection that this thread had before has its statements prepared.
    auto found = findConnection(
        idle, [thread](const auto& connection) { return connection->thread == thread; });
    if (found == idle.end())
        found = idle.end() - 1;
    auto connection = std::move(*found);
    idle.erase(found);
    return connection;
}

void ConnectionPool::retireUnused(PostgresConnection* connection)
{
    if (connection->leases > 0 || connection->inTransaction() || connection->wasUndoneByCommit())
        return;
    const auto found = findConnection(
        active, [connection](const auto& owned) { return owned.get() == connection; });
    if (idle.size() < MaximumIdleConnections)
        idle.push_back(std::move(*found));
    active.erase(found);
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
    if (PostgresConnection* const connection = activeConnection(std::this_thread::get_id()))
        connection->noteAbandonedTransaction();
}

void ConnectionPool::undoHostTransaction(std::thread::id thread) noexcept
{
    PostgresConnection* const connection = activeConnection(thread);
    if (!connection)
        return;
    const bool isOpen = connection->inTransaction();
    database::Failure error;
    if (!connection->rollbackHostTransaction(error))
        return;
    if (isOpen) {
        qCWarning(velmioFleet).noquote()
            << u"A thread ended without ending its transaction on the store %1, which was rolled back"_s
                   .arg(QString::fromUtf8(storeId));
    }
    const base::LockGuard lock(mutex);
    retireUnused(connection);
}

} // namespace sync::fleet
