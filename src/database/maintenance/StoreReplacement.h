#pragma once

#include <database/connection/SqliteHandle.h>

#include <QString>

namespace sync::database {

/// Replaces the content of a database that nobody else has open, and keeps a copy of the old one.
///
/// If a process dies at any moment, the path holds the old content or the new one, and never a new
/// file beside an old WAL. See docs/adr/0005-how-a-backup-is-put-in-place.md.
class StoreReplacement
{
public:
    /// Locks everyone else out of an existing file, even a damaged one, until this object is
    /// destroyed. Throws DatabaseError, with Cause::Busy if anyone has the file open.
    explicit StoreReplacement(const QString& path);

    StoreReplacement(const StoreReplacement&) = delete;
    StoreReplacement& operator=(const StoreReplacement&) = delete;

    /// False if SQLite cannot open it as a database.
    bool isReadable() const { return readable; }

    /// To read the old content, if isReadable().
    sqlite3* handle() const { return database.get(); }

    /// Copies the old content into a new file beside it, together with its WAL if that cannot be
    /// merged. Returns the new path; empty if the file is empty. Throws DatabaseError.
    QString keepOld() const;

    /// Requires keepOld() first. Throws DatabaseError; the old content is then still in place.
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

/// An unused path beside a database, for its old content.
QString pathForReplaced(const QString& path);

/// Renames the WAL and the journal of a missing or empty database: SQLite would apply them to its
/// replacement, or delete them.
void setStrayWalAside(const QString& path);

} // namespace sync::database
