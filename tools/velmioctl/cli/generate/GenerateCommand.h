#pragma once

namespace velmioctl {

class Command;
class Output;

/// `velmioctl generate`: the manual page and the completions for shells, for the build and for
/// packagers, from the descriptions of the commands.
void addGenerateCommand(Command& program, Output& output);

} // namespace velmioctl
