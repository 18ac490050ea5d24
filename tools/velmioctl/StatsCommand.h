#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl stats`: what is in the database, and how big it is.
void addStatsCommand(CLI::App& app, Session& session);

} // namespace velmioctl
