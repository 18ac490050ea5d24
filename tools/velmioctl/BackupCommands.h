#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl backup`: copies of the database.
void addBackupCommands(CLI::App& app, Session& session);

} // namespace velmioctl
