#pragma once

#include <database/connection/SqliteHandle.h>

#include <optional>

namespace sync::database {

/// A connection that reads a store as it is, together with its WAL, and leaves no trace: no byte of
/// its files changes, and no file is created, not even for a moment.
///
/// While others have the store open, it takes part in their locking. It does not wait for a writer,
/// and no writer waits for it.
struct ReadOnlyConnection
{
    /// In a read transaction.
    SqliteHandle database;

    /// False if the WAL cannot be read, so that the newest changes are not seen.
    bool readsWal = true;

    /// True if another program has the store open, or may have.
    bool shared = false;

    /// Set if the connection takes no locks: of the store before it was opened. What was read is
    /// valid only if the store still has it afterwards.
    std::optional<StoreFingerprint> fingerprint = std::nullopt;
};

/// Throws DatabaseError; a SqliteError with SQLITE_READONLY says that an unfinished transaction has
/// to be rolled back first. `path` has its symbolic links followed, and names a file with content.
ReadOnlyConnection openReadOnlyConnection(const QString& path);

/// The same, but throws if the WAL cannot be read.
ReadOnlyConnection openReadOnlyWithWal(const QString& path);

/// A connection that reads only the file itself: no WAL, no journal and no lock.
SqliteHandle openImmutable(const QString& path);

} // namespace sync::database
