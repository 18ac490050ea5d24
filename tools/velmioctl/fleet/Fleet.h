#pragma once

#include <QString>

#include <optional>
#include <string>

namespace velmioctl {
class Session;
}

namespace velmioctl::fleet {

/// The options of the commands.
struct FleetOptions
{
    std::optional<std::string> to; ///< The fleet's database.
    std::string store;
    std::optional<std::string> name;
    bool distributed = false;
    bool redact = false;
    bool prometheus = false;
    bool yes = false;
    long long staleDays = 7;
    long long limit = 10;
};

/// The fleet that a command is for: that of --to, of --database or of VELMIO_FLEET. Throws
/// CommandError.
QString placeOf(const Session& session, const FleetOptions& options);

// The commands. All throw CommandError.
void init(Session& session, const FleetOptions& options);
void push(Session& session, const FleetOptions& options);
void list(Session& session, const FleetOptions& options);
void report(Session& session, const FleetOptions& options);
void show(Session& session, const FleetOptions& options);
void forget(Session& session, const FleetOptions& options);

} // namespace velmioctl::fleet
