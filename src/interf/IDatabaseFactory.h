#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <memory>

/// The interfaces that a host uses, and those that it can implement itself.
namespace sync::interf {
class IQSqlDatabaseWrapper;
class IQSqlQueryWrapper;
} // namespace sync::interf

/// The factory of connections and queries.
namespace sync::interf::factory {

/// Gives each manager access to the configuration database.
///
/// The managers create a query for every statement and release it when their operation returns. A
/// manager is as thread-safe as its factory.
class VELMIO_INTERFACES_EXPORT IDatabaseFactory
{
public:
    virtual ~IDatabaseFactory();

    /// The transaction control of the connection that the calling thread uses; never null.
    virtual std::shared_ptr<IQSqlDatabaseWrapper> GetDatabase() = 0;

    /// A new query, not yet prepared; never null. Without a connection, exec() of the query fails.
    virtual std::shared_ptr<IQSqlQueryWrapper> CreateQuery() = 0;
};

} // namespace sync::interf::factory
