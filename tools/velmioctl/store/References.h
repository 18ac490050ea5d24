#pragma once

#include <QByteArray>
#include <QStringList>

namespace velmioctl {

class Session;

/// Asks before a record is removed, and names the rows that refer to it: they stay, and nothing
/// else says so. With `yes` that is a warning. Then makes a backup, because no command makes a
/// record with the same id or secret again. Throws CommandError if the user does not agree.
void confirmRemoval(
    Session& session, const QByteArray& table, int id, bool yes, const QString& question);

/// Says that a record was removed; `named` is what a person calls it, such as "server 2".
void printRemoved(Session& session, int id, const QString& named);

/// The base copy and the generated files of an ordinary file, which are deleted from the disk with
/// its record; only those that exist.
QStringList filesDeletedWith(Session& session, int fileId);

} // namespace velmioctl
