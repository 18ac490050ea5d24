#pragma once
#include <core/PosixSync.h>

#include "Files.h"
#include "WatchedVfs.h"

#include <QByteArray>
#include <QList>
#include <QRandomGenerator>
#include <QString>

namespace sync::test {

/// A change that SQLite made to the disk.
struct DiskEvent
{
    enum Kind { Open, Write, Truncate, Sync, Delete };
    enum File { Database, Wal, Journal };

    Kind kind;
    File file;
    QByteArray bytes;    // of a Write
    qint64 offset = 0;   // of a Write; the size of a Truncate
    bool synced = false; // true if a Delete also synced the folder
};

/// Records the changes that SQLite makes to a database and its companion files.
class DiskRecorder : public IoWatcher
{
public:
    explicit DiskRecorder(const QString& path);

    void after(const IoCall& call) override;

    const QList<DiskEvent>& events() const { return recorded; }

private:
    const QByteArray path;
    QList<DiskEvent> recorded;
};

/// The content of a disk that held `start`, when the power is cut after the first `count` events.
///
/// Synced content survives. For the rest, `chance` decides: everything, nothing, single writes or
/// single sectors of 512 bytes survive, in any order; a new file may be missing, and a deleted file
/// may still exist. If a file has grown but the write was lost, the gap holds zeros or random
/// bytes.
DatabaseFiles diskAfterCut(
    const DatabaseFiles& start, const QList<DiskEvent>& events, qsizetype count,
    QRandomGenerator& chance);

/// The content when only the process is killed at that point: everything that was written.
DatabaseFiles diskAfterKill(
    const DatabaseFiles& start, const QList<DiskEvent>& events, qsizetype count);

} // namespace sync::test
