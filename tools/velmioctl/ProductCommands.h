#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl product ...`: the products that are registered with the servers.
void addProductCommands(CLI::App& app, Session& session);

} // namespace velmioctl
