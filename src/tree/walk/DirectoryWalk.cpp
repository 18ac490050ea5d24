#include <tree/walk/DirectoryWalk.h>

#include <base/FilePaths.h>
#include <base/WindowsNames.h>
#include <core/Constants.h>

#include <algorithm>
#include <cerrno>

using sync::base::FileKind;
using sync::base::FolderReader;
using sync::base::joinPath;
using sync::base::Links;
using sync::base::textOfName;
using sync::base::windowsNameProblem;

namespace sync::tree {

namespace {

bool isVanished(int error)
{
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

} // namespace

DirectoryWalk::DirectoryWalk(const QString& root, Depth depth, Report report, IgnoreRule ignored)
    : depth(depth)
    , report(std::move(report))
    , ignored(std::move(ignored))
    , pending{{root.toStdString(), root}}
{
}

DirectoryWalk::Folder* DirectoryWalk::next()
{
    // Only now, because the caller may have changed their paths.
    if (depth == Depth::All) {
        for (Subfolder& child : folder.folders)
            pending.push_back({joinPath(onDisk, child.name), std::move(child.path)});
    }
    folder.folders.clear();
    while (!pending.empty()) {
        onDisk = std::move(pending.back().onDisk);
        folder.path = std::move(pending.back().path);
        pending.pop_back();
        if (read(std::exchange(atRoot, false)))
            return &folder;
    }
    return nullptr;
}

// False for a folder that vanished.
bool DirectoryWalk::read(bool isRoot)
{
    folder.descriptor = -1;
    folder.complete = false;
    folder.entries.clear();
    reader.emplace(onDisk, isRoot ? Links::Follow : Links::Keep);
    if (reader->isOpen()) {
        folder.descriptor = reader->folder();
        readEntries();
        return true;
    }
    const int error = errno;
    // Removed, or replaced by a file or a link, since its parent was read. Only the root must
    // exist.
    if (isVanished(error) && !isRoot)
        return false;
    report({TreeProblem::Kind::UnreadableFolder, QByteArray::fromStdString(onDisk), error});
    return true;
}

void DirectoryWalk::readEntries()
{
    while (const FolderReader::Entry* entry = reader->next())
        addEntry(*entry);
    folder.complete = errno == 0;
    if (!folder.complete)
        report({TreeProblem::Kind::UnreadableFolder, QByteArray::fromStdString(onDisk), errno});

    std::sort(
        folder.entries.begin(), folder.entries.end(),
        [](const Entry& left, const Entry& right) { return left.name < right.name; });
    std::sort(
        folder.folders.begin(), folder.folders.end(),
        [](const Subfolder& left, const Subfolder& right) { return left.name > right.name; });
}

void DirectoryWalk::addEntry(const FolderReader::Entry& entry)
{
    const bool isFolder = entry.kind == FileKind::Folder;
    std::string name = entry.name;

    const auto text = textOfName(name);
    // Windows returns names with which programs open something else: "a." is the file "a" to them.
    static const bool reservesNames = base::pathLimits().reservesNames;
    if (!text || (reservesNames && !windowsNameProblem(*text).isEmpty())) {
        const auto kind =
            isFolder ? TreeProblem::Kind::InvalidFolderName : TreeProblem::Kind::InvalidFileName;
        report({kind, QByteArray::fromStdString(joinPath(onDisk, name))});
        return;
    }
    // For the library a path that contains this name anywhere is not synchronised.
    if (text->contains(core::consts::TEMP_FOLDER_NAME, Qt::CaseInsensitive))
        return;
    if (ignored && ignored(joinPath(folder.path, *text), isFolder))
        return;
    if (isFolder)
        folder.folders.push_back({std::move(name), joinPath(folder.path, *text)});
    else
        folder.entries.push_back(
            {std::move(name), entry.kind == FileKind::File || entry.kind == FileKind::Unknown});
}

} // namespace sync::tree
