#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl secrets ...`: the keys that stored passwords are encrypted with.
void addSecretsCommands(CLI::App& app, Session& session);

} // namespace velmioctl
