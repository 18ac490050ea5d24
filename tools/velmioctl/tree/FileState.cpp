#include <velmioctl/tree/FileState.h>

#include <config/Sha256FileHash.h>

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

qint64 toMs(const struct statx_timestamp& time)
{
    return qint64(time.tv_sec) * 1000 + time.tv_nsec / 1'000'000;
}

} // namespace

std::optional<FileState> readFileState(int directory, const char* name)
{
    struct statx status
    {
    };
    constexpr unsigned Wanted =
        STATX_TYPE | STATX_SIZE | STATX_INO | STATX_MTIME | STATX_CTIME | STATX_BTIME;
    if (::statx(directory, name, AT_SYMLINK_NOFOLLOW, Wanted, &status) != 0)
        return std::nullopt;

    FileState state;
    state.regular = S_ISREG(status.stx_mode);
    state.size = qint64(status.stx_size);
    state.modifiedMs = toMs(status.stx_mtime);
    state.changedMs = toMs(status.stx_ctime);
    // 0 means that it is not known, as in QFileInfo.
    const bool hasBirth = (status.stx_mask & STATX_BTIME) != 0 && status.stx_btime.tv_sec != 0;
    state.createdMs = hasBirth ? toMs(status.stx_btime) : state.changedMs;
    state.inode = status.stx_ino;
    state.modifiedNs = status.stx_mtime.tv_nsec;
    return state;
}

std::optional<FileState> readFileState(const QString& path)
{
    return readFileState(AT_FDCWD, QFile::encodeName(path).constData());
}

bool isGone(int error)
{
    return error == ENOENT || error == ENOTDIR;
}

bool fileIsGone(const QString& path)
{
    const auto state = readFileState(path);
    return state ? !state->regular : isGone(errno);
}

bool folderIsGone(const QString& path)
{
    struct stat status
    {
    };
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0)
        return isGone(errno);
    return !S_ISDIR(status.st_mode);
}

QString permissionsOf(const QString& path)
{
    constexpr mode_t PermissionBits = 07777;
    struct stat status
    {
    };
    if (path.isEmpty() || ::lstat(QFile::encodeName(path).constData(), &status) != 0)
        return {};
    return u"%1"_s.arg(uint(status.st_mode & PermissionBits), 4, 8, QChar(u'0'));
}

FileHash hashFile(const QString& path, const FileState& before)
{
    const QString checkSum = sync::config::Sha256FileHash().GetFileHash(path);
    const auto after = readFileState(path);
    if (!after || *after != before)
        return {FileHash::Outcome::Unstable, {}};
    if (checkSum.isEmpty())
        return {FileHash::Outcome::Unreadable, {}};
    return {FileHash::Outcome::Done, checkSum};
}

} // namespace velmioctl
