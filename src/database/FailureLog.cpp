#include <database/FailureLog.h>

#include <base/LockGuard.h>

#include <utility>

namespace sync::database {

FailureSource::~FailureSource() = default;

FailureLog::FailureLog() = default;
FailureLog::~FailureLog() = default;

void FailureLog::report(const Failure& failure) noexcept
{
    std::optional<Failure> latest = failure;
    {
        const base::LockGuard lock(mutex);
        last.swap(latest);
    }
    ++count;
    Q_ASSERT(base::LockGuard::holdsNone());
    listeners.notify(failure);
}

int FailureLog::failureCount() const
{
    return count;
}

std::optional<Failure> FailureLog::lastFailure() const
{
    const base::LockGuard lock(mutex);
    return last;
}

Listening FailureLog::onFailure(std::function<void(const Failure& failure)> function)
{
    return listeners.add(std::move(function));
}

} // namespace sync::database
