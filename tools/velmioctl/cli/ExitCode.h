#pragma once

#include <QString>

#include <stdexcept>
#include <vector>

namespace velmioctl {

/// The exit codes of the program; the numbers are documented for scripts.
enum class ExitCode : int {
    Ok = 0,
    Findings = 1,
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

/// What an exit code means.
struct ExitCodeMeaning
{
    ExitCode code;
    QString word; ///< For programs.
    QString text; ///< For a person.
};

/// All of them, by their numbers.
const std::vector<ExitCodeMeaning>& exitCodeMeanings();

/// Ends a command. The text is for a person: what happened, in one sentence, then what to do.
class CommandError : public std::runtime_error
{
public:
    /// `cause` is a word for programs; without it that of the exit code.
    CommandError(ExitCode code, const QString& text, const QString& cause = {});

    ExitCode code() const noexcept { return exitCode; }
    QString text() const { return QString::fromUtf8(what()); }
    const QString& cause() const noexcept { return causeWord; }

    /// The first sentence of the text, and the others.
    QString message() const;
    QString remedy() const;

private:
    ExitCode exitCode;
    QString causeWord;
};

/// For bytes that could not be written. `what` is the start of the text, such as "Cannot write the
/// file"; `code` is an errno.
CommandError writingError(const QString& what, int code);

} // namespace velmioctl
