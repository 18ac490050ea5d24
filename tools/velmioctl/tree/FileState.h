#pragma once

#include <QString>

#include <optional>

namespace velmioctl {

/// What the file system tells of a file without reading it. Times are milliseconds since 1970, UTC.
struct FileState
{
    bool regular = false;
    qint64 size = 0;
    qint64 createdMs = 0; ///< Of the last metadata change where the creation is not known.
    qint64 modifiedMs = 0;
    quint64 inode = 0;
    qint64 modifiedNs = 0; ///< The part below a second.
    qint64 changedMs = 0;  ///< The last metadata change.

    bool operator==(const FileState& other) const = default;
};

/// The state of `name` below an open directory, a link's own where it is one; nothing, with errno
/// set, when it cannot be told.
std::optional<FileState> readFileState(int directory, const char* name);

/// The same of a file by its absolute path.
std::optional<FileState> readFileState(const QString& path);

/// Whether an errno says that there is nothing of that name, and not merely that it is unreadable.
bool isGone(int error);

/// True when there is nothing at a path, or something else than a file or a folder. False where
/// that cannot be told.
bool fileIsGone(const QString& path);
bool folderIsGone(const QString& path);

/// Who may do what with a file, in octal digits such as "0600", a link's own where it is one; empty
/// when there is no file.
QString permissionsOf(const QString& path);

/// A checksum, and whether it could be made.
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
