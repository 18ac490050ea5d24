#include <base/Folders.h>

#include <base/FileDescriptor.h>
#include <base/FileError.h>

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::base {

void createFolders(const QString& folder)
{
    const QString parent = QFileInfo(folder).path();
    if (!QFileInfo::exists(folder)) {
        createFolders(parent);
        if (::mkdir(QFile::encodeName(folder).constData(), S_IRWXU) != 0 && errno != EEXIST)
            throw FileError(folder, u"Cannot create the folder"_s, errno);
    }
    // Also if it exists: the process that made it may not have synced it yet, or not any more.
    syncFolder(parent);
}

void syncFolder(const QString& folder)
{
    const FileDescriptor descriptor(
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_CLOEXEC));
    if (!descriptor.isOpen() && errno == EACCES)
        return;
    if (descriptor.isOpen() && ::fsync(descriptor.get()) == 0)
        return;
    // On a read-only file system there is nothing to sync.
    const bool isUnsupported =
        errno == EINVAL || errno == EBADF || errno == ENOTSUP || errno == ENOSYS || errno == EROFS;
    if (!isUnsupported)
        throw FileError(folder, u"Cannot sync the folder"_s, errno);
}

} // namespace sync::base
