#include <database/SqliteDatabaseFactory.h>

#include <database/DatabaseError.h>
#include <database/sqlite/DatabaseFile.h>
#include <database/sqlite/SqliteDatabase.h>
#include <database/sqlite/SqliteQuery.h>
#include <database/sqlite/SqliteStore.h>

#include <QStandardPaths>

#include <mutex>

using namespace Qt::StringLiterals;

namespace sync::database {

std::shared_ptr<SqliteDatabaseFactory> SqliteDatabaseFactory::open(const QString& path)
{
    if (path.isEmpty())
        throw DatabaseError(
            DatabaseError::Cause::Other, u"The path of the database is empty: name a file."_s);

    const QString absolutePath = absoluteFilePath(path);
    // One after the other: a file that one thread has just created is closed before another
    // thread's connection holds locks on it, which that close would drop.
    static std::mutex opening;
    const std::lock_guard lock(opening);
    prepareDatabaseFile(absolutePath);
    return std::shared_ptr<SqliteDatabaseFactory>(
        new SqliteDatabaseFactory(std::make_shared<SqliteStore>(absolutePath)));
}

QString SqliteDatabaseFactory::defaultPath()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return folder + u"/velmio/configuration.db"_s;
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
        return std::make_shared<FailedQuery>(error.text());
    }
}

QString SqliteDatabaseFactory::path() const
{
    return store->path();
}

void SqliteDatabaseFactory::setCommitFailureHandler(CommitFailureHandler handler)
{
    store->setCommitFailureHandler(std::move(handler));
}

int SqliteDatabaseFactory::commitFailureCount() const
{
    return store->commitFailureCount();
}

} // namespace sync::database
