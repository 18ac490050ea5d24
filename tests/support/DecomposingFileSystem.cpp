#include "DecomposingFileSystem.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::atomic<bool> isActive = false;

QByteArray onDisk(const char* path)
{
    if (!isActive)
        return path;
    return QString::fromUtf8(path).normalized(QString::NormalizationForm_D).toUtf8();
}

/// The function of the C library.
template <typename Function>
Function* realFunction(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

Q_DECL_EXPORT int open(const char* path, int flags, ...)
{
    static const auto real = realFunction<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return real(onDisk(path).constData(), flags, mode);
}

Q_DECL_EXPORT int open64(const char* path, int flags, ...)
{
    static const auto real = realFunction<int(const char*, int, ...)>("open64");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return real(onDisk(path).constData(), flags, mode);
}

Q_DECL_EXPORT int statx(
    int folder, const char* path, int flags, unsigned mask, struct statx* status) noexcept
{
    static const auto real = realFunction<decltype(::statx)>("statx");
    return real(folder, onDisk(path).constData(), flags, mask, status);
}

Q_DECL_EXPORT int access(const char* path, int mode) noexcept
{
    static const auto real = realFunction<decltype(::access)>("access");
    return real(onDisk(path).constData(), mode);
}

Q_DECL_EXPORT int unlink(const char* path) noexcept
{
    static const auto real = realFunction<decltype(::unlink)>("unlink");
    return real(onDisk(path).constData());
}

Q_DECL_EXPORT int mkdir(const char* path, mode_t mode) noexcept
{
    static const auto real = realFunction<decltype(::mkdir)>("mkdir");
    return real(onDisk(path).constData(), mode);
}
}

namespace sync::test {

DecomposingFileSystem::DecomposingFileSystem()
{
    isActive = true;
}

DecomposingFileSystem::~DecomposingFileSystem()
{
    isActive = false;
}

} // namespace sync::test
