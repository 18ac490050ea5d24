#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <memory>

/// The interfaces that a host programs against, and those that it may implement itself.
namespace sync::interf {
class IQSqlDatabaseWrapper;
class IQSqlQueryWrapper;
} // namespace sync::interf

/// What makes connections and queries.
namespace sync::interf::factory {

/// What a host hands to each manager: the way to the configuration database.
///
/// The managers ask for a query for every statement and release it when their operation returns.
/// A manager is as thread-safe as its factory.
class VELMIO_INTERFACES_EXPORT IDatabaseFactory
{
public:
    virtual ~IDatabaseFactory();

    /// The transaction control of the connection that the calling thread uses; never null.
    virtual std::shared_ptr<IQSqlDatabaseWrapper> GetDatabase() = 0;

    /// A new query, not yet prepared; never null. When there is no connection to be had, the query
    /// tells so by a failing exec().
    virtual std::shared_ptr<IQSqlQueryWrapper> CreateQuery() = 0;
};

} // namespace sync::interf::factory
