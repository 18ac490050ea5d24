#pragma once

#include <velmioctl/cli/ExitCode.h>

#include <csignal>

namespace velmioctl {

/// Makes SIGINT and SIGTERM a request that a long command looks at, for as long as it lives.
///
/// Elsewhere these signals end the program at once. The second one does so here as well. One at a
/// time.
class Interruption
{
public:
    Interruption();
    ~Interruption();

    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    bool requested() const;

    /// What to end with after a request; Ok without one.
    ExitCode exitCode() const;

private:
    struct sigaction oldInterrupt
    {
    };
    struct sigaction oldTerminate
    {
    };
};

} // namespace velmioctl
