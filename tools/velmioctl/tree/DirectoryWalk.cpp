#include <velmioctl/tree/DirectoryWalk.h>

#include <base/FilePaths.h>
#include <core/Constants.h>

#include <algorithm>
#include <cerrno>

using sync::base::FileKind;
using sync::base::FolderReader;
using sync::base::Links;
using sync::base::textOfName;

namespace velmioctl {

namespace {

bool isVanished(int error)
{
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

} // namespace

DirectoryWalk::DirectoryWalk(const QString& root, Depth depth, Report report)
    : depth(depth)
    , report(std::move(report))
    , pending{root.toStdString()}
{
}

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
    reader.emplace(path, isRoot ? Links::Follow : Links::Keep);
    if (reader->isOpen()) {
        folder.descriptor = reader->folder();
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
    while (const FolderReader::Entry* entry = reader->next())
        addEntry(path, *entry);
    folder.complete = errno == 0;
    if (!folder.complete)
        report({Problem::Kind::Unreadable, QByteArray::fromStdString(path), errno});

    std::sort(
        folder.entries.begin(), folder.entries.end(),
        [](const Entry& left, const Entry& right) { return left.name < right.name; });
    std::sort(folder.folders.begin(), folder.folders.end(), std::greater<>());
}

void DirectoryWalk::addEntry(const std::string& path, const FolderReader::Entry& entry)
{
    const bool isFolder = entry.kind == FileKind::Folder;
    const std::string name = entry.name;

    const auto text = textOfName(name);
    if (!text) {
        const auto kind =
            isFolder ? Problem::Kind::InvalidFolderName : Problem::Kind::InvalidFileName;
        report({kind, QByteArray::fromStdString(joinPath(path, name)), 0});
        return;
    }
    // For the library a path that contains this name anywhere is not synchronised.
    if (text->contains(sync::core::consts::TEMP_FOLDER_NAME, Qt::CaseInsensitive))
        return;
    if (isFolder)
        folder.folders.push_back(name);
    else
        folder.entries.push_back(
            {name, entry.kind == FileKind::File || entry.kind == FileKind::Unknown});
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
