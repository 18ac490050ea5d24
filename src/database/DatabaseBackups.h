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
/// A copy is one moment of the database, made while others read and write. It is a single file for
/// its user alone, which was checked as a whole before it got its name, and durable by then. No
/// operation writes over a file or deletes one, but for the oldest copies in folder() and what
/// killed processes left there. All throw DatabaseError. The class keeps no state: any thread may
/// use it.
class VELMIO_DATABASE_EXPORT DatabaseBackups
{
public:
    /// What a copy was made for.
    enum class Reason {
        Manual,    ///< Somebody asked for it.
        Migration, ///< The schema was about to be changed.
        Rekey,     ///< The passwords were about to be encrypted anew.
        Import,    ///< Records were about to be brought in.
        Fix,       ///< A repair was about to change rows.
    };

    /// One copy, as its file tells.
    struct Backup
    {
        QString path;                   ///< Absolute path of the file.
        QDateTime time;                 ///< When it was made, in UTC.
        Reason reason = Reason::Manual; ///< What it was made for.
        qint64 bytes = 0;               ///< Size of the file.
    };

    /// How many copies for one reason stay in folder().
    static constexpr int KeptPerReason = 5;

    /// The word for a reason that names of files carry, such as "manual".
    static QString wordFor(Reason reason);

    /// For the database at this path, behind symbolic links; touches nothing yet.
    explicit DatabaseBackups(const QString& databasePath);

    /// Where copies lie that were given no name: "-backups" behind the path of the database.
    QString folder() const;

    /// Makes a copy in folder(), creating that, and then removes the oldest ones for this reason.
    Backup make(Reason reason) const;

    /// Makes a copy with a name of the caller's, where no file may be yet. It is never removed.
    Backup makeAt(const QString& file) const;

    /// The copies in folder(), the newest first. None of them is opened.
    QList<Backup> list() const;

    /// The newest of them that is whole; nothing when none is. Reads each until one is found.
    std::optional<Backup> newestVerified() const;

    /// Throws unless the file is a whole database of ours that this library can read.
    static void verify(const QString& file);

    /// Puts the content of a file in the place of the database's. Returns the path under which the
    /// content of before is kept; empty when there was none.
    ///
    /// The file is verified first. One of an earlier version is brought up to date when the
    /// database is opened. With Cause::Busy it refuses as long as anybody, this process included,
    /// has the database open. The database is as it was when this throws.
    QString restore(const QString& file) const;

    /// Ids from the first to the last.
    struct IdRange
    {
        qint64 first = 0; ///< The lowest.
        qint64 last = 0;  ///< The highest, which belongs to the range.
    };

    /// What salvage() could read of one table.
    struct SalvagedTable
    {
        QString name;    ///< The table's name.
        qint64 rows = 0; ///< How many of its rows were read.
        /// Rows with these ids are lost if there were any.
        QList<IdRange> unreadableIds = {};
    };

    /// What salvage() did.
    struct Salvaged
    {
        QString keptPath;            ///< The damaged file, with its log beside it.
        QList<SalvagedTable> tables; ///< One for each table of records.
    };

    /// Reads what can be read of a damaged database, row by row, and puts a new database with that
    /// in its place, as restore() does. Rows keep their ids, and lost ids are not given again. The
    /// database is as it was when this throws, also because there is nothing that can be read.
    Salvaged salvage() const;

private:
    QString replaceBy(sqlite3* source) const;
    Salvaged replaceBySalvaged() const;
    QString pathFor(const QDateTime& time, Reason reason) const;
    void removeOldest(const Backup& made) const;
    void removeUnfinished() const;

    const QString databasePath; // behind symbolic links
};

} // namespace sync::database
