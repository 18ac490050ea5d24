#pragma once

#include <QString>

#include <optional>
#include <string>

namespace sync::base {

/// A path as hosts give it, made absolute.
QString absoluteFilePath(const QString& givenPath);

/// The same with symbolic links followed: SQLite keeps its WAL beside the file itself.
QString resolvedFilePath(const QString& givenPath);

/// A path and the name of something in it.
std::string joinPath(const std::string& folder, const std::string& name);
QString joinPath(const QString& folder, const QString& name);

/// A name or path from the disk as text, including a byte order mark at its start; nothing if it is
/// not valid UTF-8. Composed (NFC) where the system decomposes names, because records hold what a
/// person types.
std::optional<QString> textOfName(const std::string& name);

} // namespace sync::base
