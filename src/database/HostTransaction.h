#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <memory>

namespace sync::interf {
class IQSqlDatabaseWrapper;
namespace factory {
class IDatabaseFactory;
} // namespace factory
} // namespace sync::interf

namespace sync::database {

/// A host's transaction that is rolled back unless commit() returned true. It groups operations
/// over any factory.
///
/// Everything that the calling thread does with the managers of the factory joins it. It begins and
/// ends on one thread and lives on the stack, so an exception or an early return also ends it. A
/// transaction() that nobody ends would include every later write of its thread.
class VELMIO_DATABASE_EXPORT HostTransaction
{
public:
    /// Begins the transaction. isOpen() is false if that failed, for instance because this thread
    /// already has one open.
    explicit HostTransaction(interf::factory::IDatabaseFactory& factory);

    /// Rolls back what was not committed.
    ~HostTransaction();

    HostTransaction(const HostTransaction&) = delete;
    HostTransaction& operator=(const HostTransaction&) = delete;

    /// True from a successful start until commit() or rollback().
    bool isOpen() const noexcept { return open; }

    /// Makes everything durable. When it returns false, everything has been rolled back, or no
    /// transaction was open.
    bool commit();

    /// Rolls everything back. False when that fails, or when no transaction was open.
    bool rollback();

private:
    const std::shared_ptr<interf::IQSqlDatabaseWrapper> database;
    bool open;
};

} // namespace sync::database
