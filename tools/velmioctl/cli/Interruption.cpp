#include <velmioctl/cli/Interruption.h>

namespace velmioctl {

namespace {

// The signal that came, 0 before any. All that a signal handler may touch.
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
    // The second signal does what it always does, should the first one not be heard. Calls that
    // wait go on, so that no read or write of the database fails because of it.
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
