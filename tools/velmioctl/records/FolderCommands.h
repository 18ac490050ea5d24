#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl folder ...`: the synchronised folders.
void addFolderCommands(Command& app, Session& session);

} // namespace velmioctl
