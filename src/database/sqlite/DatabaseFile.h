#pragma once

#include <database/sqlite/StoreIdentity.h>

#include <QStringList>

namespace sync::database {

/// A path as hosts give it, made absolute.
QString absoluteFilePath(const QString& givenPath);

/// The same behind symbolic links, where SQLite keeps its log beside the file.
QString resolvedFilePath(const QString& givenPath);

/// What opening a database file has found.
struct OpenedFile
{
    StoreIdentity identity;
    QStringList warnings; ///< For a person.
};

/// Makes a database file ready to be used: creates it when there is none, checks that it is ours
/// and whole, brings its schema up to date and switches it to the write-ahead log.
///
/// Throws DatabaseError, and has then not changed a file that is not ours, too new or damaged.
OpenedFile prepareDatabaseFile(const QString& path);

} // namespace sync::database
