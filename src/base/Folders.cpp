#include <base/Folders.h>

#include <base/FileDescriptor.h>
#include <base/FileError.h>

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::base {

void createFolders(const QString& folder)
{
    const QString parent = QFileInfo(folder).path();
    if (!QFileInfo::exists(folder)) {
        createFolders(parent);
        const QByteArray name = QFile::encodeName(folder);
        const bool isMade = ::mkdir(name.constData(), S_IRWXU) == 0;
        if (!isMade && errno != EEXIST)
            throw FileError(folder, u"Cannot create the folder"_s, errno);
        // The umask may have taken rights from the user. Where modes cannot be set, they are fixed.
        if (isMade)
            ::fchmodat(AT_FDCWD, name.constData(), S_IRWXU, AT_SYMLINK_NOFOLLOW);
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

bool hasFreeInode(const QString& folder)
{
    struct statvfs disk
    {
    };
    if (::statvfs(QFile::encodeName(folder).constData(), &disk) != 0)
        return true;
    // Some file systems have no fixed number, and report none.
    return disk.f_files == 0 || disk.f_favail > 0;
}

} // namespace sync::base
