#pragma once

#include <core/SecretText.h>

#include <optional>
#include <string>

namespace velmioctl {

class Command;
class Option;
class Session;

/// How a command reads a secret: from standard input, a file, or a prompt that does not show it.
/// Other programs could see it in an argument or in the environment.
class SecretInput
{
public:
    /// The name of the secret, such as "password", which is part of the options' names.
    explicit SecretInput(const char* name);

    /// Adds --NAME-stdin.
    Option* addTo(Command& command);

    /// Adds --NAME as well, for commands that do not always read one.
    void addOptionalTo(Command& command);

    /// Adds --NAME-file, for a file with the secret in its first line.
    Option* addFileTo(Command& command);

    /// True when an option asked for a new secret.
    bool isWanted() const { return fromStandardInput || askedFor; }

    /// Throws CommandError for a secret that cannot be read, or is empty.
    sync::core::crypto::SecretText read(Session& session) const;

    /// The same for an existing secret, which a person types only once.
    sync::core::crypto::SecretText readKnown(Session& session) const;

private:
    enum class Kind { New, Known };

    sync::core::crypto::SecretText read(Session& session, Kind kind) const;
    sync::core::crypto::SecretText fromFile() const;
    sync::core::crypto::SecretText fromTerminal(Session& session, Kind kind) const;
    sync::core::crypto::SecretText checked(const sync::core::crypto::SecureBytes& bytes) const;

    const std::string name;
    bool fromStandardInput = false;
    bool askedFor = false;
    std::optional<std::string> file;
};

} // namespace velmioctl
