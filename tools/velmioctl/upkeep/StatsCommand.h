#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl stats`: what is in the database, and how big it is.
void addStatsCommand(Command& app, Session& session);

} // namespace velmioctl
