#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl schedule ...`: when the client synchronises.
void addScheduleCommands(CLI::App& app, Session& session);

} // namespace velmioctl
