#include <base/system/ThreadEnd.h>

#include <utility>
#include <vector>

namespace sync::base {

namespace {

// Can be read after the destructors have run.
thread_local bool hasEnded = false;

struct Endings
{
    ~Endings()
    {
        // Each may ask for another one.
        while (!all.empty()) {
            const auto [function, object] = all.back();
            all.pop_back();
            function(object);
        }
        hasEnded = true;
    }

    std::vector<std::pair<void (*)(void*), void*>> all;
};

thread_local Endings endings;

} // namespace

void atThreadEnd(void (*function)(void* object), void* object)
{
    if (!hasEnded)
        endings.all.emplace_back(function, object);
}

} // namespace sync::base
