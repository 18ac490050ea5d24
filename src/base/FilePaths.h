#pragma once

class QString;

namespace sync::base {

/// A path as hosts give it, made absolute.
QString absoluteFilePath(const QString& givenPath);

/// The same with symbolic links followed: SQLite keeps its WAL beside the file itself.
QString resolvedFilePath(const QString& givenPath);

/// True if this process may use a file or folder, judged by the rights that apply when it is
/// opened. `mode` is that of access(2); errno says why not.
bool mayAccess(const QString& path, int mode);

} // namespace sync::base
