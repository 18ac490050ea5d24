#pragma once
#include <core/PosixSync.h>

#include <QDir>
#include <QFileInfo>
#include <QString>

/// \file
/// Pure functions on "/"-separated paths. All comparisons are case-sensitive on every platform. The
/// functions do not access the disk, and any thread may call them.

/// Helpers that do not depend on the database.
namespace sync::core {

/// Resolves `path` against `base` and cleans the result; an absolute `path` is only cleaned.
///
/// `baseIsFile` removes the last component of `base` first: `b.txt` against `/x/y` gives
/// `/x/b.txt`, and `/x/y/b.txt` without. Neither path needs to exist.
inline QString RelativeToAbsolutePath(const QString& path, const QString& base, bool baseIsFile)
{
    if (!QFileInfo(path).isRelative())
        return QDir::cleanPath(path);

    const QString directory = baseIsFile ? QFileInfo(base).absolutePath() : base;
    // Joined by hand: QString::arg() would expand a "%1" that is part of a path.
    return QDir::cleanPath(QDir::cleanPath(directory) + QLatin1Char('/') + path);
}

/// True if `child` is below `parent`, at any depth. A path is not its own parent, not even the
/// root; the root is the parent of every other absolute path.
inline bool IsParentPath(const QString& parent, const QString& child)
{
    QString ancestor = QDir::cleanPath(parent);
    const QString descendant = QDir::cleanPath(child);
    if (ancestor == descendant)
        return false;
    if (QFileInfo(ancestor).isRoot())
        ancestor.chop(1);

    return ancestor.size() < descendant.size() && descendant.startsWith(ancestor) &&
           descendant.at(ancestor.size()) == QLatin1Char('/');
}

/// Replaces the leading `clientBase` of `path` by `serverBase`, or the other way round without
/// `toServer`. Returns a path that is not inside the base to replace cleaned.
///
/// Uses both bases unchanged; they must not have a trailing "/".
inline QString GetMappedPath(QString path, QString clientBase, QString serverBase, bool toServer)
{
    path = QDir::cleanPath(path);
    const QString& from = toServer ? clientBase : serverBase;
    const QString& to = toServer ? serverBase : clientBase;
    if (!path.startsWith(from))
        return path;
    if (path.size() > from.size() && path.at(from.size()) != QLatin1Char('/'))
        return path;
    return path.replace(0, from.size(), to);
}

/// The server path of a client path: GetMappedPath() towards the server.
inline QString GetServerPath(QString clientPath, QString clientBase, QString serverBase)
{
    return GetMappedPath(std::move(clientPath), std::move(clientBase), std::move(serverBase), true);
}

} // namespace sync::core
