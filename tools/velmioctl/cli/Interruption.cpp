#include <velmioctl/cli/Interruption.h>

namespace velmioctl {

namespace {

// The signal that arrived, or 0. A signal handler may touch nothing else.
volatile std::sig_atomic_t receivedSignal = 0;

extern "C" void rememberSignal(int signal)
{
    receivedSignal = signal;
}

} // namespace

Interruption::Interruption()
{
    receivedSignal = 0;
    struct sigaction action
    {
    };
    action.sa_handler = rememberSignal;
    // The second signal has its default effect, in case the command does not check for the first.
    // Interrupted calls are restarted, so that no read or write of the database fails.
    action.sa_flags = int(SA_RESETHAND) | SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &oldInterrupt);
    sigaction(SIGTERM, &action, &oldTerminate);
}

Interruption::~Interruption()
{
    sigaction(SIGINT, &oldInterrupt, nullptr);
    sigaction(SIGTERM, &oldTerminate, nullptr);
}

bool Interruption::requested() const
{
    return receivedSignal != 0;
}

ExitCode Interruption::exitCode() const
{
    switch (receivedSignal) {
    case 0:
        return ExitCode::Ok;
    case SIGTERM:
        return ExitCode::Terminated;
    default:
        return ExitCode::Interrupted;
    }
}

} // namespace velmioctl
