#include <database/SqliteDatabaseFactory.h>

#include <base/FilePaths.h>
#include <base/SharedByKey.h>
#include <database/connection/SqliteDatabase.h>
#include <database/connection/SqliteQuery.h>
#include <database/opening/Migrations.h>
#include <database/opening/StoreOpening.h>
#include <database/pool/ConnectionPool.h>

#include <QStandardPaths>

#include <sqlite3.h>

#include <mutex>

using namespace Qt::StringLiterals;

namespace sync::database {

std::shared_ptr<SqliteDatabaseFactory> SqliteDatabaseFactory::open(const QString& path)
{
    return openWith({}, path);
}

std::shared_ptr<SqliteDatabaseFactory> SqliteDatabaseFactory::openWith(
    const OpenOptions& options, const QString& path)
{
    if (path.isEmpty())
        throw DatabaseError(
            DatabaseError::Cause::Other, u"The path of the database is empty: name a file."_s);

    const QString absolutePath = base::absoluteFilePath(path);
    // A second opening would take the first one for a user that has checked the file after a crash,
    // and back up or switch what that one is about to change.
    static base::SharedByKey<std::mutex> openingLocks;
    const auto openingLock = openingLocks.at(base::resolvedFilePath(absolutePath));
    const std::lock_guard lock(*openingLock);
    OpenedStore opened = StoreOpening(absolutePath, options).open();
    for (const QString& warning : opened.warnings)
        qCWarning(velmioDatabase).noquote() << warning;
    return std::shared_ptr<SqliteDatabaseFactory>(new SqliteDatabaseFactory(absolutePath, opened));
}

std::shared_ptr<SqliteDatabaseFactory> SqliteDatabaseFactory::openReadOnly(const QString& path)
{
    return openReadOnlyWith({}, path);
}

std::shared_ptr<SqliteDatabaseFactory> SqliteDatabaseFactory::openReadOnlyWith(
    const OpenOptions& options, const QString& path)
{
    const QString absolutePath = base::absoluteFilePath(path);
    OpenedStore opened = StoreOpening(absolutePath, options).openReadOnly();
    return std::shared_ptr<SqliteDatabaseFactory>(new SqliteDatabaseFactory(absolutePath, opened));
}

QString SqliteDatabaseFactory::defaultPath()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return folder + u"/velmio/configuration.db"_s;
}

int SqliteDatabaseFactory::schemaVersion()
{
    return currentSchemaVersion();
}

bool SqliteDatabaseFactory::disableMemoryStatistics()
{
    return sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) == SQLITE_OK;
}

SqliteDatabaseFactory::SqliteDatabaseFactory(const QString& path, OpenedStore& opened)
    : pool(std::make_shared<ConnectionPool>(path, opened))
    , openingWarnings(opened.warnings)
    , ownStoreId(opened.identity.storeId)
    , moved(opened.identity.moved)
    , shared(opened.shared)
{
}

SqliteDatabaseFactory::~SqliteDatabaseFactory() = default;

std::shared_ptr<interf::IQSqlDatabaseWrapper> SqliteDatabaseFactory::GetDatabase()
{
    return std::make_shared<SqliteDatabase>(pool);
}

std::shared_ptr<interf::IQSqlQueryWrapper> SqliteDatabaseFactory::CreateQuery()
{
    try {
        return std::make_shared<SqliteQuery>(pool);
    } catch (const DatabaseError& error) {
        const Failure failure{Failure::Kind::Opening, error.cause(), error.text()};
        pool->failures().report(failure);
        return std::make_shared<FailedQuery>(pool, failure);
    }
}

QString SqliteDatabaseFactory::path() const
{
    return pool->path();
}

QStringList SqliteDatabaseFactory::warnings() const
{
    return openingWarnings;
}

QString SqliteDatabaseFactory::storeId() const
{
    return ownStoreId;
}

bool SqliteDatabaseFactory::hasWriteAheadLog() const
{
    return pool->hasWal();
}

bool SqliteDatabaseFactory::isMoved() const
{
    return moved;
}

bool SqliteDatabaseFactory::mayBeInUse() const
{
    return shared;
}

void SqliteDatabaseFactory::adopt()
{
    SqliteQuery query(pool);
    query.prepare(u"UPDATE StoreIdentity SET machineStamp = :machineStamp"_s);
    query.bindValue(u":machineStamp"_s, ownMachineStamp(ownStoreId));
    if (!query.exec())
        throw DatabaseError(
            query.lastFailure().cause,
            u"The database %1 cannot be made this machine's own: %2"_s.arg(
                path(), query.lastError()));
    moved = false;
}

int SqliteDatabaseFactory::failureCount() const
{
    return pool->failures().failureCount();
}

std::optional<Failure> SqliteDatabaseFactory::lastFailure() const
{
    return pool->failures().lastFailure();
}

Listening SqliteDatabaseFactory::onFailure(std::function<void(const Failure& failure)> function)
{
    return pool->failures().onFailure(std::move(function));
}

Listening SqliteDatabaseFactory::onChange(std::function<void(RecordKinds kinds)> function)
{
    return pool->isReadOnly() ? Listening() : pool->changes().listen(std::move(function));
}

void SqliteDatabaseFactory::poll()
{
    pool->changes().poll();
}

} // namespace sync::database
