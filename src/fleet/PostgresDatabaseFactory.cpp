#include <fleet/PostgresDatabaseFactory.h>

#include <database/DatabaseError.h>
#include <fleet/connection/PostgresDatabase.h>
#include <fleet/connection/PostgresQuery.h>
#include <fleet/opening/FleetSchema.h>
#include <fleet/pool/ConnectionPool.h>

using namespace Qt::StringLiterals;

namespace sync::fleet {

std::shared_ptr<PostgresDatabaseFactory> PostgresDatabaseFactory::open(
    const QString& connection, const QString& storeId)
{
    if (storeId.isEmpty())
        throw database::DatabaseError(
            database::DatabaseError::Cause::Other,
            u"The id of the store is empty: name the store."_s);
    const ConnectionOptions options(connection, storeId);
    auto session = Session::open(options);
    bringSchemaUpToDate(*session);
    makeStore(*session, storeId);
    return std::shared_ptr<PostgresDatabaseFactory>(new PostgresDatabaseFactory(
        std::make_shared<ConnectionPool>(options, storeId, std::move(session))));
}

void PostgresDatabaseFactory::makeFleet(const QString& connection)
{
    bringSchemaUpToDate(*Session::open(ConnectionOptions(connection, {})));
}

PostgresDatabaseFactory::PostgresDatabaseFactory(std::shared_ptr<ConnectionPool> pool)
    : pool(std::move(pool))
{
}

PostgresDatabaseFactory::~PostgresDatabaseFactory() = default;

std::shared_ptr<interf::IQSqlDatabaseWrapper> PostgresDatabaseFactory::GetDatabase()
{
    return std::make_shared<PostgresDatabase>(pool);
}

std::shared_ptr<interf::IQSqlQueryWrapper> PostgresDatabaseFactory::CreateQuery()
{
    return std::make_shared<PostgresQuery>(pool);
}

QString PostgresDatabaseFactory::storeId() const
{
    return QString::fromUtf8(pool->store());
}

int PostgresDatabaseFactory::failureCount() const
{
    return pool->failures().failureCount();
}

std::optional<database::Failure> PostgresDatabaseFactory::lastFailure() const
{
    return pool->failures().lastFailure();
}

database::Listening PostgresDatabaseFactory::onFailure(
    std::function<void(const database::Failure& failure)> function)
{
    return pool->failures().onFailure(std::move(function));
}

database::Listening PostgresDatabaseFactory::onChange(
    std::function<void(database::RecordKinds kinds)> function)
{
    return pool->changes().listen(std::move(function));
}

void PostgresDatabaseFactory::poll()
{
    pool->changes().poll();
}

} // namespace sync::fleet
