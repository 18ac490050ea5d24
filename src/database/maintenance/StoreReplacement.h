#pragma once

#include <database/connection/SqliteHandle.h>

#include <QString>

namespace sync::database {

/// Puts another content in the place of a database that nobody else has open, and keeps the old
/// one.
///
/// A process may die at any moment: the path holds the old content or the new one then, and never
/// a new file beside an old log. See docs/adr/0005-how-a-backup-is-put-in-place.md.
class StoreReplacement
{
public:
    /// Locks everybody else out of an existing file for as long as it lives, damaged as the file
    /// may be. Throws DatabaseError, with Cause::Busy when anybody has it open.
    explicit StoreReplacement(const QString& path);

    StoreReplacement(const StoreReplacement&) = delete;
    StoreReplacement& operator=(const StoreReplacement&) = delete;

    /// False when SQLite does not take it for a database at all.
    bool isReadable() const { return readable; }

    /// Reads what is there; only when it is readable.
    sqlite3* handle() const { return database.get(); }

    /// Copies what is there into a new file beside it, with its log where that cannot be merged
    /// in. Returns the new path, or nothing when the file is empty. Throws DatabaseError.
    QString keepOld() const;

    /// Throws DatabaseError; the old content is still there then. To be called behind keepOld().
    void replaceBy(sqlite3* source);

private:
    void lock();
    void requireOurs() const;
    void lockUnreadable();
    void copyBytes(const QString& target) const;
    void writeInto(sqlite3* source);
    void swapFile(sqlite3* source) const;

    const QString path;
    SqliteHandle database;
    bool readable = true;
};

/// A name beside a database for what was in its place; free at this moment.
QString pathForReplaced(const QString& path);

/// Renames the logs beside a database that is not there, or empty: SQLite would take them for those
/// of whatever comes in its place, or delete them.
void setStrayLogsAside(const QString& path);

} // namespace sync::database
