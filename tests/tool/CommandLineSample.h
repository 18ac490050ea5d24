#pragma once

#include <velmioctl/Application.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/store/Session.h>

#include <cstdio>

namespace velmioctl {

/// The commands of velmioctl, for tests that look at them and run none.
struct CommandLineSample
{
    CommandLineSample() { addCommands(line.program(), session); }

    Command& program() { return line.program(); }

    Session session{Output(stdout, stderr, {}, {})};
    CommandLine line{"velmioctl", "Looks into a database."};
};

} // namespace velmioctl
