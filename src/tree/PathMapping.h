#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

#include <functional>
#include <optional>

namespace sync::config {
class FileConfigManager;
} // namespace sync::config

namespace sync::tree {

/// Where paths are now: what was at or below one path is at or below another one.
///
/// Both are absolute, on this system or another one. If the old path is of Windows, such as
/// "C:\Users\kim\Work", the case of letters and the direction of slashes do not count, and mapped
/// paths have "/".
class VELMIO_TREE_EXPORT PathMapping
{
public:
    /// Cleans both paths.
    PathMapping(const QString& from, const QString& to);

    /// The old path, without a slash at its end; empty for "/".
    const QString& from() const { return oldPath; }
    /// The new path in the same form.
    const QString& to() const { return newPath; }

    /// True if the old path has the form of Windows.
    bool isFromWindows() const { return fromWindows; }

    /// The new path; nothing for a path that is neither at the old path nor below it.
    std::optional<QString> mapped(const QString& path) const;

    /// mapped(), or the path itself.
    QString applied(const QString& path) const;

private:
    bool fromWindows;
    QString oldPath;
    QString newPath;
};

/// The text of the column "fileLinks" of a file that goes from `oldFile` to `newFile`, with every
/// link leading to where `newPath` says that its file goes; nothing if all links stay as they are.
/// `files` only reads and writes the text.
VELMIO_TREE_EXPORT std::optional<QString> movedFileLinks(
    const config::FileConfigManager& files, const QString& xml, const QString& oldFile,
    const QString& newFile, const std::function<QString(const QString& path)>& newPath);

/// True for an absolute path of this or another system. Pure: any thread may call it.
VELMIO_TREE_EXPORT bool isAbsoluteAnywhere(const QString& path);

/// True for a path with a drive or a server of Windows, such as "C:\Work" or "//server/share".
VELMIO_TREE_EXPORT bool isWindowsPath(const QString& path);

} // namespace sync::tree
