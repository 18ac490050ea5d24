#pragma once

#include <velmioctl/cli/ExitCode.h>

#include <csignal>

namespace velmioctl {

/// Turns SIGINT and SIGTERM into a request that a long command checks, during its lifetime.
///
/// A second signal ends the program at once, as without this class. Only one may exist at a time.
class Interruption
{
public:
    Interruption();
    ~Interruption();

    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    bool requested() const;

    /// The exit code after a request; Ok without one.
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
