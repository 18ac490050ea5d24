#include <velmioctl/cli/UsageMessage.h>

#include <velmioctl/cli/CommandTree.h>
#include <velmioctl/cli/Text.h>

#include <QStringList>

#include <algorithm>
#include <numeric>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

// How many characters must be added, removed, replaced or swapped with their neighbours: the
// optimal string alignment distance.
qsizetype distance(const QString& from, const QString& to)
{
    QList<QList<qsizetype>> rows(from.size() + 1, QList<qsizetype>(to.size() + 1));
    std::iota(rows[0].begin(), rows[0].end(), 0);
    for (qsizetype i = 1; i <= from.size(); ++i) {
        rows[i][0] = i;
        for (qsizetype j = 1; j <= to.size(); ++j) {
            const bool same = from[i - 1] == to[j - 1];
            const bool swapped =
                i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
            rows[i][j] = std::min(
                {rows[i - 1][j] + 1, rows[i][j - 1] + 1, rows[i - 1][j - 1] + (same ? 0 : 1)});
            if (swapped)
                rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
        }
    }
    return rows.last().last();
}

// True if one of the commands reads a secret, although not from an argument.
bool readsSecret(const std::vector<const Command*>& given)
{
    return std::any_of(given.begin(), given.end(), [](const Command* command) {
        const auto options = ownOptionsOf(*command);
        return std::any_of(options.begin(), options.end(), [](const OptionDescription& option) {
            return option.name.endsWith(u"-stdin");
        });
    });
}

QStringList optionNames(const std::vector<const Command*>& given)
{
    QStringList names{u"--help"_s};
    for (const Command* const command : given) {
        for (const OptionDescription& option : ownOptionsOf(*command))
            names += option.name;
    }
    return names;
}

QStringList commandNames(const Command& command)
{
    QStringList names;
    for (const auto& subcommand : command.subcommands())
        names += subcommand->description().name;
    return names;
}

QString suggestion(const QString& word, const QStringList& words)
{
    const QString meant = nearest(word, words);
    return meant.isEmpty() ? QString() : u" Did you mean %1?"_s.arg(quoted(meant));
}

QString unknownOption(const std::vector<const Command*>& given, const QString& word)
{
    // Its value is not repeated, because it may be a secret.
    const QString name = word.startsWith(u"--") ? word.section(u'=', 0, 0) : word.left(2);
    return u"Unknown option %1."_s.arg(quoted(name)) + suggestion(name, optionNames(given));
}

QString unknownWord(const std::vector<const Command*>& given, const QString& word)
{
    const QStringList names = commandNames(*given.back());
    if (!names.isEmpty())
        return u"Unknown command %1."_s.arg(quoted(word)) + suggestion(word, names);
    if (readsSecret(given))
        return u"Unexpected argument. Secrets cannot be given as arguments."_s;
    return u"Unexpected argument %1."_s.arg(quoted(word));
}

QString faultOf(
    const std::vector<const Command*>& given, const std::vector<std::string>& unknown,
    const QString& fault)
{
    // An unknown word comes first: the parser itself only reports what is missing.
    if (!unknown.empty()) {
        const QString word = QString::fromStdString(unknown.front());
        return word.startsWith(u'-') ? unknownOption(given, word) : unknownWord(given, word);
    }
    const QStringList names = commandNames(*given.back());
    if (!names.isEmpty()) {
        return u"%1 needs a command: %2."_s.arg(
            quoted(given.back()->description().fullName), names.join(u", "_s));
    }
    return fault;
}

} // namespace

QString nearest(const QString& word, const QStringList& words)
{
    // One mistake in three characters: with more it is another word.
    qsizetype best = std::max<qsizetype>(1, word.size() / 3) + 1;
    QString found;
    for (const QString& candidate : words) {
        const qsizetype slips = distance(word, candidate);
        if (slips < best) {
            best = slips;
            found = candidate;
        }
    }
    if (!found.isEmpty())
        return found;
    QStringList longer;
    std::copy_if(
        words.begin(), words.end(), std::back_inserter(longer),
        [&word](const QString& candidate) { return candidate.startsWith(word); });
    return longer.size() == 1 ? longer.first() : QString();
}

QString usageMessage(
    const std::vector<const Command*>& given, const std::vector<std::string>& unknown,
    const QString& fault)
{
    return faultOf(given, unknown, fault) +
           u"\nSee '%1 --help'."_s.arg(given.back()->description().fullName);
}

} // namespace velmioctl
