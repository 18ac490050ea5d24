#pragma once

#include <velmioctl/Application.h>
#include <velmioctl/cli/CommandTree.h>
#include <velmioctl/store/Session.h>

#include <QSet>
#include <QString>

/// The commands for a database file, or those for a fleet, which need a server.
enum class CommandsFor { File, Fleet };

/// The full names of the commands, such as "server list", of the program that is also built into
/// the test.
inline QSet<QString> commandNames(CommandsFor wanted = CommandsFor::File)
{
    velmioctl::Session session(velmioctl::Output(stdout, stderr, {}, {}));
    velmioctl::CommandLine line("velmioctl", "");
    velmioctl::addCommands(line.program(), session);
    QSet<QString> names;
    for (const velmioctl::Command* const command : velmioctl::allCommands(line.program())) {
        const QString name = command->description().fullName.section(u' ', 1);
        const bool isForFleet = name.startsWith(u"fleet ");
        if (command->subcommands().empty() && isForFleet == (wanted == CommandsFor::Fleet))
            names += name;
    }
    return names;
}
