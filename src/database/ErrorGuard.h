#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

namespace sync::database {

class SqliteDatabaseFactory;

/// Tells whether a call on a factory has failed since the guard was made.
///
/// The managers answer a failed read with an empty list or a record of id -1. Who deletes something
/// because nothing was found makes a guard before the first read, and asks it before the deletion.
///
/// It watches the whole factory: a failure on another thread, or of something unrelated, counts as
/// well. So it may stop a deletion that was safe, but lets none pass that was not.
class VELMIO_DATABASE_EXPORT ErrorGuard
{
public:
    /// The factory has to outlive the guard.
    explicit ErrorGuard(const SqliteDatabaseFactory& factory);

    /// True once a call has failed that SqliteDatabaseFactory::errorCount() counts. Any thread may
    /// ask.
    bool failed() const;

private:
    const SqliteDatabaseFactory& factory;
    const int errorsAtStart;
};

} // namespace sync::database
