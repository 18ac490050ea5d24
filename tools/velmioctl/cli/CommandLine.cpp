#include <velmioctl/cli/CommandLine.h>

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/HelpText.h>
#include <velmioctl/cli/UsageMessage.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <limits>
#include <type_traits>

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

// "--alias NAME: Name to show", for an option by its name.
QString describedOption(const std::vector<const Command*>& given, const QString& name)
{
    for (const Command* const command : given) {
        for (const auto& option : command->options()) {
            if (option->description().name == name)
                return termOf(option->description()) + u": "_s + option->description().text;
        }
    }
    return name;
}

// The parser's error in our own words. Never has a value, which may be a secret.
QString faultOf(const std::vector<const Command*>& given, const CLI::ParseError& error)
{
    const QString text = QString::fromStdString(error.what());
    const auto nameBefore = [&text](const QString& end) { return text.section(end, 0, 0); };
    if (dynamic_cast<const CLI::RequiredError*>(&error)) {
        return u"An argument is missing: %1."_s.arg(
            describedOption(given, nameBefore(u" is required"_s)));
    }
    if (dynamic_cast<const CLI::ValidationError*>(&error))
        return nameBefore(u": "_s) + u' ' + text.section(u": "_s, 1) + u'.';
    if (dynamic_cast<const CLI::ExcludesError*>(&error)) {
        return u"%1 and %2 cannot be given together."_s.arg(
            nameBefore(u" excludes "_s), text.section(u" excludes "_s, 1));
    }
    if (dynamic_cast<const CLI::RequiresError*>(&error)) {
        return u"%1 is allowed only with %2."_s.arg(
            nameBefore(u" requires "_s), text.section(u" requires "_s, 1));
    }
    if (text.endsWith(u" disallowed flag override"))
        return u"--"_s + nameBefore(u" was given"_s) + u" takes no value."_s;
    if (text.contains(u"required but received"))
        return nameBefore(u": "_s) + u" can be given only once."_s;
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error))
        return u"A value is missing: %1."_s.arg(describedOption(given, nameBefore(u": "_s)));
    return u"The arguments cannot be read."_s;
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
    lowest = 0;
    return this;
}

Option* Option::id()
{
    return range(1, std::numeric_limits<int>::max());
}

Option* Option::range(int first, int last)
{
    lowest = first;
    highest = last;
    return this;
}

void Option::checkNumber(long long first, long long last)
{
    lowest = first;
    highest = last;
    // Our own, because the parser's texts name neither the values nor what is allowed.
    parser.check([this](const std::string& value) {
        bool isNumber = false;
        const long long number = QString::fromStdString(value).toLongLong(&isNumber);
        if (isNumber && number >= lowest && number <= highest)
            return std::string();
        return "must be a whole number from " + std::to_string(lowest) + " to " +
               std::to_string(highest);
    });
}

Option* Option::choices(const std::vector<std::string>& words)
{
    parser.check([words](const std::string& value) {
        const bool isKnown = std::find(words.begin(), words.end(), value) != words.end();
        return isKnown ? std::string() : "must be one of " + CLI::detail::join(words, ", ");
    });
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

Option* Option::offersStored(const std::string& what)
{
    described.offer = OptionDescription::Offer::Stored;
    described.words = {QString::fromStdString(what)};
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
    Option* const option =
        describe(parser.add_option(name, value, text), descriptionOf(name, text, true));
    if constexpr (std::is_same_v<Value, long long>)
        option->checkNumber(
            std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max());
    else if constexpr (std::is_same_v<Value, int> || std::is_same_v<Value, std::optional<int>>)
        option->checkNumber(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    return option;
}

using String = const std::string&;
template Option* Command::addOption(String name, std::string& value, String text);
template Option* Command::addOption(String name, std::optional<std::string>& value, String text);
template Option* Command::addOption(String name, std::vector<std::string>& value, String text);
template Option* Command::addOption(String name, int& value, String text);
template Option* Command::addOption(String name, std::optional<int>& value, String text);
template Option* Command::addOption(String name, long long& value, String text);

Option* Command::addFlag(const std::string& name, bool& value, const std::string& text)
{
    return describe(
        parser.add_flag(name, value, text)->disable_flag_override(),
        descriptionOf(name, text, false));
}

Option* Command::addFlagCallback(
    const std::string& name, const std::function<void()>& call, const std::string& text)
{
    return describe(
        parser.add_flag_callback(name, call, text)->disable_flag_override(),
        descriptionOf(name, text, false));
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
        const auto given = givenCommands(*root);
        throw CommandError(
            ExitCode::Usage, usageMessage(given, parser->remaining(true), faultOf(given, error)));
    }
}

} // namespace velmioctl
