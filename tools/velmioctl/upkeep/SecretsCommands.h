#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl secrets ...`: the keys that stored passwords are encrypted with.
void addSecretsCommands(Command& app, Session& session);

} // namespace velmioctl
