#include <database/changes/ChangeFeed.h>

#include <base/LockGuard.h>

#include <utility>

namespace sync::database {

ChangeFeed::ChangeFeed(const QString& path)
    : path(path)
{
}

Listening ChangeFeed::listen(std::function<void(RecordKinds kinds)> function)
{
    // Commits from before the first listener are not reported. Not under the lock: without a WAL it
    // waits for a writer.
    if (listeners.isEmpty()) {
        auto fresh = std::make_unique<ExternalCommits>(path, own);
        const base::LockGuard lock(pollMutex);
        external = std::move(fresh);
    }
    return listeners.add(std::move(function));
}

void ChangeFeed::publish(RecordKinds kinds) noexcept
{
    Q_ASSERT(base::LockGuard::holdsNone());
    listeners.notify(kinds);
}

void ChangeFeed::poll() noexcept
{
    bool anyExternal = false;
    {
        const base::LockGuard lock(pollMutex);
        anyExternal = external && external->anySinceLast();
    }
    if (anyExternal)
        publish(AllRecordKinds);
}

} // namespace sync::database
