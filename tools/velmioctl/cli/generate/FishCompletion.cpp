#include <velmioctl/cli/generate/Generators.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/generate/CommandTree.h>

#include <QStringList>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

using Offer = OptionDescription::Offer;

QString inFishQuotes(QString text)
{
    return u'\'' + text.replace(u'\\', u"\\\\"_s).replace(u'\'', u"\\'"_s) + u'\'';
}

QString inFishQuotes(const std::string& text)
{
    return inFishQuotes(QString::fromStdString(text));
}

// True in fish while the command that its arguments name is being typed.
QString conditionFunction(const Command& program)
{
    const QString name = QString::fromStdString(program.description().name);
    QString commands;
    for (const Command* const command : allCommands(program)) {
        if (command != &program)
            commands += u' ' + inFishQuotes(command->description().fullName);
    }
    return uR"(function __%1_command
    set -l command %1
    for word in (commandline -opc)[2..-1]
        switch "$command $word"
            case%2
                set command "$command $word"
        end
    end
    test "$command" = "$argv"
end
)"_s.arg(name, commands);
}

QString offerOf(const OptionDescription& option)
{
    switch (option.offer) {
    case Offer::Words:
        return u" -x -a "_s + inFishQuotes(joined(option.words));
    case Offer::Files:
        return u" -r -F"_s;
    case Offer::Folders:
        return u" -x -a '(__fish_complete_directories)'"_s;
    case Offer::Nothing:
        break;
    }
    return option.isArgument() ? QString() : u" -x"_s;
}

QString lineOf(const QString& start, const OptionDescription& option)
{
    const QString offer = option.takesValue ? offerOf(option) : QString();
    if (!option.isArgument()) {
        return start + u" -l "_s + QString::fromStdString(option.name).mid(2) + offer + u" -d "_s +
               inFishQuotes(option.text) + u'\n';
    }
    if (option.offer == Offer::Files)
        return start + u" -F\n"_s;
    return offer.isEmpty() ? QString() : start + offer + u'\n';
}

} // namespace

QString fishCompletion(const Command& program)
{
    const QString name = QString::fromStdString(program.description().name);
    const QString complete = u"complete -c "_s + name;
    QString script = u"# fish completion of %1, made by '%1 generate fish'\n"_s.arg(name) +
                     conditionFunction(program) + complete + u" -f\n"_s;
    for (const OptionDescription& option : optionsOf(program, program))
        script += lineOf(complete, option);
    for (const Command* const command : allCommands(program)) {
        const QString condition =
            u"__%1_command %2"_s.arg(name, QString::fromStdString(command->description().fullName));
        const QString start = complete + u" -n "_s + inFishQuotes(condition);
        for (const auto& subcommand : command->subcommands()) {
            const CommandDescription& description = subcommand->description();
            script += start + u" -a "_s + QString::fromStdString(description.name) + u" -d "_s +
                      inFishQuotes(description.text) + u'\n';
        }
        if (command == &program)
            continue;
        for (const auto& option : command->options())
            script += lineOf(start, option->description());
    }
    return script;
}

} // namespace velmioctl
