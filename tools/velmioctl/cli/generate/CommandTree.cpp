#include <velmioctl/cli/generate/CommandTree.h>

#include <velmioctl/cli/CommandLine.h>

namespace velmioctl {

namespace {

void append(std::vector<OptionDescription>& all, const Command& command, bool arguments)
{
    for (const auto& option : command.options()) {
        if (option->description().isArgument() == arguments)
            all.push_back(option->description());
    }
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

std::vector<OptionDescription> optionsOf(const Command& command, const Command& program)
{
    std::vector<OptionDescription> all;
    if (&command != &program)
        append(all, command, false);
    append(all, program, false);
    all.push_back({.name = "--help", .text = "Print the help", .takesValue = false});
    return all;
}

std::vector<OptionDescription> argumentsOf(const Command& command)
{
    std::vector<OptionDescription> all;
    append(all, command, true);
    return all;
}

QString joined(const std::vector<std::string>& words)
{
    QString text;
    for (const std::string& word : words)
        text += (text.isEmpty() ? QString() : QStringLiteral(" ")) + QString::fromStdString(word);
    return text;
}

} // namespace velmioctl
