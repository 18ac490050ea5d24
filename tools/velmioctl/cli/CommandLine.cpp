#include <velmioctl/cli/CommandLine.h>

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/UsageMessage.h>

#include <CLI/CLI.hpp>

namespace velmioctl {

namespace {

// The program, and below it the commands that the arguments named.
std::vector<const Command*> givenCommands(const Command& program)
{
    std::vector<const Command*> given;
    for (const Command* command = &program; command; command = command->givenSubcommand())
        given.push_back(command);
    return given;
}

} // namespace

Option::Option(CLI::Option& parser, OptionDescription description)
    : parser(parser)
    , told(std::move(description))
{
}

Option* Option::typeName(const std::string& name)
{
    parser.type_name(name);
    told.typeName = name;
    return this;
}

Option* Option::required(bool value)
{
    parser.required(value);
    told.required = value;
    return this;
}

Option* Option::repeatable()
{
    // Or it would also take the arguments that follow.
    parser.allow_extra_args(false);
    told.repeatable = true;
    return this;
}

Option* Option::separatedBy(char separator)
{
    parser.delimiter(separator);
    return this;
}

Option* Option::excludes(Option* other)
{
    parser.excludes(&other->parser);
    return this;
}

Option* Option::needs(Option* other)
{
    parser.needs(&other->parser);
    return this;
}

Option* Option::notNegative()
{
    parser.check(CLI::NonNegativeNumber);
    return this;
}

Option* Option::range(int lowest, int highest)
{
    parser.check(CLI::Range(lowest, highest));
    return this;
}

Option* Option::choices(const std::vector<std::string>& words)
{
    parser.check(CLI::IsMember(words));
    typeName(CLI::detail::join(words, "|"));
    return offersWords(words);
}

Option* Option::offersWords(const std::vector<std::string>& words)
{
    told.offer = OptionDescription::Offer::Words;
    told.words = words;
    return this;
}

Option* Option::offersFiles()
{
    told.offer = OptionDescription::Offer::Files;
    return this;
}

Option* Option::offersFolders()
{
    told.offer = OptionDescription::Offer::Folders;
    return this;
}

bool Option::isGiven() const
{
    return parser.count() > 0;
}

Command::Command(CLI::App& parser, CommandDescription description)
    : parser(parser)
    , told(std::move(description))
{
}

Command::~Command() = default;

Option* Command::addOption(const std::string& name, std::string& value, const std::string& text)
{
    return addValue(name, value, text);
}

Option* Command::addOption(
    const std::string& name, std::optional<std::string>& value, const std::string& text)
{
    return addValue(name, value, text);
}

Option* Command::addOption(
    const std::string& name, std::vector<std::string>& value, const std::string& text)
{
    return addValue(name, value, text);
}

Option* Command::addOption(const std::string& name, int& value, const std::string& text)
{
    return addValue(name, value, text);
}

Option* Command::addOption(
    const std::string& name, std::optional<int>& value, const std::string& text)
{
    return addValue(name, value, text);
}

Option* Command::addOption(const std::string& name, long long& value, const std::string& text)
{
    return addValue(name, value, text);
}

Option* Command::addFlag(const std::string& name, bool& value, const std::string& text)
{
    return describe(
        parser.add_flag(name, value, text), {.name = name, .text = text, .takesValue = false});
}

Option* Command::addFlagCallback(
    const std::string& name, const std::function<void()>& call, const std::string& text)
{
    return describe(
        parser.add_flag_callback(name, call, text),
        {.name = name, .text = text, .takesValue = false});
}

Option* Command::addVersionFlag(const std::string& name, const std::string& text)
{
    return addFlagCallback(
        name, [] { throw CLI::CallForVersion(); }, text);
}

Command* Command::addSubcommand(const std::string& name, const std::string& text)
{
    return ownCommands.emplace_back(made(name, text)).get();
}

Command* Command::addHiddenSubcommand(const std::string& name, const std::string& text)
{
    return hiddenCommands.emplace_back(made(name, text)).get();
}

Command* Command::callback(const std::function<void()>& call)
{
    parser.callback(call);
    return this;
}

Command* Command::requireSubcommand()
{
    parser.require_subcommand(1);
    return this;
}

Command* Command::example(const std::string& line)
{
    told.examples.push_back(line);
    return this;
}

Command* Command::list(
    const std::string& title, const std::vector<std::pair<std::string, std::string>>& entries)
{
    told.listTitle = title;
    told.list = entries;
    return this;
}

const Command* Command::givenSubcommand() const
{
    for (const auto* const commands : {&ownCommands, &hiddenCommands}) {
        for (const auto& command : *commands) {
            if (command->parser.parsed())
                return command.get();
        }
    }
    return nullptr;
}

template <class Value>
Option* Command::addValue(const std::string& name, Value& value, const std::string& text)
{
    return describe(parser.add_option(name, value, text), {.name = name, .text = text});
}

Option* Command::describe(CLI::Option* option, OptionDescription description)
{
    return ownOptions.emplace_back(std::make_unique<Option>(*option, std::move(description))).get();
}

std::unique_ptr<Command> Command::made(const std::string& name, const std::string& text)
{
    return std::make_unique<Command>(
        *parser.add_subcommand(name, text),
        CommandDescription{.name = name, .fullName = told.fullName + ' ' + name, .text = text});
}

CommandLine::CommandLine(const std::string& program, const std::string& text)
    : parser(std::make_unique<CLI::App>(text, program))
    , root(std::make_unique<Command>(
          *parser, CommandDescription{.name = program, .fullName = program, .text = text}))
{
    // Options of the program itself may stand behind the command as well.
    parser->fallthrough();
}

CommandLine::~CommandLine() = default;

CommandLine::Request CommandLine::parse(int argc, const char* const* argv)
{
    try {
        parser->parse(argc, argv);
        return {};
    } catch (const CLI::CallForHelp&) {
        return {.help = givenCommands(*root).back()};
    } catch (const CLI::CallForVersion&) {
        return {.version = true};
    } catch (const CLI::ParseError& error) {
        throw CommandError(
            ExitCode::Usage,
            usageMessage(givenCommands(*root), parser->remaining(true), error.what()));
    }
}

} // namespace velmioctl
