#include "DiskBudget.h"

#include <dlfcn.h>
#include <sys/statvfs.h>

namespace {

/// Loaded into another program by LD_PRELOAD: limits the growth of SQLite's files to
/// VELMIO_DISK_BUDGET bytes.
class Preload
{
public:
    Preload() { sync::test::installWatchedVfs(); }

private:
    sync::test::DiskBudget disk{qEnvironmentVariable("VELMIO_DISK_BUDGET").toLongLong()};
    sync::test::IoWatch watch{disk};
};

const Preload preload;

} // namespace

// Reports the budget as the free space of the disk.
extern "C" Q_DECL_EXPORT int statvfs64(const char* path, struct statvfs64* status)
{
    using Function = int (*)(const char*, struct statvfs64*);
    static const auto original = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "statvfs64"));
    const int result = original(path, status);
    if (result == 0) {
        status->f_bavail =
            qEnvironmentVariable("VELMIO_DISK_BUDGET").toULongLong() / status->f_frsize;
    }
    return result;
}
