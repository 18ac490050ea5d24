#include "PseudoTerminal.h"

#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int LongestWaitMs = 30'000;

} // namespace

PseudoTerminal::PseudoTerminal(const VelmioctlRunner& runner, const QStringList& arguments)
{
    const winsize size{.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    if (::openpty(&user, &program, nullptr, nullptr, &size) != 0)
        qFatal("no pseudo terminal");
    process.setProcessEnvironment(runner.environment);
    process.setWorkingDirectory(runner.path({}));
    process.setChildProcessModifier([this] {
        ::login_tty(program);
        // As on the machine of a developer, where a program that crashes leaves a core file.
        rlimit core{};
        ::getrlimit(RLIMIT_CORE, &core);
        core.rlim_cur = core.rlim_max;
        ::setrlimit(RLIMIT_CORE, &core);
    });
    process.start(
        runner.programPath(), QStringList{u"--database"_s, runner.databasePath()} + arguments);
}

PseudoTerminal::~PseudoTerminal()
{
    process.kill();
    process.waitForFinished();
    ::close(user);
    ::close(program);
}

bool PseudoTerminal::waitFor(const QByteArray& text)
{
    do {
        const qsizetype at = shown.indexOf(text, passed);
        if (at >= 0) {
            passed = at + text.size();
            return true;
        }
    } while (readMore());
    return false;
}

void PseudoTerminal::type(const QByteArray& keys)
{
    if (::write(user, keys.constData(), size_t(keys.size())) != keys.size())
        qFatal("the terminal takes no input");
}

bool PseudoTerminal::hasEcho() const
{
    termios settings{};
    ::tcgetattr(program, &settings);
    return (settings.c_lflag & ECHO) != 0;
}

int PseudoTerminal::exitCode()
{
    process.waitForFinished(LongestWaitMs);
    pollfd output{user, POLLIN, 0};
    while (::poll(&output, 1, 0) > 0 && readMore()) {
    }
    // If a signal ended the program, Qt returns that signal's number.
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode()
                                                        : 128 + process.exitCode();
}

bool PseudoTerminal::readMore()
{
    pollfd output{user, POLLIN, 0};
    if (::poll(&output, 1, LongestWaitMs) <= 0)
        return false;
    QByteArray bytes(4096, Qt::Uninitialized);
    const ssize_t count = ::read(user, bytes.data(), size_t(bytes.size()));
    if (count <= 0)
        return false;
    shown += bytes.first(count);
    return true;
}
