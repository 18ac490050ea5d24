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
    /// Path of the file; empty for an unnamed file. The WAL index has the path of its database.
    QByteArrayView path;
    /// Content of a Write.
    QByteArrayView bytes = {};
    /// Start of a Read or Write, new size of a Truncate, or size that a ShmMap needs.
    qint64 offset = 0;
    /// True if an Open may create the file, a ShmMap must grow it, or a Delete also syncs the
    /// folder.
    bool flag = false;

    /// For example "write to configuration.db-wal".
    QByteArray text() const;
};

/// The outcome of a call. SQLITE_OK: the call is made. Any other result is returned to SQLite
/// instead.
struct IoFate
{
    int result = SQLITE_OK;
    /// Bytes that a failed Write still writes.
    qsizetype bytesWritten = 0;
};

/// Sees each call and can make it fail. Called by any thread of the process.
class IoWatcher
{
public:
    virtual ~IoWatcher() = default;

    virtual IoFate before(const IoCall& call);

    /// Called after a call has succeeded.
    virtual void after(const IoCall& call);
};

/// Installs a layer between SQLite and its own VFS, for the rest of the process and for connections
/// opened from now on.
///
/// The layer never syncs a disk. The tests only need to know when SQLite requests a sync.
void installWatchedVfs();

/// Sets whether files support the shared memory that WAL mode needs, as on a local disk. The
/// default is true. Applies to connections opened from now on.
void setSharedMemory(bool available);

/// The name of SQLite's own VFS, for connections that no watcher sees.
const char* unwatchedVfs();

/// Passes the calls of the whole process to a watcher for as long as this object lives. Only one
/// may exist at a time.
class IoWatch
{
public:
    explicit IoWatch(IoWatcher& watcher);
    ~IoWatch();
    IoWatch(const IoWatch&) = delete;
    IoWatch& operator=(const IoWatch&) = delete;
};

} // namespace sync::test
