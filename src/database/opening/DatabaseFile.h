#pragma once

#include <database/connection/SqliteHandle.h>
#include <database/opening/StoreIdentity.h>
#include <database/opening/WalSupport.h>

#include <QStringList>

namespace sync::database {

/// A path as hosts give it, made absolute.
QString absoluteFilePath(const QString& givenPath);

/// The same behind symbolic links, where SQLite keeps its log beside the file.
QString resolvedFilePath(const QString& givenPath);

/// Tells the type of the file system that holds a file.
using FileSystemType = QByteArray (*)(const QString& path);

/// What opening a database file has found.
struct OpenedFile
{
    StoreIdentity identity;
    bool hasLog = false;  ///< Otherwise it has a journal.
    QStringList warnings; ///< For a person.
    SqliteHandle connection;
};

/// Makes a database file ready to be used: creates it when there is none, checks that it is ours
/// and whole, brings its schema up to date and switches it to the write-ahead log, or to a journal
/// where a log is not safe or cannot be had.
///
/// All of the file is read when its last user ended uncleanly, and when it is small.
///
/// Throws DatabaseError, and has then not changed a file that is not ours, too new or damaged.
OpenedFile prepareDatabaseFile(
    const QString& path, FileSystemType fileSystemType = fileSystemTypeOf);

} // namespace sync::database
