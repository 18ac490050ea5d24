#include <database/SqliteDatabaseFactory.h>

#include <base/FilePaths.h>
#include <database/connection/SqliteDatabase.h>
#include <database/connection/SqliteQuery.h>
#include <database/opening/Migrations.h>
#include <database/opening/StoreOpening.h>
#include <database/pool/SqliteStore.h>

#include <QStandardPaths>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace sync::database {

std::shared_ptr<SqliteDatabaseFactory> SqliteDatabaseFactory::open(const QString& path)
{
    if (path.isEmpty())
        throw DatabaseError(
            DatabaseError::Cause::Other, u"The path of the database is empty: name a file."_s);

    const QString absolutePath = base::absoluteFilePath(path);
    OpenedStore opened = StoreOpening(absolutePath).open();
    for (const QString& warning : opened.warnings)
        qCWarning(velmioDatabase).noquote() << warning;
    return std::shared_ptr<SqliteDatabaseFactory>(
        new SqliteDatabaseFactory(std::make_shared<SqliteStore>(absolutePath, std::move(opened))));
}

std::shared_ptr<SqliteDatabaseFactory> SqliteDatabaseFactory::openReadOnly(const QString& path)
{
    const QString absolutePath = base::absoluteFilePath(path);
    return std::shared_ptr<SqliteDatabaseFactory>(new SqliteDatabaseFactory(
        std::make_shared<SqliteStore>(absolutePath, StoreOpening(absolutePath).openReadOnly())));
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

SqliteDatabaseFactory::SqliteDatabaseFactory(std::shared_ptr<SqliteStore> store)
    : store(std::move(store))
{
}

SqliteDatabaseFactory::~SqliteDatabaseFactory() = default;

std::shared_ptr<interf::IQSqlDatabaseWrapper> SqliteDatabaseFactory::GetDatabase()
{
    return std::make_shared<SqliteDatabase>(store);
}

std::shared_ptr<interf::IQSqlQueryWrapper> SqliteDatabaseFactory::CreateQuery()
{
    try {
        return std::make_shared<SqliteQuery>(store);
    } catch (const DatabaseError& error) {
        const Failure failure{error.cause(), error.text()};
        store->reportFailure(failure);
        return std::make_shared<FailedQuery>(store, failure);
    }
}

QString SqliteDatabaseFactory::path() const
{
    return store->path();
}

QStringList SqliteDatabaseFactory::warnings() const
{
    return store->warnings();
}

QString SqliteDatabaseFactory::storeId() const
{
    return store->storeId();
}

bool SqliteDatabaseFactory::hasWriteAheadLog() const
{
    return store->hasLog();
}

bool SqliteDatabaseFactory::isMoved() const
{
    return store->isMoved();
}

bool SqliteDatabaseFactory::adopt()
{
    const auto query = CreateQuery();
    query->prepare(u"UPDATE StoreIdentity SET machineStamp = :machineStamp"_s);
    query->bindValue(u":machineStamp"_s, ownMachineStamp(storeId()));
    if (!query->exec())
        return false;
    store->noteAdopted();
    return true;
}

void SqliteDatabaseFactory::setCommitFailureHandler(CommitFailureHandler handler)
{
    store->setCommitFailureHandler(std::move(handler));
}

int SqliteDatabaseFactory::commitFailureCount() const
{
    return store->commitFailureCount();
}

int SqliteDatabaseFactory::errorCount() const
{
    return store->errorCount();
}

std::optional<DatabaseError> SqliteDatabaseFactory::lastError() const
{
    return store->lastError();
}

void SqliteDatabaseFactory::setErrorHandler(ErrorHandler handler)
{
    store->setErrorHandler(std::move(handler));
}

} // namespace sync::database
