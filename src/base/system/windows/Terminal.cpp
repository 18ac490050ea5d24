#include <base/system/Terminal.h>

#include <base/system/windows/Status.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>

namespace sync::base {

namespace {

std::atomic<int> signalAtPrompt = 0;
std::atomic<int> watchedSignal = 0;

int signalOf(DWORD event)
{
    return event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT ? SIGINT : SIGTERM;
}

BOOL WINAPI rememberAtPrompt(DWORD event)
{
    signalAtPrompt = signalOf(event);
    return TRUE;
}

// The second one has its usual effect, in case the command does not check for the first.
BOOL WINAPI rememberWatched(DWORD event)
{
    if (watchedSignal.exchange(signalOf(event)) != 0)
        return FALSE;
    // The process ends when this returns, at the latest after 5 s: until then the command can
    // finish what it is writing.
    if (signalOf(event) == SIGTERM)
        ::Sleep(INFINITE);
    return TRUE;
}

UINT outputPageAtStart = 0;

extern "C" void restoreOutputPage()
{
    ::SetConsoleOutputCP(outputPageAtStart);
}

} // namespace

bool isConsole(HANDLE handle)
{
    DWORD mode = 0;
    return ::GetConsoleMode(handle, &mode) != 0;
}

qint64 readConsole(HANDLE console, char* bytes, std::size_t size)
{
    // What did not fit, of at most two units. Overwritten when it is taken: it may be a secret.
    static std::array<char, 4> rest{};
    static std::size_t restSize = 0;
    if (restSize == 0) {
        wchar_t units[2]{};
        DWORD count = 0;
        if (!::ReadConsoleW(console, &units[0], 1, &count, nullptr) || count == 0) {
            // Ctrl-C ends the call, perhaps before its handler has run.
            constexpr DWORD HandlerMs = 100;
            for (DWORD waited = 0; waited < HandlerMs && signalAtPrompt == 0; ++waited)
                ::Sleep(1);
            return 0;
        }
        int unitCount = 1;
        if (IS_HIGH_SURROGATE(units[0]) && ::ReadConsoleW(console, &units[1], 1, &count, nullptr) &&
            count == 1)
            unitCount = 2;
        restSize = static_cast<std::size_t>(::WideCharToMultiByte(
            CP_UTF8, 0, units, unitCount, rest.data(), int(rest.size()), nullptr, nullptr));
        ::SecureZeroMemory(units, sizeof(units));
        // Ctrl-Z at the start of a line is the end of the input.
        if (rest[0] == '\x1a')
            return static_cast<qint64>(restSize = 0);
    }
    const std::size_t count = std::min(size, restSize);
    std::copy_n(rest.begin(), count, bytes);
    std::copy(rest.begin() + std::ptrdiff_t(count), rest.end(), rest.begin());
    ::SecureZeroMemory(rest.data() + (restSize - count), rest.size() - (restSize - count));
    restSize -= count;
    return static_cast<qint64>(count);
}

NativeFile standardInput()
{
    return fileOfHandle(::GetStdHandle(STD_INPUT_HANDLE));
}

NativeFile fileBehind(std::FILE* stream)
{
    return ::_get_osfhandle(::_fileno(stream));
}

bool isTerminal(NativeFile file)
{
    return isConsole(handleOf(file));
}

int terminalColumns(NativeFile terminal)
{
    CONSOLE_SCREEN_BUFFER_INFO screen{};
    if (!::GetConsoleScreenBufferInfo(handleOf(terminal), &screen))
        return 0;
    return screen.srWindow.Right - screen.srWindow.Left + 1;
}

bool takesEscapeSequences(NativeFile terminal)
{
    constexpr DWORD VirtualTerminal = 0x0004; // ENABLE_VIRTUAL_TERMINAL_PROCESSING, Windows 10
    DWORD mode = 0;
    return ::GetConsoleMode(handleOf(terminal), &mode) &&
           ((mode & VirtualTerminal) != 0 ||
            ::SetConsoleMode(handleOf(terminal), mode | VirtualTerminal));
}

bool usesUtf8()
{
    // Line ends as they are written, also in files and pipes.
    for (std::FILE* const stream : {stdin, stdout, stderr})
        ::_setmode(::_fileno(stream), _O_BINARY);
    outputPageAtStart = ::GetConsoleOutputCP();
    if (outputPageAtStart != 0 && outputPageAtStart != CP_UTF8 && ::SetConsoleOutputCP(CP_UTF8))
        std::atexit(restoreOutputPage);
    return true;
}

struct HiddenInput::State
{
    State()
    {
        signalAtPrompt = 0;
        ::SetConsoleCtrlHandler(rememberAtPrompt, TRUE);
        known = ::GetConsoleMode(input, &shown) != 0;
        if (!known)
            return;
        ::SetConsoleMode(input, shown & ~DWORD(ENABLE_ECHO_INPUT));
        ::FlushConsoleInputBuffer(input);
    }
    ~State()
    {
        if (known)
            ::SetConsoleMode(input, shown);
        ::SetConsoleCtrlHandler(rememberAtPrompt, FALSE);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    HANDLE const input = ::GetStdHandle(STD_INPUT_HANDLE);
    DWORD shown = 0;
    bool known = false;
};

HiddenInput::HiddenInput()
    : state(std::make_unique<State>())
{
}

HiddenInput::~HiddenInput() = default;

// The reading itself waits, and Ctrl-C ends it.
bool HiddenInput::wait() const
{
    return signalAtPrompt == 0;
}

int HiddenInput::signal()
{
    return signalAtPrompt;
}

struct SignalWatch::State
{
    State() { ::SetConsoleCtrlHandler(rememberWatched, TRUE); }
    ~State() { ::SetConsoleCtrlHandler(rememberWatched, FALSE); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
};

SignalWatch::SignalWatch()
    : state((watchedSignal = 0, std::make_unique<State>()))
{
}

SignalWatch::~SignalWatch() = default;

int SignalWatch::received() const
{
    return watchedSignal;
}

} // namespace sync::base
