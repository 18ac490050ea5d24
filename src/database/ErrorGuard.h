#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

namespace sync::database {

class FailureSource;

/// Shows whether a call on a factory has failed since the guard was created.
///
/// The managers answer a failed read with an empty list or a record of id -1. Before you delete
/// something because nothing was found, create a guard before the first read, and check it before
/// the deletion.
///
/// It watches the whole factory: a failure on another thread, or of something unrelated, counts as
/// well. So it may prevent a deletion that was safe, but never allows one that was not.
class VELMIO_DATABASE_EXPORT ErrorGuard
{
public:
    /// The factory must outlive the guard.
    explicit ErrorGuard(const FailureSource& factory);

    /// True if a call that FailureSource::failureCount() counts has failed. Any thread may call.
    bool failed() const;

private:
    const FailureSource& factory;
    const int failuresAtStart;
};

} // namespace sync::database
