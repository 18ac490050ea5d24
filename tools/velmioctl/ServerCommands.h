#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl server ...`: the servers that the client knows.
void addServerCommands(CLI::App& app, Session& session);

} // namespace velmioctl
