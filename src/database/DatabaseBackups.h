#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <database/OpenOptions.h>

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

struct sqlite3;

namespace sync::database {

/// Makes copies of one configuration database, and restores it from them.
///
/// A copy holds one moment of the database, even while others read and write. It is a single file
/// that only its user can read. It is checked completely and durable before it gets its name. No
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
        Removal,   ///< Before records were removed that nothing can make again.
    };

    /// One copy, as its file describes it.
    struct Backup
    {
        QString path = {};              ///< Absolute path of the file.
        QDateTime time = {};            ///< When it was made, in UTC.
        Reason reason = Reason::Manual; ///< Why it was made.
        qint64 bytes = 0;               ///< Size of the file.
        /// Counts the copies of the store, whatever the clock says. 0 if the copy has no number: it
        /// cannot be read, or its version is below 3.
        qint64 number = 0;
        /// True if the time is in the future, or before that of an earlier copy: a clock was wrong.
        bool hasImpossibleTime = false;
    };

    /// How many copies for each reason folder() keeps.
    static constexpr int KeptPerReason = 5;

    /// The word for a reason in the names of files, such as "manual".
    static QString wordFor(Reason reason);

    /// For the database at this path, with symbolic links followed. Accesses no file yet. The
    /// options are those with which the database is opened. A copy is judged like it: unless they
    /// allow it, the operations throw with Cause::Untrusted if other users own or may write to the
    /// database, a copy, or the folder of one.
    explicit DatabaseBackups(const QString& databasePath, const OpenOptions& options = {});

    /// The folder of the copies that make() creates: the path of the database with "-backups".
    QString folder() const;

    /// Makes a copy in folder(), which it creates if necessary, and then removes the oldest ones of
    /// this reason. The copy gets the next number; the database does not change.
    Backup make(Reason reason) const;

    /// Makes a copy at a path where no file exists. The library never removes it.
    Backup makeAt(const QString& file) const;

    /// The copies in folder(), newest first: by their numbers, and those without one last, by their
    /// times. Reads the number of each, and verifies none.
    QList<Backup> list() const;

    /// The newest whole copy in folder(); nothing if none is whole. Reads each until one is found.
    std::optional<Backup> newestVerified() const;

    /// Throws unless the file is a whole database of ours that this library can read.
    static void verify(const QString& file);

    /// Whether restore() may use a backup of another store.
    enum class OtherStore {
        Refused, ///< restore() throws.
        Allowed, ///< The store becomes a copy of the other one, with its identity.
    };

    /// True if a backup has the id of another store than the database. False if one of them has no
    /// id that can be read.
    bool isOfOtherStore(const QString& file) const;

    /// Replaces the content of the database with that of a file. Returns the path of a copy of the
    /// old content; empty if there was none.
    ///
    /// Throws with Cause::OtherStore if isOfOtherStore() and that is not allowed: the database
    /// would become another store, with its records and its id. The file is verified first. If it
    /// is of an earlier version, the next opening migrates it. Throws with Cause::Busy while
    /// anyone, including this process, has the database open. The database is unchanged if this
    /// throws, except if a failed sync of the new content cannot be undone because the disk fails
    /// again: the text then says that it may come back.
    QString restore(const QString& file, OtherStore otherStore = OtherStore::Refused) const;

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
        /// Rows with these ids, if there were any, are lost.
        QList<IdRange> unreadableIds = {};
        /// True if the rows, the indexes and the last assigned id agree that none is missing.
        bool complete = true;
    };

    /// What salvage() did.
    struct Salvaged
    {
        QString keptPath; ///< The damaged file, unchanged, with its WAL and journal beside it.
        QList<SalvagedTable> tables; ///< One for each table of records.
    };

    /// Reads what it can of a damaged database, row by row, and replaces the content with a new
    /// database of these rows, as restore() does. Rows keep their ids, and lost ids are not reused.
    /// The database is unchanged if this throws, also if nothing can be read.
    Salvaged salvage() const;

private:
    // False if a file of that name exists when the copy is complete.
    bool copyTo(const QString& target, const std::optional<qint64>& number = {}) const;
    qint64 nextNumber() const;
    QString replaceBy(sqlite3* source) const;
    Salvaged replaceBySalvaged() const;
    QString pathFor(const QDateTime& time, Reason reason) const;
    void removeOldest(const Backup& made) const;
    void removeUnfinished() const;

    const QString databasePath; // with symbolic links followed
    const OpenOptions options;
};

} // namespace sync::database
