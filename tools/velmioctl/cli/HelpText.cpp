#include <velmioctl/cli/HelpText.h>

#include <velmioctl/cli/CommandTree.h>
#include <velmioctl/cli/Text.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

// For output that is not a terminal.
constexpr int PlainColumns = 80;
constexpr int Indent = 2;
constexpr int TermGap = 2;
// A longer term is on a line of its own.
constexpr int WidestTerm = 26;

using Entries = std::vector<std::pair<QString, QString>>;

Entries entriesOf(const std::vector<OptionDescription>& options)
{
    Entries entries;
    for (const OptionDescription& option : options) {
        const bool isRequired = option.required && !option.isArgument();
        entries.emplace_back(
            termOf(option), isRequired ? option.text + u" (required)"_s : option.text);
    }
    return entries;
}

Entries commandsOf(const Command& command)
{
    Entries entries;
    for (const auto& subcommand : command.subcommands())
        entries.emplace_back(subcommand->description().name, subcommand->description().text);
    return entries;
}

QString entry(const QString& term, const QString& text, int width, int columns)
{
    const int margin = Indent + width + TermGap;
    const QString indented = wrapped(text, columns, margin) + u'\n';
    const QString head = QString(Indent, u' ') + term;
    if (term.size() > width)
        return head + u'\n' + indented;
    return head.leftJustified(margin) + indented.mid(margin);
}

QString section(const QString& title, const Entries& entries, int columns)
{
    if (entries.empty())
        return {};
    int width = 0;
    for (const auto& [term, text] : entries) {
        if (term.size() <= WidestTerm)
            width = std::max(width, int(term.size()));
    }
    QString lines = u'\n' + title + u":\n"_s;
    for (const auto& [term, text] : entries)
        lines += entry(term, text, width, columns);
    return lines;
}

} // namespace

QString helpOf(const Command& command, const Command& program, int columns)
{
    const int width = columns > 0 ? columns : PlainColumns;
    const CommandDescription& description = command.description();
    Entries common = entriesOf(ownOptionsOf(program));
    common.emplace_back(u"-h, --help"_s, u"Print the help of a command"_s);

    QString text = wrapped(description.text, width) + u"\n\n"_s;
    text += wrapped(u"Usage: "_s + synopsisOf(command), width) + u'\n';
    text += section(u"Arguments"_s, entriesOf(argumentsOf(command)), width);
    text += section(u"Commands"_s, commandsOf(command), width);
    if (&command != &program)
        text += section(u"Options"_s, entriesOf(ownOptionsOf(command)), width);
    text += section(u"Options of every command"_s, common, width);
    if (!description.examples.isEmpty())
        text += u"\nExamples:\n"_s;
    for (const QString& example : description.examples)
        text += QString(Indent, u' ') + example + u'\n';
    return text + section(description.listTitle, description.list, width);
}

QString synopsisOf(const Command& command)
{
    QString synopsis = command.description().fullName + u" [OPTIONS]"_s;
    for (const OptionDescription& argument : argumentsOf(command))
        synopsis += argument.required ? u' ' + argument.name : u" ["_s + argument.name + u']';
    return command.subcommands().empty() ? synopsis : synopsis + u" COMMAND"_s;
}

QString termOf(const OptionDescription& option)
{
    const bool hasValue = !option.typeName.isEmpty() && !option.isArgument();
    const QString names =
        option.shortName.isEmpty() ? option.name : option.shortName + u", "_s + option.name;
    return names + (hasValue ? u' ' + option.typeName : QString()) +
           (option.repeatable ? u"..."_s : QString());
}

} // namespace velmioctl
