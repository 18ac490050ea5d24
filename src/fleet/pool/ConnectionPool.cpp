#include <fleet/pool/ConnectionPool.h>

#include <utility>

Q_LOGGING_CATEGORY(velmioFleet, "velmio.fleet")

using namespace Qt::StringLiterals;

namespace sync::fleet {

namespace {

// What a host's pool of threads leaves; each is a process at the server.
constexpr std::size_t MaximumIdleConnections = 4;

} // namespace

ConnectionPool::ConnectionPool(
    const ConnectionOptions& options, const QString& storeId, std::unique_ptr<Session> first)
    : options(options)
    , storeId(storeId.toUtf8())
    , feed(this->options, this->storeId)
    , connections(MaximumIdleConnections)
{
    auto connection = std::make_unique<PostgresConnection>(*this);
    connection->use(std::move(first));
    connections.add(std::move(connection));
}

ConnectionPool::~ConnectionPool()
{
    // They roll back what is open, for which they need the other members.
    connections.clear();
}

PostgresConnection* ConnectionPool::borrow()
{
    return connections.borrow([this] { return std::make_unique<PostgresConnection>(*this); });
}

void ConnectionPool::giveBack(PostgresConnection* connection) noexcept
{
    connections.giveBack(connection);
}

void ConnectionPool::watchHostTransaction()
{
    base::watchThreadEnd(weak_from_this());
}

void ConnectionPool::noteAbandonedTransaction() noexcept
{
    if (PostgresConnection* const connection = connections.lentTo(std::this_thread::get_id()))
        connection->noteAbandonedTransaction();
}

void ConnectionPool::threadEnds() noexcept
{
    PostgresConnection* const connection = connections.lentTo(std::this_thread::get_id());
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
    connections.retireUnused(connection);
}

} // namespace sync::fleet
