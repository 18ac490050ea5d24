#pragma once
#include <core/PosixSync.h>

#include <QByteArray>

#include <array>
#include <csignal>

namespace sync::test {

/// Prints how to repeat the trial when the process crashes, and ends the process when the trial
/// hangs. Only one may exist at a time.
class TrialWatch
{
public:
    explicit TrialWatch(quint32 trial);
    ~TrialWatch();
    TrialWatch(const TrialWatch&) = delete;
    TrialWatch& operator=(const TrialWatch&) = delete;

private:
#ifdef Q_OS_UNIX
    static constexpr std::array Signals{SIGSEGV, SIGBUS, SIGFPE, SIGABRT, SIGALRM};

    std::array<struct sigaction, Signals.size()> previous;
#endif
};

} // namespace sync::test
