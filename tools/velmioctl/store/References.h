#pragma once

#include <QStringList>

namespace velmioctl {

class Session;
class WatchedDatabase;

/// The rows that refer to one that is to be removed. They stay, and nothing else tells of them.
class References
{
public:
    /// Looks for rows of one kind: `sql` selects the id and name of those that refer to ":id".
    void find(WatchedDatabase& database, const QString& kind, const QString& sql, int id);

    /// Returns when the user agrees, having read what stays; throws CommandError otherwise. With
    /// `yes` it is a warning.
    void confirmRemoval(Session& session, bool yes, const QString& question) const;

private:
    QStringList kinds;
};

} // namespace velmioctl
