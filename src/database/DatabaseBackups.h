#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

struct sqlite3;

namespace sync::database {

/// Copies of one configuration database, and the ways back to them.
///
/// A copy is one moment of the database, also while others read and write. It is a single file,
/// readable for its user alone, that is checked as a whole and durable before it gets its name. No
/// operation overwrites or deletes a file, except the oldest copies in folder() and unfinished ones
/// of killed processes. All throw DatabaseError. The class keeps no state: any thread may use it.
class VELMIO_DATABASE_EXPORT DatabaseBackups
{
public:
    /// Why a copy was made.
    enum class Reason {
        Manual,    ///< A user asked for it.
        Migration, ///< Before a change of the schema.
        Rekey,     ///< Before the passwords were encrypted with another key.
        Import,    ///< Before records were imported.
        Fix,       ///< Before a repair changed rows.
    };

    /// One copy, as the name and the size of its file describe it.
    struct Backup
    {
        QString path;                   ///< Absolute path of the file.
        QDateTime time;                 ///< When it was made, in UTC.
        Reason reason = Reason::Manual; ///< Why it was made.
        qint64 bytes = 0;               ///< Size of the file.
    };

    /// The number of copies for each reason that stay in folder().
    static constexpr int KeptPerReason = 5;

    /// The word for a reason in the names of files, such as "manual".
    static QString wordFor(Reason reason);

    /// For the database at this path, with symbolic links followed. Accesses no file yet.
    explicit DatabaseBackups(const QString& databasePath);

    /// The folder of copies without a name of their own: the path of the database with "-backups".
    QString folder() const;

    /// Makes a copy in folder(), which it creates, and then removes the oldest ones of this reason.
    Backup make(Reason reason) const;

    /// Makes a copy at a path where no file exists. It is never removed.
    Backup makeAt(const QString& file) const;

    /// The copies in folder(), the newest first. None of them is opened.
    QList<Backup> list() const;

    /// The newest whole copy in folder(); nothing if none is whole. Reads each until one is found.
    std::optional<Backup> newestVerified() const;

    /// Throws unless the file is a whole database of ours that this library can read.
    static void verify(const QString& file);

    /// Replaces the content of the database by that of a file. Returns the path of a copy of the
    /// old content; empty if there was none.
    ///
    /// The file is verified first. If it is of an earlier version, the next opening migrates it.
    /// Throws with Cause::Busy while anybody, this process included, has the database open. The
    /// database is unchanged if this throws.
    QString restore(const QString& file) const;

    /// A range of ids.
    struct IdRange
    {
        qint64 first = 0; ///< The lowest.
        qint64 last = 0;  ///< The highest, inclusive.
    };

    /// What salvage() could read of one table.
    struct SalvagedTable
    {
        QString name;    ///< The table's name.
        qint64 rows = 0; ///< How many of its rows were read.
        /// If rows had these ids, they are lost.
        QList<IdRange> unreadableIds = {};
    };

    /// What salvage() did.
    struct Salvaged
    {
        QString keptPath;            ///< The damaged file, with its WAL beside it.
        QList<SalvagedTable> tables; ///< One for each table of records.
    };

    /// Reads what can be read of a damaged database, row by row, and replaces its content by a new
    /// database with these rows, as restore() does. Rows keep their ids, and lost ids are not given
    /// to other rows. The database is unchanged if this throws, also if nothing can be read.
    Salvaged salvage() const;

private:
    QString replaceBy(sqlite3* source) const;
    Salvaged replaceBySalvaged() const;
    QString pathFor(const QDateTime& time, Reason reason) const;
    void removeOldest(const Backup& made) const;
    void removeUnfinished() const;

    const QString databasePath; // with symbolic links followed
};

} // namespace sync::database
