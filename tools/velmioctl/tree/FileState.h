#pragma once

#include <base/system/Files.h>

#include <QString>

#include <optional>

namespace velmioctl {

/// What the file system says about a file without reading it. Times are milliseconds since 1970,
/// UTC.
struct FileState
{
    bool regular = false;
    qint64 size = 0;
    qint64 createdMs = 0; ///< Of the last metadata change if the creation time is not known.
    qint64 modifiedMs = 0;
    quint64 inode = 0;
    qint64 modifiedNs = 0; ///< The part below a second.
    qint64 changedMs = 0;  ///< The last metadata change.

    bool operator==(const FileState& other) const = default;
};

/// The state of `name` in an open directory; of the link itself if it is one. No value, with errno
/// set, on failure.
std::optional<FileState> readFileState(sync::base::NativeFile directory, const char* name);

/// The same of a file by its absolute path.
std::optional<FileState> readFileState(const QString& path);

/// True if an errno says that the name does not exist, not only that it is unreadable.
bool isGone(int error);

/// True if a path does not exist, or is not a file or folder. False if that is not known.
bool fileIsGone(const QString& path);
bool folderIsGone(const QString& path);

/// A checksum, and whether it could be computed.
struct FileHash
{
    enum class Outcome {
        Done,
        Unreadable,
        Unstable, ///< The file changed or vanished while it was read.
    };
    Outcome outcome;
    QString checkSum; ///< Empty unless Done.
};

/// The SHA-256 checksum of a file whose state was `before`.
FileHash hashFile(const QString& path, const FileState& before);

} // namespace velmioctl
