#include <tree/FileState.h>

#include <base/FileError.h>
#include <config/Sha256FileHash.h>
#include <interf/ICryptographicHash.h>
#include <tree/moves/DiskIdentities.h>
#include <tree/walk/DiskState.h>

#include <cerrno>

using sync::base::FileKind;
using sync::base::FileStatus;
using sync::base::Links;
using sync::base::statusOf;

namespace sync::tree {

namespace {

std::optional<FileState> stateOf(const std::optional<FileStatus>& status)
{
    if (!status)
        return std::nullopt;
    FileState state;
    state.regular = status->kind == FileKind::File;
    state.size = status->size;
    state.modifiedMs = status->modified.toMs();
    state.changedMs = status->changed.toMs();
    // 0 means that it is not known, as in QFileInfo.
    const bool hasBirth = status->created && status->created->seconds != 0;
    state.createdMs = hasBirth ? status->created->toMs() : state.changedMs;
    state.inode = status->id.inode;
    state.device = status->id.device;
    state.createdNs = createdNsOf(*status);
    state.modifiedNs = status->modified.nanoseconds;
    return state;
}

} // namespace

std::optional<FileState> readFileState(base::NativeFile folder, const char* name)
{
    return stateOf(statusOf(folder, name));
}

std::optional<FileState> readFileState(const QString& path)
{
    return stateOf(statusOf(path, Links::Keep));
}

bool fileIsGone(const QString& path)
{
    const auto state = readFileState(path);
    return state ? !state->regular : base::isGone(errno);
}

bool folderIsGone(const QString& path)
{
    const auto status = statusOf(path, Links::Keep);
    return status ? status->kind != FileKind::Folder : base::isGone(errno);
}

FileHash hashFile(const QString& path, const FileState& before, interf::ICryptographicHash* hash)
{
    const QString checkSum =
        hash ? hash->GetFileHash(path) : config::Sha256FileHash().GetFileHash(path);
    const auto after = readFileState(path);
    if (!after || *after != before)
        return {FileHash::Outcome::Unstable, {}};
    if (checkSum.isEmpty())
        return {FileHash::Outcome::Unreadable, {}};
    return {FileHash::Outcome::Done, checkSum};
}

} // namespace sync::tree
