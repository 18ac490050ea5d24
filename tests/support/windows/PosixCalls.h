#pragma once

#include <QtGlobal>

#include <csignal>
#include <cstdint>
#include <ctime>
#include <sys/stat.h>
#include <sys/types.h>

/// What the tests call of POSIX and Windows does not have, so that most tests are compiled
/// for Windows too. A function that calls it ends the program, unless tests/left-out-on-windows.txt
/// names it. Force-included in the tests.

inline int leftOut(const char* call)
{
    qFatal("%s: Windows does not have this. See tests/left-out-on-windows.txt.", call);
    return -1;
}

using uid_t = unsigned;
using gid_t = unsigned;
using rlim_t = unsigned long;

constexpr int SIGKILL = 9;
constexpr int SIGHUP = 1;
constexpr int SIGQUIT = 3;
constexpr int SIGPIPE = 13;
constexpr int SIGXFSZ = 25;

struct rlimit
{
    rlim_t rlim_cur;
    rlim_t rlim_max;
};
constexpr int RLIMIT_FSIZE = 1;

inline pid_t fork()
{
    return leftOut("fork");
}
inline pid_t wait(int*)
{
    return leftOut("wait");
}
inline pid_t waitpid(pid_t, int*, int)
{
    return leftOut("waitpid");
}
inline bool WIFEXITED(int)
{
    return leftOut("WIFEXITED") != 0;
}
inline int WEXITSTATUS(int)
{
    return leftOut("WEXITSTATUS");
}
inline bool WIFSIGNALED(int)
{
    return leftOut("WIFSIGNALED") != 0;
}
inline int WTERMSIG(int)
{
    return leftOut("WTERMSIG");
}
inline int kill(pid_t, int)
{
    return leftOut("kill");
}
inline int pause()
{
    return leftOut("pause");
}
inline int pipe(int*)
{
    return leftOut("pipe");
}
inline int mkfifo(const char*, unsigned)
{
    return leftOut("mkfifo");
}
inline int mknod(const char*, unsigned, int)
{
    return leftOut("mknod");
}
inline int mkdir(const char*, unsigned)
{
    return leftOut("mkdir");
}
inline int symlink(const char*, const char*)
{
    return leftOut("symlink");
}
inline int chown(const char*, uid_t, gid_t)
{
    return leftOut("chown");
}
inline uid_t geteuid()
{
    return uid_t(leftOut("geteuid"));
}
inline gid_t getegid()
{
    return gid_t(leftOut("getegid"));
}
inline int seteuid(uid_t)
{
    return leftOut("seteuid");
}
inline int setuid(uid_t)
{
    return leftOut("setuid");
}
inline int setgid(gid_t)
{
    return leftOut("setgid");
}
inline int getrlimit(int, rlimit*)
{
    return leftOut("getrlimit");
}
inline int setrlimit(int, const rlimit*)
{
    return leftOut("setrlimit");
}
