#include <velmioctl/cli/Interruption.h>

#include <csignal>

namespace velmioctl {

bool Interruption::requested() const
{
    return watch.received() != 0;
}

ExitCode Interruption::exitCode() const
{
    switch (watch.received()) {
    case 0:
        return ExitCode::Ok;
    case SIGTERM:
        return ExitCode::Terminated;
    default:
        return ExitCode::Interrupted;
    }
}

} // namespace velmioctl
