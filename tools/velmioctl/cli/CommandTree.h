#pragma once

#include <velmioctl/cli/CommandLine.h>

namespace velmioctl {

/// The program and all of its commands, each before its subcommands.
std::vector<const Command*> allCommands(const Command& program);

/// The arguments of a command in their order, and its options without those of the program.
std::vector<OptionDescription> argumentsOf(const Command& command);
std::vector<OptionDescription> ownOptionsOf(const Command& command);

/// The options of a command, then those of the program and --help, which every command has.
std::vector<OptionDescription> optionsOf(const Command& command, const Command& program);

} // namespace velmioctl
