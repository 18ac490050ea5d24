#include <velmioctl/tree/DirectoryWalk.h>

#include <core/Constants.h>

#include <QFile>
#include <QStringDecoder>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmioctl {

namespace {

bool isDots(const char* name)
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// The kind of an entry, for file systems that do not report it with the name.
unsigned char typeOf(int directory, const char* name)
{
    struct stat status
    {
    };
    if (::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return DT_UNKNOWN;
    return IFTODT(status.st_mode);
}

bool isVanished(int error)
{
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

} // namespace

struct DirectoryWalk::OpenDirectory
{
    OpenDirectory(const std::string& path, bool followLink)
    {
        const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLink ? 0 : O_NOFOLLOW);
        const int descriptor = ::open(path.c_str(), flags);
        if (descriptor < 0)
            return;
        stream = ::fdopendir(descriptor);
        if (!stream)
            ::close(descriptor);
    }
    ~OpenDirectory()
    {
        if (stream)
            ::closedir(stream);
    }
    OpenDirectory(const OpenDirectory&) = delete;
    OpenDirectory& operator=(const OpenDirectory&) = delete;

    // Null with errno set if it could not be opened.
    DIR* stream = nullptr;
};

DirectoryWalk::DirectoryWalk(const QString& root, Depth depth, Report report)
    : depth(depth)
    , report(std::move(report))
    , pending{QFile::encodeName(root).toStdString()}
{
}

DirectoryWalk::~DirectoryWalk() = default;

const DirectoryWalk::Folder* DirectoryWalk::next()
{
    while (!pending.empty()) {
        const std::string path = std::move(pending.back());
        pending.pop_back();
        if (!read(path, std::exchange(atRoot, false)))
            continue;
        if (depth == Depth::All) {
            for (const std::string& name : folder.folders)
                pending.push_back(joinPath(path, name));
        }
        return &folder;
    }
    return nullptr;
}

// False for a folder that vanished.
bool DirectoryWalk::read(const std::string& path, bool isRoot)
{
    folder.path = QString::fromStdString(path);
    folder.descriptor = -1;
    folder.complete = false;
    folder.entries.clear();
    folder.folders.clear();
    directory = std::make_unique<OpenDirectory>(path, isRoot);
    if (directory->stream) {
        folder.descriptor = ::dirfd(directory->stream);
        readEntries(path);
        return true;
    }
    const int error = errno;
    // Removed, or replaced by a file or a link, since its parent was read. Only the root must
    // exist.
    if (isVanished(error) && !isRoot)
        return false;
    report({Problem::Kind::Unreadable, QByteArray::fromStdString(path), error});
    return true;
}

void DirectoryWalk::readEntries(const std::string& path)
{
    errno = 0;
    while (const dirent* entry = ::readdir(directory->stream)) {
        if (!isDots(entry->d_name))
            addEntry(path, entry->d_name, entry->d_type);
        errno = 0;
    }
    folder.complete = errno == 0;
    if (!folder.complete)
        report({Problem::Kind::Unreadable, QByteArray::fromStdString(path), errno});

    std::sort(
        folder.entries.begin(), folder.entries.end(),
        [](const Entry& left, const Entry& right) { return left.name < right.name; });
    std::sort(folder.folders.begin(), folder.folders.end(), std::greater<>());
}

void DirectoryWalk::addEntry(const std::string& path, const char* name, unsigned char type)
{
    if (type == DT_UNKNOWN)
        type = typeOf(folder.descriptor, name);
    const bool isFolder = type == DT_DIR;

    const auto decodedName = decodeName(name);
    if (!decodedName) {
        const auto kind =
            isFolder ? Problem::Kind::InvalidFolderName : Problem::Kind::InvalidFileName;
        report({kind, QByteArray::fromStdString(joinPath(path, name)), 0});
        return;
    }
    // For the library a path that contains this name anywhere is not synchronised.
    if (decodedName->contains(sync::core::consts::TEMP_FOLDER_NAME, Qt::CaseInsensitive))
        return;
    if (isFolder)
        folder.folders.emplace_back(name);
    else
        folder.entries.push_back({name, type == DT_REG || type == DT_UNKNOWN});
}

std::optional<QString> decodeName(const std::string& name)
{
    using Flag = QStringDecoder::Flag;
    QStringDecoder decode(QStringDecoder::Utf8, Flag::Stateless | Flag::ConvertInitialBom);
    QString decoded = decode(QByteArrayView(name.data(), qsizetype(name.size())));
    return decode.hasError() ? std::nullopt : std::optional(std::move(decoded));
}

std::string joinPath(const std::string& folder, const std::string& name)
{
    return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

QString joinPath(const QString& folder, const QString& name)
{
    return folder.endsWith(u'/') ? folder + name : folder + u'/' + name;
}

} // namespace velmioctl
