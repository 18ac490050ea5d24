#pragma once

#include <base/system/FileDescriptor.h>

#include <cstdio>
#include <memory>

namespace sync::base {

NativeFile standardInput();

/// The open file behind a stream.
NativeFile fileBehind(std::FILE* stream);

bool isTerminal(NativeFile file);

/// The width of a terminal; 0 if it is not known.
int terminalColumns(NativeFile terminal);

/// True if a terminal takes escape sequences for colours. Switches them on where that is necessary.
bool takesEscapeSequences(NativeFile terminal);

/// True if the program writes text as UTF-8 to a terminal. Sets the program's locale to that of the
/// environment, or the console to UTF-8.
bool usesUtf8();

/// Keeps the terminal on standard input from showing what is typed, and discards what was typed
/// before. Delays the signals that end the program while it exists, so that the terminal is
/// restored before one has its effect.
class HiddenInput
{
public:
    HiddenInput();
    ~HiddenInput();
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

    /// Waits for input. False if a signal arrived.
    bool wait() const;

    /// The signal that arrived during the lifetime of the last one, or 0.
    static int signal();

private:
    struct State;
    const std::unique_ptr<State> state;
};

/// Remembers SIGINT and SIGTERM during its lifetime instead of ending the program. The second
/// signal has its usual effect. On Windows Ctrl-C is SIGINT, and the end of the session SIGTERM.
class SignalWatch
{
public:
    SignalWatch();
    ~SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

    /// The signal that arrived, or 0.
    int received() const;

private:
    struct State;
    const std::unique_ptr<State> state;
};

} // namespace sync::base
