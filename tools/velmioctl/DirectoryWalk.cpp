#include "DirectoryWalk.h"

#include <core/Constants.h>

#include <QFile>
#include <QStringDecoder>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace velmioctl {

namespace {

struct DirectoryCloser
{
    void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

// An open directory, or null with errno set.
Directory openDirectory(const std::string& path, bool followLink)
{
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLink ? 0 : O_NOFOLLOW);
    const int descriptor = ::open(path.c_str(), flags);
    if (descriptor < 0)
        return nullptr;
    Directory directory(::fdopendir(descriptor));
    if (!directory)
        ::close(descriptor);
    return directory;
}

bool isDots(const char* name)
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

bool isFolder(DIR* directory, const dirent& entry)
{
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    // Some file systems do not tell the type with the name.
    struct stat status
    {
    };
    return ::fstatat(::dirfd(directory), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(status.st_mode);
}

bool isVanished(int error)
{
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

} // namespace

DirectoryWalk::DirectoryWalk(const QString& root, Report report)
    : report(std::move(report))
{
    pushChildren(QFile::encodeName(root).toStdString(), true);
}

std::optional<QString> DirectoryWalk::next()
{
    while (!pending.empty()) {
        const std::string folder = std::move(pending.back());
        pending.pop_back();
        if (pushChildren(folder, false) == Reading::Done)
            return QString::fromStdString(folder);
    }
    return std::nullopt;
}

DirectoryWalk::Reading DirectoryWalk::pushChildren(const std::string& folder, bool followLink)
{
    const Directory directory = openDirectory(folder, followLink);
    if (!directory) {
        const int error = errno;
        // Gone, or replaced by a file or a link, since its parent was read. Only the root is
        // expected to be there.
        if (isVanished(error) && !followLink)
            return Reading::Vanished;
        report({Problem::Kind::Unreadable, QByteArray::fromStdString(folder), error});
        return Reading::Done;
    }

    children.clear();
    errno = 0;
    while (const dirent* entry = ::readdir(directory.get())) {
        if (!isDots(entry->d_name) && isFolder(directory.get(), *entry))
            addChild(folder, entry->d_name);
        errno = 0;
    }
    if (errno != 0)
        report({Problem::Kind::Unreadable, QByteArray::fromStdString(folder), errno});

    std::sort(children.begin(), children.end(), std::greater<>());
    std::move(children.begin(), children.end(), std::back_inserter(pending));
    return Reading::Done;
}

void DirectoryWalk::addChild(const std::string& folder, const char* name)
{
    std::string path = folder.ends_with('/') ? folder + name : folder + '/' + name;

    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decodedName = decode(QByteArrayView(name));
    if (decode.hasError()) {
        report({Problem::Kind::InvalidName, QByteArray::fromStdString(path), 0});
        return;
    }
    // The library counts no path as synchronised that contains this name anywhere.
    if (decodedName.contains(sync::core::consts::TEMP_FOLDER_NAME, Qt::CaseInsensitive))
        return;
    children.push_back(std::move(path));
}

} // namespace velmioctl
