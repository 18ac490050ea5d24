#pragma once

#include <base/system/Files.h>

#include <QString>

#include <optional>

namespace sync::base {

/// Who owns a file or folder, and what users other than the owner may do with it.
struct FileRights
{
    QString owner;               ///< As currentUser().
    bool othersMayWrite = false; ///< Everybody, or a group with other members.
    bool othersMayUse = false;   ///< The group or others have any right to it.
};

/// Both as of one moment.
struct ExaminedFile
{
    FileStatus status;
    FileRights rights;
};

/// Of an open file; nothing, with errno set, on failure.
std::optional<ExaminedFile> examine(NativeFile file);

/// A folder and files in it, examined through one descriptor, so that nobody can exchange the
/// folder meanwhile. The descriptor cannot read: closing one that can would drop SQLite's locks.
class ExaminedFolder
{
public:
    explicit ExaminedFolder(const QString& path);

    /// Of the folder itself for an empty name, and of a symbolic link and not what it leads to.
    /// Nothing if it does not exist or cannot be examined.
    std::optional<ExaminedFile> examine(const QString& name = {}) const;

private:
    FileDescriptor descriptor;
};

/// The permissions of a file in octal digits such as "0600"; of the link itself if it is one. Empty
/// if the file does not exist, or on a system whose permissions are no such number.
QString permissionsOf(const QString& path);

/// Takes all rights to a file or folder from users other than the owner.
bool closeToOthers(const QString& path);

enum class RightsChange {
    Use,           ///< The user may use it.
    NoOtherWriter, ///< Nobody else may change it.
    UserAlone,     ///< Nobody else may use it.
};

/// The command with which the user changes the rights to the file `{name}` in a shell.
QString shellCommandFor(RightsChange change);

/// The id of the user whose rights this process has: a number, or on Windows a SID as text.
QString currentUser();

/// True for root, and on Windows for the system and the administrators.
bool isSystemUser(const QString& user);

} // namespace sync::base
