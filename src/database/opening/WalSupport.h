#pragma once

#include <QByteArray>
#include <QString>

namespace sync::database {

class SqliteError;

/// Whether a file system of that type, as QStorageInfo names it, may be in use by several machines.
/// A write-ahead log is not safe there: its users share memory, which machines do not.
bool isNetworkFileSystem(const QByteArray& type);

/// The type of the file system that holds an existing file, as isNetworkFileSystem() takes it.
QByteArray fileSystemTypeOf(const QString& path);

/// Whether the users of a database file can share memory beside it, as a write-ahead log needs.
/// Only asked about a file that has no log. True also when that cannot be found out now.
bool hasSharedMemory(const QString& path);

/// Whether an error says that the log of a database cannot be used for want of shared memory.
bool tellsOfMissingSharedMemory(const SqliteError& error, const QString& path);

} // namespace sync::database
