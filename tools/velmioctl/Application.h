#pragma once

#include <velmioctl/cli/ExitCode.h>

namespace velmioctl {

class Command;
class Session;

/// Adds all commands to the program. The session must live as long as they do.
void addCommands(Command& program, Session& session);

/// Whether the command line asks for JSON, also for errors in the rest of it.
bool asksForJson(int argc, const char* const* argv);

/// Reads the command line and runs the command that it names. Reports every error as a message on
/// standard error and an exit code.
ExitCode runApplication(int argc, const char* const* argv, Session& session);

} // namespace velmioctl
