#include <velmioctl/cli/generate/Generators.h>

#include <velmioctl/cli/CommandTree.h>
#include <velmioctl/cli/HelpText.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

// A text for roff, with "\" and "-" escaped, and no line that looks like a request.
QString roff(const QString& text)
{
    QString escaped = text;
    escaped.replace(u'\\', u"\\e"_s).replace(u'-', u"\\-"_s);
    if (escaped.startsWith(u'.') || escaped.startsWith(u'\''))
        escaped.prepend(u"\\&"_s);
    return escaped;
}

// As the argument of a request.
QString quotedRoff(const QString& text)
{
    return u'"' + roff(text).replace(u'"', u"\\(dq"_s) + u'"';
}

QString entry(const OptionDescription& option)
{
    QString text = roff(option.text);
    if (option.required && !option.isArgument())
        text += u" (required)"_s;
    return u".TP\n.B "_s + quotedRoff(termOf(option)) + u'\n' + text + u".\n"_s;
}

QString entriesOf(const Command& command)
{
    QString page;
    for (const auto& options : {argumentsOf(command), ownOptionsOf(command)}) {
        for (const OptionDescription& option : options)
            page += entry(option);
    }
    return page;
}

QString examplesOf(const Command& command)
{
    QString page;
    for (const QString& example : command.description().examples)
        page += roff(example) + u'\n';
    return page.isEmpty() ? page : u".PP\n.RS\n.nf\n"_s + page + u".fi\n.RE\n"_s;
}

QString listOf(const CommandDescription& description)
{
    QString page = u".SH "_s + quotedRoff(description.listTitle.toUpper()) + u'\n';
    for (const auto& [term, text] : description.list)
        page += u".TP\n.B "_s + roff(term) + u'\n' + roff(text) + u".\n"_s;
    return page;
}

QString sectionOf(const Command& command)
{
    return u".SS "_s + quotedRoff(synopsisOf(command)) + u'\n' + roff(command.description().text) +
           u".\n"_s + entriesOf(command) + examplesOf(command);
}

} // namespace

QString manPage(const Command& program)
{
    const CommandDescription& description = program.description();
    const QString name = description.name;
    QString text = roff(description.text);
    text.chop(1); // By convention this line has no full stop.

    // Without a date, so that the same sources give the same page.
    QString page = u".TH "_s + name.toUpper() + u" 1 \"\" \""_s + name +
                   QStringLiteral(" " VELMIO_VERSION "\"\n.SH NAME\n") + roff(name) + u" \\- "_s +
                   text.at(0).toLower() + text.mid(1) + u"\n.SH SYNOPSIS\n.B "_s +
                   quotedRoff(synopsisOf(program)) +
                   u"\n.SH OPTIONS\nEvery command takes them, before or after its name.\n"_s +
                   entriesOf(program) +
                   u".TP\n.B \"\\-h, \\-\\-help\"\nPrint the help of the command.\n"_s +
                   u".SH COMMANDS\n"_s;
    for (const Command* const command : allCommands(program)) {
        if (command->subcommands().empty())
            page += sectionOf(*command);
    }
    return page + listOf(description);
}

} // namespace velmioctl
