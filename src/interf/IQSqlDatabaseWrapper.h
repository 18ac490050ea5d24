#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

namespace sync::interf {

/// The transaction control of the calling thread's connection. No operation throws.
class VELMIO_INTERFACES_EXPORT IQSqlDatabaseWrapper
{
public:
    virtual ~IQSqlDatabaseWrapper();

    /// Begins a transaction; false if that fails or one is already open.
    virtual bool transaction() = 0;

    /// Makes everything since transaction() durable; false if that fails or none is open.
    virtual bool commit() = 0;

    /// Undoes everything since transaction(); false if that fails or none is open.
    virtual bool rollback() = 0;
};

} // namespace sync::interf
