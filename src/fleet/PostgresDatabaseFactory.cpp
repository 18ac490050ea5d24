#include <fleet/PostgresDatabaseFactory.h>

#include <database/DatabaseError.h>
#include <fleet/connection/ConnectionOptions.h>
#include <fleet/connection/PostgresHandle.h>
#include <fleet/opening/FleetSchema.h>

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
    const PostgresHandle handle = openConnection(options);
    bringSchemaUpToDate(handle.get());
    makeStore(handle.get(), storeId);
    return std::shared_ptr<PostgresDatabaseFactory>(new PostgresDatabaseFactory(storeId));
}

PostgresDatabaseFactory::PostgresDatabaseFactory(const QString& storeId)
    : ownStoreId(storeId)
{
}

PostgresDatabaseFactory::~PostgresDatabaseFactory() = default;

QString PostgresDatabaseFactory::storeId() const
{
    return ownStoreId;
}

} // namespace sync::fleet
