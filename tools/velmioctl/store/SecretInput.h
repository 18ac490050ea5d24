#pragma once

#include <QString>

#include <optional>
#include <string>

namespace velmioctl {

class Command;
class Option;
class Session;

/// How a command gets a new secret: from standard input, or at a prompt that does not show it. An
/// argument or the environment would show it to other programs.
class SecretInput
{
public:
    /// What is asked for, such as "password", which the options are named after as well.
    explicit SecretInput(const char* name);

    /// Adds --NAME-stdin.
    Option* addTo(Command& command);

    /// Adds --NAME as well, for commands that do not always want one.
    void addOptionalTo(Command& command);

    /// Adds --NAME-file, which names a file with the secret in its first line.
    Option* addFileTo(Command& command);

    /// True when an option asked for a new secret.
    bool isWanted() const { return fromStandardInput || askedFor; }

    /// Throws CommandError for a secret that cannot be had, or is empty.
    QString read(Session& session) const;

    /// The same for a secret that there is already, so that a person types it once.
    QString readKnown(Session& session) const;

private:
    enum class Kind { New, Known };

    QString read(Session& session, Kind kind) const;
    QString fromFile() const;
    QString fromTerminal(Session& session, Kind kind) const;
    QString checked(const QByteArray& bytes) const;

    const std::string name;
    bool fromStandardInput = false;
    bool askedFor = false;
    std::optional<std::string> file;
};

} // namespace velmioctl
