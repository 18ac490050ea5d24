#pragma once

#include <database/DatabaseError.h>
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
    /// destroyed, and changes nothing. Throws DatabaseError, with Cause::Busy if anyone has the
    /// file open.
    explicit StoreReplacement(const QString& path);

    StoreReplacement(const StoreReplacement&) = delete;
    StoreReplacement& operator=(const StoreReplacement&) = delete;

    /// Copies the old file byte for byte to a new path, and beside it its WAL and journal. Throws
    /// FileError.
    void copyTo(const QString& target) const;

    /// Copies the old file into a new one beside it, and merges the WAL of a copy that is whole.
    /// Returns the new path; empty if the file is empty. Throws FileError.
    QString keepOld() const;

    /// Requires keepOld() first. Throws DatabaseError; the old content is then still in place.
    void replaceBy(sqlite3* source);

private:
    void lock();
    bool beginWriting();
    void writeInto(sqlite3* source);
    DatabaseError failureOfWriting() const;
    void swapFile(sqlite3* source);

    const QString path;
    SqliteHandle database;
};

/// An unused path beside a database, for its old content.
QString pathForReplaced(const QString& path);

/// Copies the WAL of a database to a new file beside it, whose path it returns. Throws FileError.
QString keepWal(const QString& path);

/// Renames the WAL and the journal of a missing or empty database: SQLite would apply them to its
/// replacement, or delete them.
void setStrayWalAside(const QString& path);

} // namespace sync::database
