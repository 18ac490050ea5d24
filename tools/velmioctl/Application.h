#pragma once

#include "ExitCode.h"

namespace velmioctl {

class Session;

/// Reads the command line and runs the command that it names. Every error ends up as a message on
/// standard error and an exit code.
ExitCode runApplication(int argc, const char* const* argv, Session& session);

} // namespace velmioctl
