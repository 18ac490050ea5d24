#include <tree/IgnoreRules.h>

#include <base/FilePaths.h>

#include <algorithm>

namespace sync::tree {

IgnoreRules::IgnoreRules(QString givenRoot, const QString& text)
    : root(base::joinPath(givenRoot, QString()))
{
    int line = 0;
    for (const QString& each : text.split(u'\n')) {
        ++line;
        const QString rule = each.trimmed();
        if (rule.isEmpty() || rule.startsWith(u'#'))
            continue;
        QStringView wildcard = rule;
        const bool keeps = wildcard.startsWith(u'!');
        if (keeps)
            wildcard = wildcard.sliced(1);
        const bool onlyFolders = wildcard.endsWith(u'/');
        if (onlyFolders)
            wildcard.chop(1);
        const bool wholePath = wildcard.contains(u'/');
        if (wildcard.startsWith(u'/'))
            wildcard = wildcard.sliced(1);
        patterns.insert(
            patterns.begin(),
            {{line, rule},
             QRegularExpression(QRegularExpression::wildcardToRegularExpression(wildcard)),
             keeps,
             onlyFolders,
             wholePath});
    }
}

bool IgnoreRules::operator()(const QString& path, bool isFolder) const
{
    return path.startsWith(root) && match(QStringView(path).sliced(root.size()), isFolder);
}

std::optional<IgnoreRules::Rule> IgnoreRules::ruleFor(const QString& path, bool isFolder) const
{
    if (!path.startsWith(root))
        return {};
    const QStringView below = QStringView(path).sliced(root.size());
    for (qsizetype end = below.indexOf(u'/'); end != -1; end = below.indexOf(u'/', end + 1)) {
        if (const Pattern* const pattern = match(below.first(end), true))
            return pattern->rule;
    }
    const Pattern* const pattern = match(below, isFolder);
    return pattern ? std::optional(pattern->rule) : std::nullopt;
}

// Null for what is kept.
const IgnoreRules::Pattern* IgnoreRules::match(QStringView below, bool isFolder) const
{
    const QStringView name = below.sliced(below.lastIndexOf(u'/') + 1);
    const auto first = std::find_if(patterns.begin(), patterns.end(), [&](const Pattern& pattern) {
        return (isFolder || !pattern.onlyFolders) &&
               pattern.expression.match((pattern.wholePath ? below : name).toString()).hasMatch();
    });
    return first == patterns.end() || first->keeps ? nullptr : &*first;
}

} // namespace sync::tree
