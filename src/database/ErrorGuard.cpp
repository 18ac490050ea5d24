#include <database/ErrorGuard.h>

#include <database/FailureLog.h>

namespace sync::database {

ErrorGuard::ErrorGuard(const FailureSource& factory)
    : factory(factory)
    , failuresAtStart(factory.failureCount())
{
}

bool ErrorGuard::failed() const
{
    return factory.failureCount() != failuresAtStart;
}

} // namespace sync::database
