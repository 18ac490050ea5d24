// Loaded into a PostgreSQL server by LD_PRELOAD: while the file VELMIO_FULL_DISK exists, no file
// can grow.

#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" __attribute__((visibility("default"))) ssize_t pwrite(
    int descriptor, const void* bytes, size_t count, off_t offset)
{
    using Function = ssize_t (*)(int, const void*, size_t, off_t);
    static const auto original = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "pwrite"));
    struct stat status = {};
    if (::access(std::getenv("VELMIO_FULL_DISK"), F_OK) == 0 && ::fstat(descriptor, &status) == 0 &&
        offset + static_cast<off_t>(count) > status.st_size) {
        errno = ENOSPC;
        return -1;
    }
    return original(descriptor, bytes, count, offset);
}
