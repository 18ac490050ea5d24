#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl backup`: copies of the database.
void addBackupCommands(Command& app, Session& session);

} // namespace velmioctl
