#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

namespace sync::database {

/// Offered by factories that know which store they open. The managers bind passwords to it.
///
/// A factory of a host offers it if its database compares texts exactly, or if it passes calls on
/// to another factory that offers it. Any thread may call.
class VELMIO_DATABASE_EXPORT IdentitySource
{
public:
    virtual ~IdentitySource();

    /// The id that the store was created with; empty if it has none. It never changes, and copies
    /// of the store keep it.
    virtual QString storeId() const = 0;
};

} // namespace sync::database
