#pragma once

#include <QByteArray>
#include <QString>

namespace velmioctl {

class Session;

/// Asks before a record is removed, and names the rows that refer to it: they stay, and nothing
/// else says so. With `yes` that is a warning. Throws CommandError if the user does not agree.
void confirmRemoval(
    Session& session, const QByteArray& table, int id, bool yes, const QString& question);

/// Says that a record was removed; `named` is what a person calls it, such as "server 2".
void printRemoved(Session& session, int id, const QString& named);

} // namespace velmioctl
