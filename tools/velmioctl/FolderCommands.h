#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl folder ...`: the synchronised folders.
void addFolderCommands(CLI::App& app, Session& session);

} // namespace velmioctl
