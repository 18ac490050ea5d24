#include <base/system/Volumes.h>

#include <QDir>
#include <QFileInfo>
#include <QStorageInfo>

using namespace Qt::StringLiterals;

namespace sync::base {

QByteArray fileSystemTypeOf(const QString& path)
{
    return QStorageInfo(path).fileSystemType();
}

// The number of a device changes when a drive is connected again; the UUID of its file system does
// not.
QString volumeIdOf(const QString& path)
{
    const QStorageInfo volume(path);
    const QString device = QString::fromUtf8(volume.device());
    const QString node = QFileInfo(device).canonicalFilePath();
    const auto links = QDir(u"/dev/disk/by-uuid"_s).entryInfoList(QDir::System | QDir::Files);
    for (const QFileInfo& link : links) {
        if (!node.isEmpty() && link.canonicalFilePath() == node)
            return u"uuid:"_s + link.fileName();
    }
    return QString::fromUtf8(volume.fileSystemType()) + u':' + device;
}

} // namespace sync::base
