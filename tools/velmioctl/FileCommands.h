#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

void addFileCommands(CLI::App& app, Session& session);

} // namespace velmioctl
