#include <database/FailureLog.h>

#include <utility>

namespace sync::database {

FailureSource::~FailureSource() = default;

FailureLog::FailureLog() = default;
FailureLog::~FailureLog() = default;

void FailureLog::report(const Failure& failure) noexcept
{
    std::optional<Failure> latest = failure;
    {
        const std::lock_guard lock(mutex);
        last.swap(latest);
    }
    ++count;
    listeners.notify(failure);
}

int FailureLog::failureCount() const
{
    return count;
}

std::optional<Failure> FailureLog::lastFailure() const
{
    const std::lock_guard lock(mutex);
    return last;
}

Listening FailureLog::onFailure(std::function<void(const Failure& failure)> function)
{
    return listeners.add(std::move(function));
}

} // namespace sync::database
