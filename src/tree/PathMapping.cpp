#include <tree/PathMapping.h>

#include <QDir>

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
