#include "DiskBudget.h"

#include <cerrno>
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

/// Loaded into another program by LD_PRELOAD: limits the growth of SQLite's files, and of those
/// that the program writes from their start to their end, to VELMIO_DISK_BUDGET bytes.
class Preload
{
public:
    Preload() { sync::test::installWatchedVfs(); }

    bool spend(qint64 bytes) { return disk.spend(bytes); }

private:
    sync::test::DiskBudget disk{qEnvironmentVariable("VELMIO_DISK_BUDGET").toLongLong()};
    sync::test::IoWatch watch{disk};
};

Preload preload;

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

// What the program itself asks, rather than Qt.
extern "C" Q_DECL_EXPORT int statvfs(const char* path, struct statvfs* status)
{
    using Function = int (*)(const char*, struct statvfs*);
    static const auto original = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "statvfs"));
    const int result = original(path, status);
    if (result == 0 && qEnvironmentVariableIsSet("VELMIO_DISK_WITHOUT_INODES")) {
        status->f_files = 1000;
        status->f_favail = 0;
    }
    return result;
}

extern "C" Q_DECL_EXPORT ssize_t write(int descriptor, const void* bytes, size_t count)
{
    using Function = ssize_t (*)(int, const void*, size_t);
    static const auto original = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "write"));
    struct stat status = {};
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
        !preload.spend(static_cast<qint64>(count))) {
        errno = ENOSPC;
        return -1;
    }
    return original(descriptor, bytes, count);
}
