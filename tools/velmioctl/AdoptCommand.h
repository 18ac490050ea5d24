#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl adopt`: makes a database that was copied or moved here this machine's own.
void addAdoptCommand(CLI::App& app, Session& session);

} // namespace velmioctl
