#pragma once

#include <QByteArray>
#include <QString>

namespace sync::database {

class SqliteError;

/// True if several machines may use a file system of that type, as QStorageInfo names it. A WAL is
/// not safe there: its users share memory, which separate machines cannot.
bool isNetworkFileSystem(const QByteArray& type);

/// True if the users of a database file can share memory beside it, as a WAL requires; also if that
/// cannot be determined now. For a file without a WAL.
bool hasSharedMemory(const QString& path);

/// True if an error says that the WAL of a database cannot be used for lack of shared memory.
bool isMissingSharedMemory(const SqliteError& error, const QString& path);

} // namespace sync::database
