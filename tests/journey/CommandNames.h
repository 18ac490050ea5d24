#pragma once

#include <velmioctl/Application.h>
#include <velmioctl/cli/CommandTree.h>
#include <velmioctl/store/Session.h>

#include <QSet>
#include <QString>

/// The full names of the commands, such as "server list", of the program that is also built into
/// the test.
inline QSet<QString> commandNames()
{
    velmioctl::Session session(velmioctl::Output(stdout, stderr, {}, {}));
    velmioctl::CommandLine line("velmioctl", "");
    velmioctl::addCommands(line.program(), session);
    QSet<QString> names;
    for (const velmioctl::Command* const command : velmioctl::allCommands(line.program())) {
        if (command->subcommands().empty())
            names += command->description().fullName.section(u' ', 1);
    }
    return names;
}
