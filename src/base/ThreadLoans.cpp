#include <base/ThreadLoans.h>

#include <base/PerThread.h>

namespace sync::base {

namespace {

struct Watchers
{
    ~Watchers()
    {
        for (const auto& watcher : all) {
            if (const auto alive = watcher.lock())
                alive->threadEnds();
        }
    }

    std::vector<std::weak_ptr<ThreadEndWatcher>> all;
};

} // namespace

void watchThreadEnd(const std::weak_ptr<ThreadEndWatcher>& watcher)
{
    auto& watched = ofThisThread<Watchers>().all;
    std::erase_if(watched, [](const auto& other) { return other.expired(); });
    const auto isSame = [wanted = watcher.lock()](const auto& other) {
        return other.lock() == wanted;
    };
    if (std::none_of(watched.begin(), watched.end(), isSame))
        watched.push_back(watcher);
}

} // namespace sync::base
