#include <tree/PathMapping.h>

#include <config/FileConfigManager.h>

#include <QDateTime>
#include <QDir>

using sync::config::FileLink;

namespace sync::tree {

namespace {

QString withSlashes(QString path)
{
    return path.replace(u'\\', u'/');
}

QString cleaned(const QString& path)
{
    const bool ofWindows = isWindowsPath(path);
    QString clean = QDir::cleanPath(ofWindows ? withSlashes(path) : path);
    // Only on Windows the server of a path keeps both of its slashes.
    if (ofWindows && clean.startsWith(u'/') && !clean.startsWith(u"//"))
        clean.prepend(u'/');
    if (clean.endsWith(u'/'))
        clean.chop(1);
    return clean;
}

QString folderOf(const QString& path)
{
    return path.first(qMax<qsizetype>(0, path.lastIndexOf(u'/')));
}

// Not by Qt's functions for this system, because the paths may be those of another one.
QString targetOf(const QString& link, const QString& linkingFile)
{
    if (isAbsoluteAnywhere(link))
        return link;
    const QString path = isWindowsPath(linkingFile)
                             ? folderOf(withSlashes(linkingFile)) + u'/' + withSlashes(link)
                             : folderOf(linkingFile) + u'/' + link;
    return QDir::cleanPath(path);
}

} // namespace

PathMapping::PathMapping(const QString& from, const QString& to)
    : fromWindows(isWindowsPath(from))
    , oldPath(cleaned(from))
    , newPath(cleaned(to))
{
}

std::optional<QString> PathMapping::mapped(const QString& path) const
{
    const QString given = fromWindows ? withSlashes(path) : path;
    if (!given.startsWith(oldPath, fromWindows ? Qt::CaseInsensitive : Qt::CaseSensitive))
        return std::nullopt;
    const QStringView rest = QStringView(given).sliced(oldPath.size());
    if (!rest.isEmpty() && rest.front() != u'/')
        return std::nullopt;
    if (rest.size() <= 1)
        return newPath.isEmpty() || newPath.endsWith(u':') ? newPath + u'/' : newPath;
    return newPath + rest.toString();
}

QString PathMapping::applied(const QString& path) const
{
    return mapped(path).value_or(path);
}

std::optional<QString> movedFileLinks(
    const config::FileConfigManager& files, const QString& xml, const QString& oldFile,
    const QString& newFile, const std::function<QString(const QString& path)>& newPath)
{
    QDateTime date;
    QList<FileLink> links = files.GetFileLinkArrayFromXmlString(xml, date);
    bool anyMoved = false;
    for (FileLink& link : links) {
        if (link.Path.isEmpty())
            continue;
        const QString target = newPath(targetOf(link.Path, oldFile));
        if (target == targetOf(link.Path, newFile))
            continue;
        link.Path = isAbsoluteAnywhere(link.Path)
                        ? target
                        : QDir(folderOf(newFile)).relativeFilePath(target);
        anyMoved = true;
    }
    return anyMoved ? std::optional(files.GetXmlStringFromFileLinkArray(links, date))
                    : std::nullopt;
}

bool isAbsoluteAnywhere(const QString& path)
{
    return path.startsWith(u'/') || isWindowsPath(path);
}

bool isWindowsPath(const QString& path)
{
    const auto isSlash = [&path](qsizetype at) { return path[at] == u'/' || path[at] == u'\\'; };
    if (path.size() >= 3 && path[1] == u':' && isSlash(2)) {
        const char16_t drive = path[0].toUpper().unicode();
        return drive >= u'A' && drive <= u'Z';
    }
    return path.size() >= 3 && isSlash(0) && path[0] == path[1] && !isSlash(2);
}

} // namespace sync::tree
