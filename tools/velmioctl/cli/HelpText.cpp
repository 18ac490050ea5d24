#include <velmioctl/cli/HelpText.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Text.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

// For lines that nobody has set a width for.
constexpr int PlainColumns = 80;
constexpr int Indent = 2;
constexpr int Gap = 2;
// A longer term has a line of its own.
constexpr int WidestTerm = 26;

using Entries = std::vector<std::pair<QString, QString>>;

QString textOf(const OptionDescription& option)
{
    const QString text = QString::fromStdString(option.text);
    return option.required && !option.isArgument() ? text + u" (required)"_s : text;
}

Entries entriesOf(const Command& command, bool arguments)
{
    Entries entries;
    for (const auto& option : command.options()) {
        const OptionDescription& description = option->description();
        if (description.isArgument() == arguments)
            entries.emplace_back(termOf(description), textOf(description));
    }
    return entries;
}

// Those that every command takes.
Entries commonEntries(const Command& program)
{
    Entries entries = entriesOf(program, false);
    entries.emplace_back(u"-h, --help"_s, u"Print the help of a command"_s);
    return entries;
}

Entries commandsOf(const Command& command)
{
    Entries entries;
    for (const auto& subcommand : command.subcommands()) {
        const CommandDescription& description = subcommand->description();
        entries.emplace_back(
            QString::fromStdString(description.name), QString::fromStdString(description.text));
    }
    return entries;
}

Entries listOf(const CommandDescription& description)
{
    Entries entries;
    for (const auto& [term, text] : description.list)
        entries.emplace_back(QString::fromStdString(term), QString::fromStdString(text));
    return entries;
}

QString entry(const QString& term, const QString& text, int width, int columns)
{
    const int margin = Indent + width + Gap;
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

QString examplesOf(const CommandDescription& description)
{
    QString lines;
    for (const std::string& example : description.examples)
        lines += QString(Indent, u' ') + QString::fromStdString(example) + u'\n';
    return lines.isEmpty() ? lines : u"\nExamples:\n"_s + lines;
}

} // namespace

QString helpOf(const Command& command, const Command& program, int columns)
{
    const int width = columns > 0 ? columns : PlainColumns;
    const CommandDescription& description = command.description();
    QString text = wrapped(QString::fromStdString(description.text), width) + u"\n\n"_s;
    text += wrapped(u"Usage: "_s + synopsisOf(command), width) + u'\n';
    text += section(u"Arguments"_s, entriesOf(command, true), width);
    text += section(u"Commands"_s, commandsOf(command), width);
    if (&command != &program)
        text += section(u"Options"_s, entriesOf(command, false), width);
    text += section(u"Options of every command"_s, commonEntries(program), width);
    text += examplesOf(description);
    return text +
           section(QString::fromStdString(description.listTitle), listOf(description), width);
}

QString synopsisOf(const Command& command)
{
    QString synopsis = QString::fromStdString(command.description().fullName) + u" [OPTIONS]"_s;
    for (const auto& option : command.options()) {
        const OptionDescription& description = option->description();
        if (!description.isArgument())
            continue;
        const QString name = QString::fromStdString(description.name);
        synopsis += description.required ? u' ' + name : u" ["_s + name + u']';
    }
    return command.subcommands().empty() ? synopsis : synopsis + u" COMMAND"_s;
}

QString termOf(const OptionDescription& option)
{
    const std::string term = option.typeName.empty() || option.isArgument()
                                 ? option.name
                                 : option.name + ' ' + option.typeName;
    return QString::fromStdString(term) + (option.repeatable ? u"..."_s : QString());
}

} // namespace velmioctl
