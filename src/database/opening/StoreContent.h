#pragma once

#include <database/OpenOptions.h>
#include <database/StoreInspection.h>

#include <QString>
#include <QStringList>

struct sqlite3;

namespace sync::database {

/// What a connection finds in a file: whether it is a store of ours, known and whole. Opening,
/// copying, replacing and inspecting a file all use it.
struct StoreContent
{
    StoreInspection::Kind kind = StoreInspection::Kind::Ours;
    QString predicate = {}; ///< What was found, for a sentence about the file.
    DatabaseError::Cause cause = DatabaseError::Cause::Other;
    qint64 version = 0;
    QStringList damage = {};
    QStringList missingTables = {};
    QList<SchemaDifference> differences = {};

    bool isOurs() const { return kind == StoreInspection::Kind::Ours; }

    /// "<subject> is not an SQLite database."
    QString sentence(const QString& subject) const;
};

/// Reads only the mark and the schema version. Throws DatabaseError.
StoreContent readMark(sqlite3* database, const QString& path);

/// Whether a schema is accepted that has something foreign that can act.
enum class ForeignSchema {
    Refused,
    Allowed,
};

/// What the options of an opening say about it.
ForeignSchema foreignSchemaOf(const OpenOptions& options);

/// Also compares the schema. Throws DatabaseError.
StoreContent readSchema(sqlite3* database, const QString& path, ForeignSchema foreign);

/// Also reads all pages, of one moment if this runs in a transaction. Throws DatabaseError.
StoreContent readWhole(
    sqlite3* database, const QString& path, ForeignSchema foreign = ForeignSchema::Refused);

/// What the error of a failed read says about the file.
StoreContent contentOf(const DatabaseError& error);

StoreContent foreignDatabase();
StoreContent damagedStore(const QString& finding);
StoreContent emptyFile();
StoreContent unfinishedStore();

} // namespace sync::database
