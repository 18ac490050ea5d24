#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl init`: creates the database.
void addInitCommand(CLI::App& app, Session& session);

} // namespace velmioctl
