#pragma once

#include <database/connection/SqliteHandle.h>

#include <sqlite3.h>

namespace sync::database {

/// The size of the header at the start of a database file.
constexpr int HeaderBytes = 100;

/// True if a header says that the file is used with a WAL.
bool isWalHeader(const char* header);

/// The file of a connection.
sqlite3_file* fileOf(sqlite3* database);

/// A database file as SQLite's VFS sees it, for locks and shared memory that no statement offers.
///
/// Closing a descriptor of our own would drop the locks of the whole process
/// (sqlite.org/howtocorrupt.html, "Posix advisory locks"). The connection that owns the file never
/// runs a statement, so it holds only the locks that are taken here.
class VfsFile
{
public:
    /// Converts to false if the file cannot be opened.
    explicit VfsFile(const QString& path);

    explicit operator bool() const { return file != nullptr; }

    bool lock(int level) const;
    void unlock() const;

    /// True if the header says that the file is used with a WAL.
    bool hasWalFormat() const;

    /// Null if files cannot share memory.
    sqlite3_file* withSharedMemory() const;

private:
    SqliteHandle database;
    sqlite3_file* file = nullptr;
};

} // namespace sync::database
