#include <base/system/Process.h>

#include <QFile>

#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace sync::base {

void endWithReader()
{
    std::signal(SIGPIPE, SIG_DFL);
}

std::vector<std::string> arguments(int argc, const char* const* argv)
{
    return {argv, argv + argc};
}

QByteArray environmentVariable(const char* name)
{
    return qgetenv(name);
}

int becomeProgram(const QString& path, char* const* argv)
{
    ::execv(QFile::encodeName(path).constData(), argv);
    return errno;
}

void endBySignal(int signal)
{
    std::raise(signal);
}

qint64 currentUserNumber()
{
    return ::geteuid();
}

} // namespace sync::base
