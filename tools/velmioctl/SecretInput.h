#pragma once

#include <QString>

#include <string>

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// How a command gets a new secret: from standard input, or at a prompt that does not show it. An
/// argument or the environment would show it to other programs.
class SecretInput
{
public:
    /// What is asked for, such as "password", which the options are named after as well.
    explicit SecretInput(const char* name);

    /// Adds --NAME-stdin.
    void addTo(CLI::App& command);

    /// Adds --NAME as well, for commands that do not always want one.
    void addOptionalTo(CLI::App& command);

    /// True when an option asked for a new secret.
    bool isWanted() const { return fromStandardInput || askedFor; }

    /// Throws CommandError for a secret that cannot be had, or is empty.
    QString read(Session& session) const;

private:
    QString fromTerminal(Session& session) const;
    QString checked(const QByteArray& bytes) const;

    const std::string name;
    bool fromStandardInput = false;
    bool askedFor = false;
};

} // namespace velmioctl
