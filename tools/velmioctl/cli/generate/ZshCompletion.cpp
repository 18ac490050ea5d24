#include <velmioctl/cli/generate/Generators.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/generate/CommandTree.h>

#include <QStringList>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

using Offer = OptionDescription::Offer;

QString inZshQuotes(QString text)
{
    return u'\'' + text.replace(u'\'', u"'\\''"_s) + u'\'';
}

// Inside an entry of _arguments some characters end a part of it.
QString escaped(const std::string& text)
{
    QString result = QString::fromStdString(text);
    for (const QChar character : {u'\\', u'[', u']', u':'})
        result.replace(character, QString(u'\\') + character);
    return result;
}

QString functionName(const Command& command)
{
    return u'_' + QString::fromStdString(command.description().fullName)
                      .replace(u' ', u'_')
                      .replace(u'-', u'_');
}

QString actionOf(const OptionDescription& option)
{
    switch (option.offer) {
    case Offer::Words:
        return u'(' + joined(option.words) + u')';
    case Offer::Files:
        return u"_files"_s;
    case Offer::Folders:
        return u"_files -/"_s;
    case Offer::Nothing:
        break;
    }
    return u" "_s;
}

QString specificationOf(const OptionDescription& option)
{
    const QString text = escaped(option.text);
    if (option.isArgument()) {
        const QString optional = option.required ? QString() : u":"_s;
        return inZshQuotes(u':' + optional + text + u':' + actionOf(option));
    }
    QString entry = option.repeatable ? u"*"_s : QString();
    entry += QString::fromStdString(option.name) + u'[' + text + u']';
    if (option.takesValue)
        entry += u':' + escaped(option.typeName) + u':' + actionOf(option);
    return inZshQuotes(entry);
}

QStringList specificationsOf(const Command& command, const Command& program)
{
    QStringList all;
    for (const OptionDescription& option : optionsOf(command, program))
        all += specificationOf(option);
    for (const OptionDescription& argument : argumentsOf(command))
        all += specificationOf(argument);
    return all;
}

QString leafFunction(const Command& command, const Command& program)
{
    return functionName(command) + u"()\n{\n    _arguments \\\n        "_s +
           specificationsOf(command, program).join(u" \\\n        "_s) + u"\n}\n"_s;
}

// Offers the commands of one, and hands over to the one that was typed.
QString groupFunction(const Command& command, const Command& program)
{
    QString names;
    QString branches;
    for (const auto& subcommand : command.subcommands()) {
        const CommandDescription& description = subcommand->description();
        const QString name = QString::fromStdString(description.name);
        names += u"                "_s +
                 inZshQuotes(name + u':' + QString::fromStdString(description.text)) + u'\n';
        branches += u"                %1) %2 ;;\n"_s.arg(name, functionName(*subcommand));
    }
    return uR"(%1()
{
    local context state line
    typeset -A opt_args
    _arguments -C \
        %2 \
        '1: :->command' \
        '*:: :->rest'
    case $state in
        command)
            local -a commands=(
%3            )
            _describe command commands
            ;;
        rest)
            case $words[1] in
%4            esac
            ;;
    esac
}
)"_s.arg(
        functionName(command), specificationsOf(command, program).join(u" \\\n        "_s), names,
        branches);
}

} // namespace

QString zshCompletion(const Command& program)
{
    const QString name = QString::fromStdString(program.description().name);
    QString script = u"#compdef %1\n# Made by '%1 generate zsh'.\n"_s.arg(name);
    for (const Command* const command : allCommands(program)) {
        script += command->subcommands().empty() ? leafFunction(*command, program)
                                                 : groupFunction(*command, program);
    }
    // Loaded by its name it runs; sourced it is only made known.
    return script + uR"(if [[ $funcstack[1] == _%1 ]]; then
    _%1 "$@"
else
    compdef _%1 %1
fi
)"_s.arg(name);
}

} // namespace velmioctl
