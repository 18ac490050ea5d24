#include <base/system/FolderEntries.h>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace sync::base {

namespace {

bool isDots(const char* name)
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

FileKind kindOfType(unsigned char type)
{
    switch (type) {
    case DT_REG:
        return FileKind::File;
    case DT_DIR:
        return FileKind::Folder;
    case DT_LNK:
        return FileKind::Link;
    case DT_UNKNOWN:
        return FileKind::Unknown;
    default:
        return FileKind::Other;
    }
}

} // namespace

struct FolderReader::State
{
    State(const std::string& path, Links links)
    {
        const int noFollow = links == Links::Keep ? O_NOFOLLOW : 0;
        const int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | noFollow);
        if (descriptor < 0)
            return;
        stream = ::fdopendir(descriptor);
        if (!stream)
            ::close(descriptor);
    }
    ~State()
    {
        if (stream)
            ::closedir(stream);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    DIR* stream = nullptr;
};

FolderReader::FolderReader(const std::string& path, Links links)
    : state(std::make_unique<State>(path, links))
{
}

FolderReader::~FolderReader() = default;

bool FolderReader::isOpen() const
{
    return state->stream != nullptr;
}

NativeFile FolderReader::folder() const
{
    return ::dirfd(state->stream);
}

const FolderReader::Entry* FolderReader::next()
{
    const dirent* found = nullptr;
    do {
        errno = 0;
        found = ::readdir(state->stream);
        if (!found)
            return nullptr;
    } while (isDots(found->d_name));
    entry = {found->d_name, kindOfType(found->d_type)};
    // Some file systems do not report it with the name.
    if (entry.kind == FileKind::Unknown) {
        if (const auto status = statusOf(folder(), entry.name))
            entry.kind = status->kind;
    }
    return &entry;
}

bool createOwnFolder(const QString& path)
{
    const QByteArray name = path.toUtf8();
    if (::mkdir(name.constData(), S_IRWXU) != 0)
        return false;
    // The umask may have taken rights from the user. Where modes cannot be set, they are fixed.
    [[maybe_unused]] const int ignored =
        ::fchmodat(AT_FDCWD, name.constData(), S_IRWXU, AT_SYMLINK_NOFOLLOW);
    return true;
}

bool syncEntries(const QString& folder)
{
    const FileDescriptor descriptor = openForReading(folder, Links::Follow);
    if (!descriptor.isOpen() && errno == EACCES)
        return true;
    if (descriptor.isOpen() && syncToMedium(descriptor.get()))
        return true;
    // On a read-only file system there is nothing to sync.
    return errno == EINVAL || errno == EBADF || errno == ENOTSUP || errno == ENOSYS ||
           errno == EROFS;
}

bool hasFreeInode(const QString& folder)
{
    struct statvfs disk
    {
    };
    if (::statvfs(folder.toUtf8().constData(), &disk) != 0)
        return true;
    // Some file systems have no fixed number, and report none.
    return disk.f_files == 0 || disk.f_favail > 0;
}

} // namespace sync::base
