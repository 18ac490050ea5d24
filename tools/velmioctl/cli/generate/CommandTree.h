#pragma once

#include <QString>

#include <string>
#include <vector>

namespace velmioctl {

class Command;
struct OptionDescription;

/// The program and all of its commands, each before those that belong to it.
std::vector<const Command*> allCommands(const Command& program);

/// The options of a command with those of the program, which every command takes.
std::vector<OptionDescription> optionsOf(const Command& command, const Command& program);

/// The arguments of a command in their order.
std::vector<OptionDescription> argumentsOf(const Command& command);

/// The words with blanks between them.
QString joined(const std::vector<std::string>& words);

} // namespace velmioctl
