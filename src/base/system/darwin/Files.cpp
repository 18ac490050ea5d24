#include <base/system/Files.h>

#include <base/system/darwin/Stat.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sync::base {

namespace {

FileKind kindOfMode(mode_t mode)
{
    if (S_ISREG(mode))
        return FileKind::File;
    if (S_ISDIR(mode))
        return FileKind::Folder;
    return S_ISLNK(mode) ? FileKind::Link : FileKind::Other;
}

FileTime toTime(const timespec& time)
{
    return {time.tv_sec, time.tv_nsec};
}

std::optional<FileStatus> statusOf(int folder, const char* name, int flags)
{
    struct stat found
    {
    };
    return ::fstatat(folder, name, &found, flags) == 0 ? std::optional(toStatus(found))
                                                       : std::nullopt;
}

} // namespace

FileStatus toStatus(const struct stat& found)
{
    FileStatus status;
    status.kind = kindOfMode(found.st_mode);
    status.size = found.st_size;
    status.modified = toTime(found.st_mtimespec);
    status.changed = toTime(found.st_ctimespec);
    // A file system that does not know it reports 0 or -1.
    if (found.st_birthtimespec.tv_sec > 0)
        status.created = toTime(found.st_birthtimespec);
    // Device numbers are signed.
    status.id = {static_cast<quint32>(found.st_dev), found.st_ino};
    return status;
}

std::optional<FileStatus> statusOf(const QString& path, Links links)
{
    const int flags = links == Links::Keep ? AT_SYMLINK_NOFOLLOW : 0;
    return statusOf(AT_FDCWD, path.toUtf8().constData(), flags);
}

std::optional<FileStatus> statusOf(NativeFile file)
{
    struct stat found
    {
    };
    return ::fstat(int(file), &found) == 0 ? std::optional(toStatus(found)) : std::nullopt;
}

std::optional<FileStatus> statusOf(NativeFile folder, const char* name)
{
    return statusOf(int(folder), name, AT_SYMLINK_NOFOLLOW);
}

// fsync(2) stops at the drive's cache. A failure to write is not tried again: a second sync can
// succeed although the first one has lost data.
bool syncToMedium(NativeFile file)
{
    if (::fcntl(int(file), F_FULLFSYNC) == 0)
        return true;
    const bool isUnsupported = errno == ENOTSUP || errno == ENOTTY || errno == EINVAL;
    return isUnsupported && ::fsync(int(file)) == 0;
}

} // namespace sync::base
