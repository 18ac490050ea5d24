#pragma once

#include <QByteArray>
#include <QString>

namespace sync::base {

/// The type of the file system that holds an existing file, as QStorageInfo names it; on Windows
/// "smb" for a network drive.
QByteArray fileSystemTypeOf(const QString& path);

/// An id of the volume that holds a file, which stays the same when the drive is connected again.
QString volumeIdOf(const QString& path);

} // namespace sync::base
