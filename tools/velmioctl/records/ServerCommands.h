#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl server ...`: the servers that the client knows.
void addServerCommands(Command& app, Session& session);

} // namespace velmioctl
