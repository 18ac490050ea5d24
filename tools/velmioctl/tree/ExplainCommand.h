#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl explain`: tells what applies to a path, and why it is synchronised or not.
void addExplainCommand(Command& app, Session& session);

} // namespace velmioctl
