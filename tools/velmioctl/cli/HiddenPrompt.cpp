#include <velmioctl/cli/HiddenPrompt.h>

#include <velmioctl/cli/Output.h>
#include <velmioctl/cli/SecretLine.h>

#include <array>
#include <csignal>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

using sync::core::crypto::SecureBytes;

namespace velmioctl {

namespace {

constexpr std::array EndingSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// The signal that arrived, or 0. A signal handler may touch nothing else.
volatile std::sig_atomic_t signalAtPrompt = 0;

extern "C" void rememberEndingSignal(int signal)
{
    signalAtPrompt = signal;
}

/// Delays the signals that end the program, except in waitForInput(), and remembers one.
class DelayedSignals
{
public:
    DelayedSignals()
    {
        signalAtPrompt = 0;
        sigset_t ending;
        sigemptyset(&ending);
        struct sigaction action
        {
        };
        action.sa_handler = rememberEndingSignal;
        sigemptyset(&action.sa_mask);
        for (std::size_t at = 0; at < EndingSignals.size(); ++at)
            sigaddset(&ending, EndingSignals[at]);
        sigprocmask(SIG_BLOCK, &ending, &oldMask);
        for (std::size_t at = 0; at < EndingSignals.size(); ++at)
            sigaction(EndingSignals[at], &action, &oldActions[at]);
    }
    ~DelayedSignals()
    {
        for (std::size_t at = 0; at < EndingSignals.size(); ++at)
            sigaction(EndingSignals[at], &oldActions[at], nullptr);
        sigprocmask(SIG_SETMASK, &oldMask, nullptr);
    }
    Q_DISABLE_COPY_MOVE(DelayedSignals)

    /// False if a signal arrived.
    bool waitForInput() const
    {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        while (signalAtPrompt == 0) {
            if (::ppoll(&input, 1, nullptr, &oldMask) > 0)
                return true;
        }
        return false;
    }

private:
    sigset_t oldMask{};
    std::array<struct sigaction, EndingSignals.size()> oldActions{};
};

/// Keeps a terminal from showing what is typed.
class HiddenInput
{
public:
    HiddenInput()
        : known(::tcgetattr(STDIN_FILENO, &shown) == 0)
    {
        if (!known)
            return;
        termios hidden = shown;
        hidden.c_lflag &= ~tcflag_t(ECHO | ECHONL);
        // Discards what was typed before the question was shown.
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
    ~HiddenInput()
    {
        if (known)
            ::tcsetattr(STDIN_FILENO, TCSADRAIN, &shown);
    }
    Q_DISABLE_COPY_MOVE(HiddenInput)

private:
    termios shown{};
    const bool known;
};

SecureBytes askHidden(Output& output, const QString& question)
{
    // In this order: the terminal is restored before a signal has its effect.
    const DelayedSignals delayed;
    const HiddenInput hidden;
    output.ask(question);
    SecureBytes line = readSecretLine(STDIN_FILENO, [&delayed] { return delayed.waitForInput(); });
    // The line end was not shown either.
    output.note({});
    return line;
}

} // namespace

SecureBytes readHidden(Output& output, const QString& question)
{
    SecureBytes line = askHidden(output, question);
    if (signalAtPrompt != 0)
        throw EndedBySignal{signalAtPrompt};
    return line;
}

} // namespace velmioctl
