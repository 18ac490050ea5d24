#pragma once
#include <core/PosixSync.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <sqlite3.h>

namespace sync::test {

/// A call that SQLite makes to the operating system.
struct IoCall
{
    enum Kind {
        Open,
        Read,
        Write,
        Sync,
        Truncate,
        FileSize,
        Lock,
        ShmMap,
        ShmLock,
        Delete,
        Access
    };

    Kind kind;
    /// Of the file; empty for one without a name. The index of the log goes under its database.
    QByteArrayView path;
    /// What a Write puts into the file.
    QByteArrayView bytes = {};
    /// Where a Read or Write begins; the new size for a Truncate, the needed one for a ShmMap.
    qint64 offset = 0;
    /// The file may be created (Open), has to grow (ShmMap), or its folder is synced, too (Delete).
    bool thorough = false;

    /// Such as "write to configuration.db-wal".
    QByteArray text() const;
};

/// What becomes of a call: SQLITE_OK has it made; another result is what SQLite gets in its place.
struct IoFate
{
    int result = SQLITE_OK;
    /// How much of a failed Write is written nevertheless.
    qsizetype bytesWritten = 0;
};

/// Sees the calls, and may have them fail. Any thread of the process may call.
class IoWatcher
{
public:
    virtual ~IoWatcher() = default;

    virtual IoFate before(const IoCall& call);

    /// Follows a call that has succeeded.
    virtual void after(const IoCall& call);
};

/// Puts a layer between SQLite and its own file access for the rest of the process. Connections
/// that are opened from now on go through it.
///
/// It never has a disk sync anything: what counts here is when SQLite asks for it.
void installWatchedVfs();

/// Whether files have the shared memory that a write-ahead log needs, as on a local disk, which
/// they have at first. For connections that are opened from now on.
void setSharedMemory(bool available);

/// The name of SQLite's own file access, for connections that no watcher shall see.
const char* unwatchedVfs();

/// Shows the calls of the whole process to a watcher for as long as it lives. One at a time.
class IoWatch
{
public:
    explicit IoWatch(IoWatcher& watcher);
    ~IoWatch();
    IoWatch(const IoWatch&) = delete;
    IoWatch& operator=(const IoWatch&) = delete;
};

} // namespace sync::test
