#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace velmioctl {

/// What help, manual page and completions tell of an option, a flag or an argument.
struct OptionDescription
{
    /// What a shell can offer where the value stands.
    enum class Offer { Nothing, Words, Files, Folders };

    std::string name; ///< "--alias", or "ID" for an argument.
    std::string text;
    std::string typeName = {}; ///< Stands for the value; empty for flags and arguments.
    bool takesValue = true;
    bool required = false;
    bool repeatable = false;
    Offer offer = Offer::Nothing;
    std::vector<std::string> words = {}; ///< For Offer::Words.

    bool isArgument() const { return !name.starts_with('-'); }
};

/// An option, a flag or an argument of a command. What changes it gives it back, to go on with.
class Option
{
public:
    Option(CLI::Option& parser, OptionDescription description);

    Option* typeName(const std::string& name);
    Option* required(bool value = true);
    /// Given as often as wanted, with one value each time.
    Option* repeatable();
    /// One value may be several, with this between them.
    Option* separatedBy(char separator);
    Option* excludes(Option* other);
    Option* needs(Option* other);
    Option* notNegative();
    Option* range(int lowest, int highest);
    /// Takes one of these words, and nothing else.
    Option* choices(const std::vector<std::string>& words);
    /// Words that a shell offers; the command judges what it gets.
    Option* offersWords(const std::vector<std::string>& words);
    Option* offersFiles();
    Option* offersFolders();

    bool isGiven() const;
    const OptionDescription& description() const { return told; }

private:
    CLI::Option& parser;
    OptionDescription told;
};

/// What help, manual page and completions tell of a command.
struct CommandDescription
{
    std::string name;
    std::string fullName; ///< With the names of the commands that it belongs to.
    std::string text;
    std::vector<std::string> examples = {}; ///< Command lines, ready to be copied.
    std::string listTitle = {};
    /// Terms and what they mean, at the end of the help.
    std::vector<std::pair<std::string, std::string>> list = {};
};

/// The program or one of its commands: what it takes, and what it does. The values that options are
/// read into have to live as long as the command line.
///
/// Stands between the commands and the library that parses, whose templates take a compiler seconds
/// in each source that includes them.
class Command
{
public:
    Command(CLI::App& parser, CommandDescription description);
    ~Command();

    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// A name with dashes is an option's; another one that of an argument, which has its place.
    Option* addOption(const std::string& name, std::string& value, const std::string& text);
    Option* addOption(
        const std::string& name, std::optional<std::string>& value, const std::string& text);
    Option* addOption(
        const std::string& name, std::vector<std::string>& value, const std::string& text);
    Option* addOption(const std::string& name, int& value, const std::string& text);
    Option* addOption(const std::string& name, std::optional<int>& value, const std::string& text);
    Option* addOption(const std::string& name, long long& value, const std::string& text);
    Option* addFlag(const std::string& name, bool& value, const std::string& text);
    Option* addFlagCallback(
        const std::string& name, const std::function<void()>& call, const std::string& text);
    /// A flag that asks for the version. It is answered before the options that are added later,
    /// and before any command.
    Option* addVersionFlag(const std::string& name, const std::string& text);
    Command* addSubcommand(const std::string& name, const std::string& text);
    /// One that help, manual page and completions do not tell of.
    Command* addHiddenSubcommand(const std::string& name, const std::string& text);

    /// What the command does, while the command line is read and after all of its options.
    Command* callback(const std::function<void()>& call);
    /// It does nothing by itself: one of its commands has to follow.
    Command* requireSubcommand();
    Command* example(const std::string& line);
    /// Terms and what they mean, for the end of the help.
    Command* list(
        const std::string& title, const std::vector<std::pair<std::string, std::string>>& entries);

    /// The one of its commands that the arguments named; null without one.
    const Command* givenSubcommand() const;
    const CommandDescription& description() const { return told; }
    const std::vector<std::unique_ptr<Option>>& options() const { return ownOptions; }
    /// Without the hidden ones.
    const std::vector<std::unique_ptr<Command>>& subcommands() const { return ownCommands; }

private:
    template <class Value>
    Option* addValue(const std::string& name, Value& value, const std::string& text);
    Option* describe(CLI::Option* option, OptionDescription description);
    std::unique_ptr<Command> made(const std::string& name, const std::string& text);

    CLI::App& parser;
    CommandDescription told;
    std::vector<std::unique_ptr<Option>> ownOptions;
    std::vector<std::unique_ptr<Command>> ownCommands;
    std::vector<std::unique_ptr<Command>> hiddenCommands;
};

/// The command line of a program: its commands, and the reading of what was typed.
class CommandLine
{
public:
    CommandLine(const std::string& program, const std::string& text);
    ~CommandLine();

    Command& program() { return *root; }

    /// What is wanted in place of a command.
    struct Request
    {
        const Command* help = nullptr;
        bool version = false;
    };

    /// Runs the command that the arguments name, unless they want help or the version. Throws
    /// CommandError for what reads wrong, and lets through what the command throws.
    Request parse(int argc, const char* const* argv);

private:
    std::unique_ptr<CLI::App> parser;
    std::unique_ptr<Command> root;
};

} // namespace velmioctl
