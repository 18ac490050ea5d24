#pragma once

#include <QStringList>

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

/// What the help, the manual page and the completions show of an option, a flag or an argument.
struct OptionDescription
{
    /// What a shell can offer where the value stands.
    enum class Offer { Nothing, Words, Files, Folders, Stored };

    QString name;           ///< "--alias", or "ID" for an argument.
    QString shortName = {}; ///< "-q", or empty.
    QString text;
    QString typeName = {}; ///< Placeholder of the value; empty for flags and arguments.
    bool takesValue = true;
    bool required = false;
    bool repeatable = false;
    Offer offer = Offer::Nothing;
    QStringList words = {}; ///< For Offer::Words; for Offer::Stored what the hidden command
                            ///< "complete" lists.

    bool isArgument() const { return !name.startsWith(u'-'); }
};

/// An option, a flag or an argument of a command. Its setters return it, so that calls can be
/// chained.
class Option
{
public:
    Option(CLI::Option& parser, OptionDescription description);

    Option* typeName(const std::string& name);
    Option* required(bool value = true);
    /// May be given several times, with one value each time.
    Option* repeatable();
    /// One value may be a list with this separator.
    Option* separatedBy(char separator);
    Option* excludes(Option* other);
    Option* needs(Option* other);
    Option* notNegative();
    /// An id of a record.
    Option* id();
    Option* range(int first, int last);
    /// Accepts only these words.
    Option* choices(const std::vector<std::string>& words);
    /// Words that a shell offers; the command may accept others too.
    Option* offersWords(const std::vector<std::string>& words);
    Option* offersFiles();
    Option* offersFolders();
    /// The ids in a table of the database, or the backups beside it.
    Option* offersStored(const std::string& what);

    bool isGiven() const;
    const OptionDescription& description() const { return described; }

private:
    friend class Command;

    void checkNumber(long long first, long long last);

    CLI::Option& parser;
    OptionDescription described;
    // Of a number.
    long long lowest = 0;
    long long highest = 0;
};

/// What the help, the manual page and the completions show of a command.
struct CommandDescription
{
    QString name;
    QString fullName; ///< After the names of the commands that it belongs to.
    QString text;
    QStringList examples = {}; ///< Command lines to copy.
    QString listTitle = {};
    /// Terms and what they mean, at the end of the help.
    std::vector<std::pair<QString, QString>> list = {};
};

/// The program or one of its commands: its options and arguments, and what it does. The variables
/// that hold the values of options must live as long as the command line.
///
/// Hides the library that parses, whose templates cost seconds in each source that includes them.
class Command
{
public:
    Command(CLI::App& parser, CommandDescription description);
    ~Command();

    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// A name with dashes is an option, such as "--quiet" or "-q,--quiet"; any other an argument,
    /// which is recognised by its place.
    /// Value: std::string, int, long long, their optionals, or a vector of std::string.
    template <class Value>
    Option* addOption(const std::string& name, Value& value, const std::string& text);
    Option* addFlag(const std::string& name, bool& value, const std::string& text);
    Option* addFlagCallback(
        const std::string& name, const std::function<void()>& call, const std::string& text);
    /// A flag that asks for the version. It takes effect before options that are added later, and
    /// before any command.
    Option* addVersionFlag(const std::string& name, const std::string& text);
    Command* addSubcommand(const std::string& name, const std::string& text);
    /// One that the help, the manual page and the completions do not show.
    Command* addHiddenSubcommand(const std::string& name, const std::string& text);

    /// What the command does, while the command line is read and after all of its options.
    Command* callback(const std::function<void()>& call);
    /// It does nothing by itself: one of its commands must follow.
    Command* requireSubcommand();
    Command* example(const std::string& line);
    /// Terms and what they mean, for the end of the help.
    Command* list(const QString& title, const std::vector<std::pair<QString, QString>>& entries);

    /// The subcommand that the arguments name; null without one.
    const Command* givenSubcommand() const;
    const CommandDescription& description() const { return described; }
    const std::vector<std::unique_ptr<Option>>& options() const { return ownOptions; }
    /// Without the hidden ones.
    const std::vector<std::unique_ptr<Command>>& subcommands() const { return ownCommands; }

private:
    Option* describe(CLI::Option* option, OptionDescription description);
    std::unique_ptr<Command> makeSubcommand(const std::string& name, const std::string& text);

    CLI::App& parser;
    CommandDescription described;
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

    /// What to show instead of running a command.
    struct Request
    {
        const Command* help = nullptr;
        bool version = false;
    };

    /// Runs the command that the arguments name, unless they ask for help or the version. Throws
    /// CommandError for arguments that are wrong, and lets exceptions of the command through.
    Request parse(int argc, const char* const* argv);

private:
    std::unique_ptr<CLI::App> parser;
    std::unique_ptr<Command> root;
};

} // namespace velmioctl
