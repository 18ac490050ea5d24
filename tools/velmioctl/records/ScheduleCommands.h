#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl schedule ...`: when the client synchronises.
void addScheduleCommands(Command& app, Session& session);

} // namespace velmioctl
