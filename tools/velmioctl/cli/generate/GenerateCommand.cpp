#include <velmioctl/cli/generate/GenerateCommand.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/generate/BashCompletion.h>
#include <velmioctl/cli/generate/FishCompletion.h>
#include <velmioctl/cli/generate/ManPage.h>
#include <velmioctl/cli/generate/ZshCompletion.h>
#include <velmioctl/store/Session.h>

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

void addGenerateCommand(Command& program, Session& session)
{
    auto* const command = program.addHiddenSubcommand(
        "generate", "Print the manual page, or the completion for a shell");
    const auto what = std::make_shared<std::string>();
    command->addOption("WHAT", *what, "What to print")
        ->required()
        ->choices({"man", "bash", "zsh", "fish"});
    command->callback(
        [&session, &program, what] { session.output.printLines(generated(*what, program)); });
}

} // namespace velmioctl
