#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QRegularExpression>
#include <QString>

#include <optional>
#include <vector>

namespace sync::tree {

/// Rules of what is left out below a root folder, one in each line of a text. An IgnoreRule.
///
/// `*` stands for any characters but a slash, `?` for one, and `[a-z]` for one of these. A pattern
/// with a slash before its end is compared with the path below the root, any other one with the
/// name. With a slash at its end it is for folders alone, and a `!` before it keeps what an earlier
/// line leaves out. The last line that matches decides. Empty lines, and those that begin with `#`,
/// are no rules. Any thread may call.
class VELMIO_TREE_EXPORT IgnoreRules
{
public:
    /// A line of the text.
    struct Rule
    {
        int line = 0; ///< From 1.
        QString text; ///< Without blanks around it.
    };

    /// `root` is an absolute path.
    IgnoreRules(QString root, const QString& text);

    /// True if a rule leaves out exactly this path below the root.
    bool operator()(const QString& path, bool isFolder) const;

    /// The rule that leaves out a path, or the nearest to the root of the folders above it.
    std::optional<Rule> ruleFor(const QString& path, bool isFolder) const;

private:
    struct Pattern
    {
        Rule rule;
        QRegularExpression expression;
        bool keeps;
        bool onlyFolders;
        bool wholePath;
    };

    const Pattern* match(QStringView below, bool isFolder) const;

    QString root;
    std::vector<Pattern> patterns; // the last line first
};

} // namespace sync::tree
