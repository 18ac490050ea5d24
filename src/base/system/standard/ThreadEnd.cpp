#include <base/system/ThreadEnd.h>

#include <utility>
#include <vector>

namespace sync::base {

namespace {

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
    }

    std::vector<std::pair<void (*)(void*), void*>> all;
};

thread_local Endings endings;

} // namespace

void atThreadEnd(void (*function)(void* object), void* object)
{
    endings.all.emplace_back(function, object);
}

} // namespace sync::base
