#include <database/pool/ConnectionPool.h>

#include <base/FilePaths.h>
#include <database/opening/ReadOnlyConnection.h>

#include <QFileInfo>

#include <utility>

Q_LOGGING_CATEGORY(velmioDatabase, "velmio.database")

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

// What a host's pool of threads leaves; each holds a page cache.
constexpr std::size_t MaximumIdleConnections = 8;

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
    // How a store can be read without a trace changes with the programs that use it.
    , connections(readOnly ? 0 : MaximumIdleConnections)
{
    if (!readOnly)
        connections.add(std::make_unique<SqliteConnection>(*this, std::move(opened.connection)));
}

ConnectionPool::~ConnectionPool()
{
    // They roll back what is open and give their turn back, for which they need the other members.
    connections.clear();
}

SqliteConnection* ConnectionPool::borrow()
{
    // May wait for other processes.
    return connections.borrow([this] { return open(); });
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
    connections.giveBack(connection);
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
    base::watchThreadEnd(weak_from_this());
}

void ConnectionPool::noteAbandonedTransaction() noexcept
{
    if (SqliteConnection* const connection = connections.lentTo(std::this_thread::get_id()))
        connection->noteAbandonedTransaction();
}

void ConnectionPool::threadEnds() noexcept
{
    SqliteConnection* const connection = connections.lentTo(std::this_thread::get_id());
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
    connections.retireUnused(connection);
}

} // namespace sync::database
