#include "KilledAtCall.h"

#include <QtGlobal>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Calls that are left until the process dies; negative where it does not.
int callsLeft = -1;

template <class Function>
Function realFunction(const char* name)
{
    if (callsLeft > 0 && --callsLeft == 0)
        ::raise(SIGKILL);
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

// The libraries call these functions, which pass the calls on to the C library.
extern "C" {

Q_DECL_EXPORT ssize_t write(int file, const void* bytes, size_t count)
{
    return realFunction<decltype(&::write)>("write")(file, bytes, count);
}

Q_DECL_EXPORT ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t offset)
{
    return realFunction<decltype(&::pwrite64)>("pwrite64")(file, bytes, count, offset);
}

Q_DECL_EXPORT int fsync(int file)
{
    return realFunction<decltype(&::fsync)>("fsync")(file);
}

Q_DECL_EXPORT int fdatasync(int file)
{
    return realFunction<decltype(&::fdatasync)>("fdatasync")(file);
}

Q_DECL_EXPORT int ftruncate64(int file, off64_t size) noexcept
{
    return realFunction<decltype(&::ftruncate64)>("ftruncate64")(file, size);
}

Q_DECL_EXPORT int link(const char* from, const char* to) noexcept
{
    return realFunction<decltype(&::link)>("link")(from, to);
}

Q_DECL_EXPORT int unlink(const char* name) noexcept
{
    return realFunction<decltype(&::unlink)>("unlink")(name);
}

Q_DECL_EXPORT int rename(const char* from, const char* to) noexcept
{
    return realFunction<decltype(&::rename)>("rename")(from, to);
}

Q_DECL_EXPORT int mkdir(const char* name, mode_t mode) noexcept
{
    return realFunction<decltype(&::mkdir)>("mkdir")(name, mode);
}
}

namespace sync::test {

ChildEnd runKilledAtCall(int call, const std::function<void()>& action)
{
    const pid_t child = ::fork();
    if (child == 0) {
        callsLeft = call;
        try {
            action();
        } catch (const std::exception& error) {
            callsLeft = -1;
            std::fprintf(stderr, "%s\n", error.what());
            ::_exit(EXIT_FAILURE);
        }
        ::_exit(EXIT_SUCCESS);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child)
        return ChildEnd::Failed;
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        return ChildEnd::Killed;
    const bool succeeded = WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
    return succeeded ? ChildEnd::Finished : ChildEnd::Failed;
}

} // namespace sync::test
