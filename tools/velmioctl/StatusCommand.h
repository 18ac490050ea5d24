#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

void addStatusCommand(CLI::App& app, Session& session);

} // namespace velmioctl
