#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl restore` and `velmioctl recover`: ways back from a lost or damaged database.
void addRecoveryCommands(CLI::App& app, Session& session);

} // namespace velmioctl
