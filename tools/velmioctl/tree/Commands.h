#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl scan`: brings the records up to date with the disk.
void addScanCommand(Command& app, Session& session);
/// `velmioctl status`: how the files on the disk differ from their records.
void addStatusCommand(Command& app, Session& session);
/// `velmioctl explain`: what applies to a path, and why it is synchronised or not.
void addExplainCommand(Command& app, Session& session);

} // namespace velmioctl
