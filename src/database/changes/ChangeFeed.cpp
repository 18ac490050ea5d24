#include <database/changes/ChangeFeed.h>

#include <utility>

namespace sync::database {

ChangeFeed::ChangeFeed(const QString& path)
    : path(path)
{
}

Listening ChangeFeed::listen(std::function<void(RecordKinds kinds)> function)
{
    const std::lock_guard lock(pollMutex);
    // What was committed while nobody listened is nobody's news.
    if (!external || listeners.isEmpty())
        external.emplace(path, own);
    return listeners.add(std::move(function));
}

void ChangeFeed::poll() noexcept
{
    bool anyExternal = false;
    {
        const std::lock_guard lock(pollMutex);
        anyExternal = external && external->anySinceLast();
    }
    if (anyExternal)
        publish(AllRecordKinds);
}

} // namespace sync::database
