#pragma once

#include <QDateTime>
#include <QString>

#include <vector>

namespace sync::base {

/// A lock that a process holds on bytes of a file, as SQLite takes them.
struct FileLock
{
    qint64 processId = 0;
    bool writes = false; ///< Excludes others; otherwise it is shared.
    quint64 first = 0;
    quint64 last = 0; ///< Inclusive.
};

/// The locks on a file, also those of this process. A system that knows only who has the file open
/// says of each other process that it writes all bytes. Empty if the file does not exist, and on
/// systems that tell nothing.
std::vector<FileLock> locksOn(const QString& path);

/// What is known about a process; what is not is empty or invalid.
struct ProcessDescription
{
    QString program;
    QDateTime runningSince;
};
ProcessDescription describeProcess(qint64 processId);

} // namespace sync::base
