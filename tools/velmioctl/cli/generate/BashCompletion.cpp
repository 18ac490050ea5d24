#include <velmioctl/cli/generate/Generators.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/generate/CommandTree.h>

#include <QStringList>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

using Offer = OptionDescription::Offer;

// Finds the command that is being typed and the place of the argument in it; all that is special to
// a program follows in the functions that it calls. A "=" is a word of its own to bash.
const QString Frame = uR"(# bash completion of %1, made by '%1 generate bash'
_%1()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    if [[ $current == '=' ]]; then
        current=
    elif [[ $previous == '=' ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    local command=%1 place=0 at
    for ((at = 1; at < COMP_CWORD; ++at)); do
        local word=${COMP_WORDS[at]}
        if _%1_is_command "$command $word"; then
            command+=" $word"
        elif _%1_takes_value "$command" "$word"; then
            [[ ${COMP_WORDS[at + 1]} == '=' ]] && ((++at))
            ((++at))
        elif [[ $word != -* ]]; then
            ((++place))
        fi
    done
    COMPREPLY=()
    if _%1_takes_value "$command" "$previous"; then
        _%1_offer_value "$command" "$previous" "$current"
    elif [[ $current == -* ]]; then
        _%1_offer_options "$command" "$current"
    else
        _%1_offer_argument "$command" "$place" "$current"
    fi
}
_%1_words()
{
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}
_%1_files()
{
    compopt -o filenames 2> /dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$1")
}
_%1_folders()
{
    compopt -o filenames 2> /dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$1")
}
)"_s;

QString function(const QString& program, const QString& name, const QString& body)
{
    return u"_%1_%2()\n{\n    case \"$1 $2\" in\n%3    esac\n}\n"_s.arg(program, name, body);
}

QString branch(const QString& pattern, const QString& action)
{
    return u"        %1) %2 ;;\n"_s.arg(pattern, action);
}

// "velmioctl*' --json'" for an option of the program, which every command takes.
QString patternOf(const Command& command, const Command& program, const QString& behind)
{
    const QString name = QString::fromStdString(command.description().fullName);
    if (&command == &program && behind.startsWith(u'-'))
        return name + u"*' "_s + behind + u'\'';
    return u"'%1 %2'"_s.arg(name, behind);
}

// What offers the values of an option or argument; `word` is what was typed of one.
QString offerOf(const QString& program, const OptionDescription& option)
{
    switch (option.offer) {
    case Offer::Words:
        return u"_%1_words '%2' \"$3\""_s.arg(program, joined(option.words));
    case Offer::Files:
        return u"_%1_files \"$3\""_s.arg(program);
    case Offer::Folders:
        return u"_%1_folders \"$3\""_s.arg(program);
    case Offer::Nothing:
        break;
    }
    return {};
}

// The program's own functions, each of which looks a command up.
class Functions
{
public:
    explicit Functions(const Command& program)
        : program(program)
        , name(QString::fromStdString(program.description().name))
    {
        for (const Command* const command : allCommands(program))
            add(*command);
    }

    QString text() const
    {
        const QString is = u"_%1_is_command()\n{\n    case $1 in\n        %2) return 0 ;;\n"
                           u"    esac\n    return 1\n}\n"_s.arg(name, commands.join(u" | "_s));
        const QString takes =
            branch(withValue.join(u" | "_s), u"return 0"_s) + branch(u"*"_s, u"return 1"_s);
        return is + function(name, u"takes_value"_s, takes) +
               function(name, u"offer_value"_s, values) +
               u"_%1_offer_options()\n{\n    case $1 in\n%2    esac\n}\n"_s.arg(name, options) +
               function(name, u"offer_argument"_s, arguments);
    }

private:
    void add(const Command& command)
    {
        const QString fullName = QString::fromStdString(command.description().fullName);
        if (&command != &program)
            commands += u'\'' + fullName + u'\'';
        addOptions(command);
        options += branch(
            u'\'' + fullName + u'\'',
            u"_%1_words '%2' \"$2\""_s.arg(name, namesOf(optionsOf(command, program))));

        QStringList words;
        for (const auto& subcommand : command.subcommands())
            words += QString::fromStdString(subcommand->description().name);
        if (!words.isEmpty()) {
            arguments += branch(
                patternOf(command, program, u"0"_s),
                u"_%1_words '%2' \"$3\""_s.arg(name, words.join(u' ')));
        }
        int place = 0;
        for (const OptionDescription& argument : argumentsOf(command)) {
            const QString offer = offerOf(name, argument);
            if (!offer.isEmpty())
                arguments += branch(patternOf(command, program, QString::number(place)), offer);
            ++place;
        }
    }

    void addOptions(const Command& command)
    {
        for (const auto& option : command.options()) {
            const OptionDescription& description = option->description();
            if (description.isArgument() || !description.takesValue)
                continue;
            const QString pattern =
                patternOf(command, program, QString::fromStdString(description.name));
            withValue += pattern;
            const QString offer = offerOf(name, description);
            if (!offer.isEmpty())
                values += branch(pattern, offer);
        }
    }

    static QString namesOf(const std::vector<OptionDescription>& options)
    {
        QStringList names;
        for (const OptionDescription& option : options)
            names += QString::fromStdString(option.name);
        return names.join(u' ');
    }

    const Command& program;
    const QString name;
    QStringList commands;
    QStringList withValue;
    QString values;
    QString options;
    QString arguments;
};

} // namespace

QString bashCompletion(const Command& program)
{
    const QString name = QString::fromStdString(program.description().name);
    return Frame.arg(name) + Functions(program).text() + u"complete -F _%1 %1\n"_s.arg(name);
}

} // namespace velmioctl
