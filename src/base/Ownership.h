#pragma once

#include <base/FileDescriptor.h>

#include <QString>

#include <optional>
#include <sys/stat.h>

namespace sync::base {

/// Who may change files besides their user. Another user who may write to a folder can plant files
/// in it, and exchange those that are there.

/// True if users other than the owner may write to a file or folder: everybody, or a group with
/// other members. Many systems give each user a group without others
/// (wiki.debian.org/UserPrivateGroups).
bool othersMayWrite(const struct stat& status);

/// True if a file or folder belongs to this user or to root, or if root asks, to `owner`.
bool hasTrustedOwner(const struct stat& status, uid_t owner);

/// What is wrong with the owner of a file or folder, as a sentence without its full stop; empty if
/// it is trusted.
QString ownerFinding(const QString& path, const struct stat& status, uid_t owner);

/// The same for the users who may write to it.
QString writersFinding(const QString& path, const struct stat& status);

/// A folder and files in it, examined through one descriptor, so that nobody can exchange the
/// folder meanwhile. The descriptor cannot read: closing one that can would drop SQLite's locks.
class ExaminedFolder
{
public:
    explicit ExaminedFolder(const QString& path);

    /// Of the folder itself for an empty name, and of a symbolic link and not what it leads to.
    /// Nothing if it does not exist or cannot be examined.
    std::optional<struct stat> status(const QString& name = {}) const;

private:
    FileDescriptor descriptor;
};

} // namespace sync::base
