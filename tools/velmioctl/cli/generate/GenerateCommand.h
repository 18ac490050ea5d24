#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl generate`, for the build and for packagers: the manual page and the completions for
/// shells, from what the commands tell of themselves.
void addGenerateCommand(Command& program, Session& session);

} // namespace velmioctl
