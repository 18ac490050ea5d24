#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

namespace sync::database {

/// A process that keeps others from writing to a database.
struct LockHolder
{
    qint64 processId = 0;
    QString program;
    QString host;
    QDateTime runningSince; ///< Invalid when that is not known.
};

/// A file as the system names it.
struct FileId
{
    quint64 device = 0;
    quint64 inode = 0;
};

/// The process that holds a database for writing, or with a journal also one that reads it, in a
/// text like that of /proc/locks: 0 when there is none. The index is that of the write-ahead log,
/// when there is one.
qint64 lockingProcess(
    const QByteArray& locks, const FileId& database, const std::optional<FileId>& index);

/// Another process that keeps this one from writing to a database now. Nothing when there is none,
/// or none to be seen: on systems without /proc, and from another container.
std::optional<LockHolder> lockHolderOf(const QString& databasePath);

/// Another process that has a database open, also when it does nothing with it. Nothing when there
/// is none, or none to be seen. This process may hold no lock on the file.
std::optional<LockHolder> userOf(const QString& databasePath);

/// For a person: "process 4711 (velmioctl) on host, running since ...".
QString describe(const LockHolder& holder);

} // namespace sync::database
