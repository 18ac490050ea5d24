#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

#include <optional>

namespace sync::interf {
class ICryptographicHash;
} // namespace sync::interf

namespace sync::tree {

/// What the file system says about a file without reading it. Times are milliseconds since 1970,
/// UTC.
struct FileState
{
    bool regular = false;  ///< A file; not a folder, link, pipe, socket or device.
    qint64 size = 0;       ///< In bytes.
    qint64 createdMs = 0;  ///< Of the last metadata change if the creation time is not known.
    qint64 modifiedMs = 0; ///< The last change of the content.
    quint64 inode = 0;     ///< The number of the file on its volume.
    quint64 device = 0;    ///< The number of the volume, until it is connected again.
    /// The time of creation in nanoseconds; nothing where the file system does not know it.
    std::optional<qint64> createdNs;
    qint64 modifiedNs = 0; ///< The part of `modifiedMs` below a second, in nanoseconds.
    qint64 changedMs = 0;  ///< The last metadata change.

    /// True if nothing was changed between two reads of the same file.
    bool operator==(const FileState& other) const = default;
};

/// What identifies a folder or file on the disk, as the store keeps it.
struct DiskIdentity
{
    qint64 volume = 0; ///< Of the volume; the same when it is connected again.
    qint64 fileId = 0; ///< The number on the volume; used again after a removal.
    /// The time of creation in nanoseconds. Nothing if it is not known, or was too recent when it
    /// was seen: what is made in place of a removed file may get its number within the resolution
    /// of the clock.
    std::optional<qint64> createdNs;

    bool operator==(const DiskIdentity& other) const = default; ///< Of all members.
};

/// The state of a file by its absolute path; of the link itself if it is one. No value, with errno
/// set, on failure.
VELMIO_TREE_EXPORT std::optional<FileState> readFileState(const QString& path);

/// True if a path does not exist, or is not a file. False if that is not known.
VELMIO_TREE_EXPORT bool fileIsGone(const QString& path);

/// The same for a folder.
VELMIO_TREE_EXPORT bool folderIsGone(const QString& path);

/// A checksum, and whether it could be computed.
struct FileHash
{
    /// Whether it could be computed.
    enum class Outcome {
        Done,       ///< It is the checksum of the whole content.
        Unreadable, ///< The file cannot be read.
        Unstable,   ///< The file changed or vanished while it was read.
    };
    Outcome outcome;  ///< Whether it could be computed.
    QString checkSum; ///< Empty unless Done.
};

/// The checksum of a file whose state was `before`: by SHA-256, or by what is given.
VELMIO_TREE_EXPORT FileHash
hashFile(const QString& path, const FileState& before, interf::ICryptographicHash* hash = nullptr);

} // namespace sync::tree
