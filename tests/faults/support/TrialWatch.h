#pragma once
#include <core/PosixSync.h>

#include <QByteArray>

#include <array>
#include <csignal>

namespace sync::test {

/// Says which trial it was when the process crashes, and ends it when the trial hangs.
///
/// One at a time.
class TrialWatch
{
public:
    explicit TrialWatch(quint32 trial);
    ~TrialWatch();
    TrialWatch(const TrialWatch&) = delete;
    TrialWatch& operator=(const TrialWatch&) = delete;

private:
    static constexpr std::array Signals{SIGSEGV, SIGBUS, SIGFPE, SIGABRT, SIGALRM};

    std::array<struct sigaction, Signals.size()> previous;
};

} // namespace sync::test
