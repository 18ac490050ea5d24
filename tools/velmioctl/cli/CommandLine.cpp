#include <velmioctl/cli/CommandLine.h>

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/UsageMessage.h>

#include <CLI/CLI.hpp>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

OptionDescription descriptionOf(const std::string& name, const std::string& text, bool takesValue)
{
    const QStringList names = QString::fromStdString(name).split(u',');
    return {
        .name = names.last(),
        .shortName = names.size() > 1 ? names.first() : QString(),
        .text = QString::fromStdString(text),
        .takesValue = takesValue};
}

// The program, then the commands that the arguments name.
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
    , described(std::move(description))
{
}

Option* Option::typeName(const std::string& name)
{
    parser.type_name(name);
    described.typeName = QString::fromStdString(name);
    return this;
}

Option* Option::required(bool value)
{
    parser.required(value);
    described.required = value;
    return this;
}

Option* Option::repeatable()
{
    // Otherwise it would take the arguments that follow as well.
    parser.allow_extra_args(false);
    described.repeatable = true;
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
    described.offer = OptionDescription::Offer::Words;
    for (const std::string& word : words)
        described.words += QString::fromStdString(word);
    return this;
}

Option* Option::offersFiles()
{
    described.offer = OptionDescription::Offer::Files;
    return this;
}

Option* Option::offersFolders()
{
    described.offer = OptionDescription::Offer::Folders;
    return this;
}

bool Option::isGiven() const
{
    return parser.count() > 0;
}

Command::Command(CLI::App& parser, CommandDescription description)
    : parser(parser)
    , described(std::move(description))
{
}

Command::~Command() = default;

template <class Value>
Option* Command::addOption(const std::string& name, Value& value, const std::string& text)
{
    return describe(parser.add_option(name, value, text), descriptionOf(name, text, true));
}

using Text = const std::string&;
template Option* Command::addOption(Text name, std::string& value, Text text);
template Option* Command::addOption(Text name, std::optional<std::string>& value, Text text);
template Option* Command::addOption(Text name, std::vector<std::string>& value, Text text);
template Option* Command::addOption(Text name, int& value, Text text);
template Option* Command::addOption(Text name, std::optional<int>& value, Text text);
template Option* Command::addOption(Text name, long long& value, Text text);

Option* Command::addFlag(const std::string& name, bool& value, const std::string& text)
{
    return describe(parser.add_flag(name, value, text), descriptionOf(name, text, false));
}

Option* Command::addFlagCallback(
    const std::string& name, const std::function<void()>& call, const std::string& text)
{
    return describe(parser.add_flag_callback(name, call, text), descriptionOf(name, text, false));
}

Option* Command::addVersionFlag(const std::string& name, const std::string& text)
{
    return addFlagCallback(
        name, [] { throw CLI::CallForVersion(); }, text);
}

Command* Command::addSubcommand(const std::string& name, const std::string& text)
{
    return ownCommands.emplace_back(makeSubcommand(name, text)).get();
}

Command* Command::addHiddenSubcommand(const std::string& name, const std::string& text)
{
    return hiddenCommands.emplace_back(makeSubcommand(name, text)).get();
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
    described.examples += QString::fromStdString(line);
    return this;
}

Command* Command::list(
    const QString& title, const std::vector<std::pair<QString, QString>>& entries)
{
    described.listTitle = title;
    described.list = entries;
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

Option* Command::describe(CLI::Option* option, OptionDescription description)
{
    return ownOptions.emplace_back(std::make_unique<Option>(*option, std::move(description))).get();
}

std::unique_ptr<Command> Command::makeSubcommand(const std::string& name, const std::string& text)
{
    const QString word = QString::fromStdString(name);
    return std::make_unique<Command>(
        *parser.add_subcommand(name, text), CommandDescription{
                                                .name = word,
                                                .fullName = described.fullName + u' ' + word,
                                                .text = QString::fromStdString(text)});
}

CommandLine::CommandLine(const std::string& program, const std::string& text)
    : parser(std::make_unique<CLI::App>(text, program))
    , root(std::make_unique<Command>(
          *parser, CommandDescription{
                       .name = QString::fromStdString(program),
                       .fullName = QString::fromStdString(program),
                       .text = QString::fromStdString(text)}))
{
    // Options of the program may also follow the command.
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
