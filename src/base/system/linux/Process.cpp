#include <base/system/Process.h>

#include <sys/prctl.h>
#include <sys/resource.h>

namespace sync::base {

void protectMemory()
{
    const rlimit none{.rlim_cur = 0, .rlim_max = 0};
    ::setrlimit(RLIMIT_CORE, &none);
    // A program that takes cores from the kernel ignores the limit.
    ::prctl(PR_SET_DUMPABLE, 0);
}

} // namespace sync::base
