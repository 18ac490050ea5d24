#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl restore` and `velmioctl recover`: ways back from a lost or damaged database.
void addRecoveryCommands(Command& app, Session& session);

} // namespace velmioctl
