#include <base/FilePaths.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::base {

QString absoluteFilePath(const QString& givenPath)
{
    // A leading ":" means a resource to Qt, and ":memory:" is not a file to SQLite.
    const QString path = givenPath.startsWith(u':') ? u"./"_s + givenPath : givenPath;
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QString resolvedFilePath(const QString& givenPath)
{
    const QString path = absoluteFilePath(givenPath);
    const QString target = QFileInfo(path).canonicalFilePath();
    return target.isEmpty() ? path : target;
}

bool mayAccess(const QString& path, int mode)
{
    return ::faccessat(AT_FDCWD, QFile::encodeName(path).constData(), mode, AT_EACCESS) == 0;
}

} // namespace sync::base
