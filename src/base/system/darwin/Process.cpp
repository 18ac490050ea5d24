#include <base/system/Process.h>

#include <sys/resource.h>

namespace sync::base {

// Which process may read the memory of another one is the system's own decision, for which a
// program has no call like prctl(2) of Linux.
void protectMemory()
{
    const rlimit none{.rlim_cur = 0, .rlim_max = 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

} // namespace sync::base
