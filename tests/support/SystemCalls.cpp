#include "SystemCalls.h"

#ifdef Q_OS_UNIX

    #include <QFile>

    #include <atomic>
    #include <cerrno>
    #include <climits>
    #include <cstdio>
    #include <dirent.h>
    #include <dlfcn.h>
    #include <fcntl.h>
    #include <sys/stat.h>
    #include <type_traits>
    #include <unistd.h>

namespace {

std::atomic<const sync::test::SystemCallWatch::Fate*> currentFate = nullptr;

QByteArray pathOf(const char* path)
{
    return path;
}

QByteArray pathOf(int file)
{
    char path[PATH_MAX];
    const QByteArray link = "/proc/self/fd/" + QByteArray::number(file);
    const ssize_t size = ::readlink(link.constData(), path, sizeof path);
    return QByteArray(path, std::max<ssize_t>(size, 0));
}

/// The function of the C library.
template <typename Function>
Function* realFunction(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

/// Makes a call of the C library, unless the test makes it fail.
template <typename Function, typename Target, typename... Arguments>
auto call(Function* real, const char* name, const Target& target, Arguments... arguments)
{
    static thread_local bool isAsking = false;
    const auto* const fate = isAsking ? nullptr : currentFate.load();
    if (!fate)
        return real(arguments...);
    isAsking = true;
    const int error = (*fate)({name, pathOf(target)});
    isAsking = false;
    if (error == 0)
        return real(arguments...);
    errno = error;
    if constexpr (std::is_pointer_v<decltype(real(arguments...))>)
        return decltype(real(arguments...)){};
    else
        return static_cast<decltype(real(arguments...))>(-1);
}

} // namespace

// The libraries call these functions, which pass the calls on to the C library.
extern "C" {

Q_DECL_EXPORT ssize_t write(int file, const void* bytes, size_t count)
{
    static const auto real = realFunction<decltype(::write)>("write");
    return call(real, "write", file, file, bytes, count);
}

Q_DECL_EXPORT ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t offset)
{
    static const auto real = realFunction<decltype(::pwrite64)>("pwrite64");
    return call(real, "pwrite64", file, file, bytes, count, offset);
}

Q_DECL_EXPORT int fsync(int file)
{
    static const auto real = realFunction<decltype(::fsync)>("fsync");
    return call(real, "fsync", file, file);
}

Q_DECL_EXPORT int fdatasync(int file)
{
    static const auto real = realFunction<decltype(::fdatasync)>("fdatasync");
    return call(real, "fdatasync", file, file);
}

Q_DECL_EXPORT int ftruncate64(int file, off64_t size) noexcept
{
    static const auto real = realFunction<decltype(::ftruncate64)>("ftruncate64");
    return call(real, "ftruncate64", file, file, size);
}

Q_DECL_EXPORT int link(const char* from, const char* to) noexcept
{
    static const auto real = realFunction<decltype(::link)>("link");
    return call(real, "link", to, from, to);
}

Q_DECL_EXPORT int unlink(const char* name) noexcept
{
    static const auto real = realFunction<decltype(::unlink)>("unlink");
    return call(real, "unlink", name, name);
}

Q_DECL_EXPORT int rename(const char* from, const char* to) noexcept
{
    static const auto real = realFunction<decltype(::rename)>("rename");
    return call(real, "rename", to, from, to);
}

Q_DECL_EXPORT dirent* readdir(DIR* folder)
{
    static const auto real = realFunction<decltype(::readdir)>("readdir");
    return call(real, "readdir", ::dirfd(folder), folder);
}

Q_DECL_EXPORT int mkdir(const char* name, mode_t mode) noexcept
{
    static const auto real = realFunction<decltype(::mkdir)>("mkdir");
    return call(real, "mkdir", name, name, mode);
}
}

namespace sync::test {

namespace {

SystemCallWatch::Fate watchingFate;

} // namespace

SystemCallWatch::SystemCallWatch(Fate fate)
{
    watchingFate = std::move(fate);
    currentFate = &watchingFate;
}

SystemCallWatch::~SystemCallWatch()
{
    currentFate = nullptr;
}

} // namespace sync::test

#else

// No program takes the place of functions of the system there.
sync::test::SystemCallWatch::SystemCallWatch(Fate /*fate*/)
{
    leftOut("SystemCallWatch");
}

sync::test::SystemCallWatch::~SystemCallWatch() = default;

#endif
