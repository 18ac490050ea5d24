#pragma once

#include <QString>

#include <stdexcept>

namespace velmioctl {

/// The exit codes of the program; the numbers are documented for scripts.
enum class ExitCode : int {
    Ok = 0,
    Findings = 1, ///< A check answered no, or a scan had problems.
    Usage = 2,
    NotFound = 3,
    Busy = 4,
    Damaged = 5,
    TooNew = 6,
    KeyUnavailable = 7,
    OtherError = 8,
    Interrupted = 130, ///< 128 plus the number of the signal, like in shells.
    Terminated = 143,
};

/// Ends a command. The text is for a person: the cause, then what to do.
class CommandError : public std::runtime_error
{
public:
    CommandError(ExitCode code, const QString& text)
        : std::runtime_error(text.toStdString())
        , exitCode(code)
    {
    }

    ExitCode code() const noexcept { return exitCode; }
    QString text() const { return QString::fromUtf8(what()); }

private:
    ExitCode exitCode;
};

/// For bytes that could not be written. `what` is the start of the text, such as "Cannot write the
/// file"; `code` is an errno.
CommandError writingError(const QString& what, int code);

} // namespace velmioctl
