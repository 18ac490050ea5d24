#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <database/DatabaseError.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

namespace sync::database {

struct ReadOnlyConnection;
struct StoreContent;

/// Something in which the schema of a store differs from that of a new store of its version.
struct SchemaDifference
{
    /// How it differs.
    enum class Kind {
        Missing, ///< A new store has it.
        Changed, ///< It is there with another definition.
        Foreign, ///< No new store has it.
    };
    Kind kind = Kind::Missing; ///< How it differs.
    QString type;              ///< "table", "column", "index", "trigger" or "view".
    QString name;              ///< Its name.
    QString table;             ///< The table or view that it belongs to.
    /// The statements that make it as in a new store, one after the other. Empty if that could lose
    /// something: only indexes, triggers and views have any.
    QStringList repair = {};
    /// True if it could change or falsify what is stored, or keep it from being read: a foreign
    /// trigger, a view in the place of a table, or an own one with another definition. A store with
    /// such a difference is not opened.
    bool canAct = false;
};

/// Determines what the file at a path is: whether it is a store of ours, which version it has, and
/// whether it is whole. Changes no byte of the file or its companions, and creates no file.
///
/// The WAL of a store in use is also read: the result describes one moment of the store. The object
/// keeps the result and holds no file open. Any thread may use it.
///
/// What concerns the WAL and the schema is known of a whole store after an inspection of all of it.
class VELMIO_DATABASE_EXPORT StoreInspection
{
public:
    /// What a file can be.
    enum class Kind {
        Missing,      ///< The file does not exist.
        Directory,    ///< The path names a directory.
        NotAFile,     ///< The file, its WAL, index or journal is something else, such as a pipe.
        Unreadable,   ///< It cannot be read: no permission, or a disk that fails.
        Busy,         ///< Another program has locked out all readers for 5 s.
        Empty,        ///< A file without bytes, or an SQLite database without content.
        NotADatabase, ///< Not an SQLite database.
        Foreign,      ///< An SQLite database of another program.
        Unfinished,   ///< The next opening rolls back an unfinished transaction.
        Damaged,      ///< A store that cannot be read, lacks a table or has an impossible version.
        Altered,      ///< A store whose schema has something foreign that can act.
        TooNew,       ///< A whole store, but of a version that this library must not use.
        Ours,         ///< A whole store that this library can use.
    };

    /// How much of the file is read.
    enum class Depth {
        Header, ///< Only its first page. The rest and the WAL are assumed to be whole.
        Whole,  ///< All of it, by SQLite's integrity check.
    };

    /// Inspects the file at a path, following symbolic links. Throws nothing.
    explicit StoreInspection(const QString& path, Depth depth = Depth::Whole);
    ~StoreInspection();

    /// The absolute path, with symbolic links followed.
    QString path() const { return filePath; }

    /// What the file is.
    Kind kind() const;

    /// What was found, as a sentence for a person. It begins with `subject`, such as "The file x":
    /// "The file x is not an SQLite database."
    QString finding(const QString& subject) const;

    /// The cause that DatabaseError has for the kind; Other for what is not an error.
    DatabaseError::Cause cause() const;

    /// The schema version of Ours, Altered and TooNew, and of Damaged where it can be read; 0
    /// otherwise.
    qint64 schemaVersion() const;

    /// What is wrong with a damaged store, at most 100 texts.
    QStringList damage() const;

    /// The tables that a damaged store lacks.
    QStringList missingTables() const;

    /// True if this process may write to the file and create files beside it.
    bool isWritable() const { return writable; }

    /// False if the WAL cannot be read: its changes are not considered.
    bool readsWal() const { return walRead; }

    /// How many commits in the WAL of a store are lost, at least, because something before them is
    /// damaged. The next opening drops them, with a warning.
    qint64 lostCommits() const { return commitsLost; }

    /// The size of the WAL in bytes; 0 without one.
    qint64 walBytes() const { return bytesOfWal; }

    /// Another process that was reading the WAL and kept it from shrinking, for a person: "process
    /// 4711 (velmioctl) on host, ...". Empty if there was none, or if it cannot be seen.
    QString walReader() const { return readerOfWal; }

    /// How the schema of Ours or Altered differs from that of a new store.
    QList<SchemaDifference> schemaDifferences() const;

    /// The random id of the store; empty unless the kind is Ours.
    QString storeId() const { return id; }

    /// True if a store of ours was last used on another machine or by another account.
    bool isMoved() const { return moved; }

private:
    StoreContent inspect(Depth depth);
    void inspectWal();
    StoreContent inspectHeader() const;
    StoreContent inspectWhole();
    StoreContent readWholeOf(const ReadOnlyConnection& connection);

    QString filePath;
    std::shared_ptr<const StoreContent> content;
    bool writable = false;
    bool walRead = true;
    qint64 commitsLost = 0;
    qint64 bytesOfWal = 0;
    QString readerOfWal;
    QString id;
    bool moved = false;
};

} // namespace sync::database
