#include <base/system/Files.h>

#include <base/system/linux/Statx.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace sync::base {

namespace {

FileKind kindOfMode(unsigned mode)
{
    if (S_ISREG(mode))
        return FileKind::File;
    if (S_ISDIR(mode))
        return FileKind::Folder;
    return S_ISLNK(mode) ? FileKind::Link : FileKind::Other;
}

FileTime toTime(const struct statx_timestamp& time)
{
    return {time.tv_sec, time.tv_nsec};
}

std::optional<FileStatus> statusOf(int folder, const char* name, int flags)
{
    const auto found = statxOf(folder, name, flags);
    return found ? std::optional(toStatus(*found)) : std::nullopt;
}

} // namespace

std::optional<struct statx> statxOf(int folder, const char* name, int flags)
{
    struct statx found
    {
    };
    constexpr unsigned Wanted = STATX_BASIC_STATS | STATX_BTIME;
    if (::statx(folder, name, flags, Wanted, &found) != 0)
        return std::nullopt;
    return found;
}

FileStatus toStatus(const struct statx& found)
{
    FileStatus status;
    status.kind = kindOfMode(found.stx_mode);
    status.size = qint64(found.stx_size);
    status.modified = toTime(found.stx_mtime);
    status.changed = toTime(found.stx_ctime);
    if ((found.stx_mask & STATX_BTIME) != 0)
        status.created = toTime(found.stx_btime);
    status.id = {makedev(found.stx_dev_major, found.stx_dev_minor), found.stx_ino};
    return status;
}

std::optional<FileStatus> statusOf(const QString& path, Links links)
{
    const int flags = links == Links::Keep ? AT_SYMLINK_NOFOLLOW : 0;
    return statusOf(AT_FDCWD, path.toUtf8().constData(), flags);
}

std::optional<FileStatus> statusOf(NativeFile file)
{
    return statusOf(int(file), "", AT_EMPTY_PATH);
}

std::optional<FileStatus> statusOf(NativeFile folder, const char* name)
{
    return statusOf(int(folder), name, AT_SYMLINK_NOFOLLOW);
}

bool syncToMedium(NativeFile file)
{
    return ::fsync(int(file)) == 0;
}

} // namespace sync::base
