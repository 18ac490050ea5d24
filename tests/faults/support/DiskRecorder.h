#pragma once
#include <core/PosixSync.h>

#include "Files.h"
#include "WatchedVfs.h"

#include <QByteArray>
#include <QList>
#include <QRandomGenerator>
#include <QString>

namespace sync::test {

/// Something that SQLite did to the disk.
struct DiskEvent
{
    enum Kind { Open, Write, Truncate, Sync, Delete };
    enum File { Database, Log, Journal };

    Kind kind;
    File file;
    QByteArray bytes;    // of a Write
    qint64 offset = 0;   // of a Write; the size of a Truncate
    bool synced = false; // whether a Delete has synced the folder
};

/// Notes what SQLite does to a database and the files beside it.
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

/// What a disk holds when the power is cut after the first `count` events that began with `start`.
///
/// What was synced is there. Of what was not, `chance` decides: all, nothing, single writes, or
/// single sectors of 512 bytes of them, in any order; new files may be missing and deleted ones
/// back. Where a file has grown without its content, there are zeros or anything.
DatabaseFiles diskAfterCut(
    const DatabaseFiles& start, const QList<DiskEvent>& events, qsizetype count,
    QRandomGenerator& chance);

/// What it holds when the process is killed there: all that was written.
DatabaseFiles diskAfterKill(
    const DatabaseFiles& start, const QList<DiskEvent>& events, qsizetype count);

} // namespace sync::test
