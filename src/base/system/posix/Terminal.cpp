#include <base/system/Terminal.h>

#include <QByteArray>

#include <array>
#include <clocale>
#include <csignal>
#include <cstring>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace sync::base {

namespace {

constexpr std::array EndingSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// The signal that arrived, or 0. A signal handler may touch nothing else.
volatile std::sig_atomic_t signalAtPrompt = 0;
volatile std::sig_atomic_t watchedSignal = 0;

extern "C" void rememberSignalAtPrompt(int signal)
{
    signalAtPrompt = signal;
}

extern "C" void rememberWatchedSignal(int signal)
{
    watchedSignal = signal;
}

} // namespace

NativeFile standardInput()
{
    return STDIN_FILENO;
}

NativeFile fileBehind(std::FILE* stream)
{
    return ::fileno(stream);
}

bool isTerminal(NativeFile file)
{
    return ::isatty(int(file)) == 1;
}

int terminalColumns(NativeFile terminal)
{
    winsize size{};
    return ::ioctl(int(terminal), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool takesEscapeSequences(NativeFile terminal)
{
    return isTerminal(terminal) && qgetenv("TERM") != "dumb";
}

bool usesUtf8()
{
    std::setlocale(LC_ALL, "");
    return std::strcmp(::nl_langinfo(CODESET), "UTF-8") == 0;
}

struct HiddenInput::State
{
    /// Delays the signals that end the program, except in wait(), and remembers one.
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
            action.sa_handler = rememberSignalAtPrompt;
            sigemptyset(&action.sa_mask);
            for (const int signal : EndingSignals)
                sigaddset(&ending, signal);
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

        bool wait() const
        {
            while (signalAtPrompt == 0) {
                fd_set input;
                FD_ZERO(&input);
                FD_SET(STDIN_FILENO, &input);
                if (::pselect(STDIN_FILENO + 1, &input, nullptr, nullptr, nullptr, &oldMask) > 0)
                    return true;
            }
            return false;
        }

    private:
        sigset_t oldMask{};
        std::array<struct sigaction, EndingSignals.size()> oldActions{};
    };

    /// Keeps the terminal from showing what is typed.
    class SilentTerminal
    {
    public:
        SilentTerminal()
            : known(::tcgetattr(STDIN_FILENO, &shown) == 0)
        {
            if (!known)
                return;
            termios hidden = shown;
            hidden.c_lflag &= ~tcflag_t(ECHO | ECHONL);
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
        }
        ~SilentTerminal()
        {
            if (known)
                ::tcsetattr(STDIN_FILENO, TCSADRAIN, &shown);
        }
        Q_DISABLE_COPY_MOVE(SilentTerminal)

    private:
        termios shown{};
        const bool known;
    };

    // In this order: the terminal is restored before a signal has its effect.
    const DelayedSignals delayed;
    const SilentTerminal silent;
};

HiddenInput::HiddenInput()
    : state(std::make_unique<State>())
{
}

HiddenInput::~HiddenInput() = default;

bool HiddenInput::wait() const
{
    return state->delayed.wait();
}

int HiddenInput::signal()
{
    return signalAtPrompt;
}

struct SignalWatch::State
{
    struct sigaction oldInterrupt
    {
    };
    struct sigaction oldTerminate
    {
    };
};

SignalWatch::SignalWatch()
    : state(std::make_unique<State>())
{
    watchedSignal = 0;
    struct sigaction action
    {
    };
    action.sa_handler = rememberWatchedSignal;
    // The second signal has its default effect, in case the command does not check for the first.
    // Interrupted calls are restarted, so that no read or write of the database fails.
    action.sa_flags = int(SA_RESETHAND) | SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &state->oldInterrupt);
    sigaction(SIGTERM, &action, &state->oldTerminate);
}

SignalWatch::~SignalWatch()
{
    sigaction(SIGINT, &state->oldInterrupt, nullptr);
    sigaction(SIGTERM, &state->oldTerminate, nullptr);
}

int SignalWatch::received() const
{
    return watchedSignal;
}

} // namespace sync::base
