#include <velmioctl/cli/CommandTree.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

std::vector<OptionDescription> descriptionsOf(const Command& command, bool arguments)
{
    std::vector<OptionDescription> all;
    for (const auto& option : command.options()) {
        if (option->description().isArgument() == arguments)
            all.push_back(option->description());
    }
    return all;
}

} // namespace

std::vector<const Command*> allCommands(const Command& program)
{
    std::vector<const Command*> all{&program};
    for (const auto& command : program.subcommands()) {
        const auto below = allCommands(*command);
        all.insert(all.end(), below.begin(), below.end());
    }
    return all;
}

std::vector<OptionDescription> argumentsOf(const Command& command)
{
    return descriptionsOf(command, true);
}

std::vector<OptionDescription> ownOptionsOf(const Command& command)
{
    return descriptionsOf(command, false);
}

std::vector<OptionDescription> optionsOf(const Command& command, const Command& program)
{
    std::vector<OptionDescription> all;
    if (&command != &program)
        all = ownOptionsOf(command);
    const auto common = ownOptionsOf(program);
    all.insert(all.end(), common.begin(), common.end());
    all.push_back({.name = u"--help"_s, .text = u"Print the help"_s, .takesValue = false});
    return all;
}

} // namespace velmioctl
