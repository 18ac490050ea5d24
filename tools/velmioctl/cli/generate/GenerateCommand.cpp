#include <velmioctl/cli/generate/GenerateCommand.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Output.h>
#include <velmioctl/cli/generate/Generators.h>

namespace velmioctl {

namespace {

QString generated(const std::string& what, const Command& program)
{
    if (what == "man")
        return manPage(program);
    if (what == "bash")
        return bashCompletion(program);
    return what == "zsh" ? zshCompletion(program) : fishCompletion(program);
}

} // namespace

void addGenerateCommand(Command& program, Output& output)
{
    auto* const command = program.addHiddenSubcommand(
        "generate", "Print the manual page, or the completion for a shell");
    const auto what = std::make_shared<std::string>();
    command->addOption("WHAT", *what, "What to print")
        ->required()
        ->choices({"man", "bash", "zsh", "fish"});
    command->callback([&output, &program, what] { output.printLines(generated(*what, program)); });
}

} // namespace velmioctl
