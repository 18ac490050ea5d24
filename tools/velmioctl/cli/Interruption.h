#pragma once

#include <base/system/Terminal.h>
#include <velmioctl/cli/ExitCode.h>

namespace velmioctl {

/// Turns SIGINT and SIGTERM into a request that a long command checks, during its lifetime.
///
/// A second signal ends the program at once, as without this class. Only one may exist at a time.
class Interruption
{
public:
    bool requested() const;

    /// The exit code after a request; Ok without one.
    ExitCode exitCode() const;

private:
    const sync::base::SignalWatch watch;
};

} // namespace velmioctl
