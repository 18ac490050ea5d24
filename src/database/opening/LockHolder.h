#pragma once

#include <base/system/FileLocks.h>

#include <QDateTime>
#include <QString>

#include <optional>
#include <vector>

namespace sync::database {

/// A process that keeps others from writing to a database.
struct LockHolder
{
    qint64 processId = 0;
    QString program;
    QString host;
    QDateTime runningSince; ///< Invalid if that is not known.
};

/// The process that holds the write lock of a database, or without a WAL also one that reads; 0 if
/// no process does. Of the locks on the database and on the index of its WAL, if any.
qint64 lockingProcess(
    const std::vector<base::FileLock>& database,
    const std::optional<std::vector<base::FileLock>>& index);

/// A process that reads the WAL with this index, and so keeps it from being overwritten from its
/// beginning; 0 if no process does.
qint64 walReadingProcess(const std::vector<base::FileLock>& index);

/// Another process that reads the WAL of a database. Nothing as for lockHolderOf().
std::optional<LockHolder> walReaderOf(const QString& databasePath);

/// Another process that keeps this one from writing to a database now. Nothing if no process does,
/// or if it cannot be seen: on some systems, and in another container.
std::optional<LockHolder> lockHolderOf(const QString& databasePath);

/// Another process that has a database open, even if it does nothing with it. Nothing as above.
/// This process must not hold a lock on the file.
std::optional<LockHolder> userOf(const QString& databasePath);

/// For a person: "process 4711 (velmioctl) on host, running since ...".
QString describe(const LockHolder& holder);

} // namespace sync::database
