#include <database/opening/StoreAccess.h>

#include <base/FileDescriptor.h>
#include <database/DatabaseError.h>

#include <QFile>
#include <QFileInfo>

#include <array>
#include <fcntl.h>
#include <grp.h>
#include <optional>
#include <pwd.h>
#include <string_view>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

constexpr std::array Suffixes{u"", u"-wal", u"-shm", u"-journal"};

/// A folder and files in it, examined through one descriptor, so that nobody can exchange the
/// folder meanwhile. The descriptor cannot read: closing one that can would drop SQLite's locks.
class Folder
{
public:
    explicit Folder(const QString& path)
        : descriptor(::open(QFile::encodeName(path).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC))
    {
    }

    /// Of the folder itself for an empty name; nothing if it does not exist or cannot be examined.
    std::optional<struct stat> status(const QString& name = {}) const
    {
        struct stat found
        {
        };
        if (::fstatat(
                descriptor.get(), QFile::encodeName(name).constData(), &found,
                AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH) != 0)
            return {};
        return found;
    }

private:
    base::FileDescriptor descriptor;
};

[[noreturn]] void refuse(const QString& path, const QString& finding)
{
    throw DatabaseError(
        DatabaseError::Cause::Untrusted,
        u"The database %1 is not opened, because another user could have changed it: %2."_s.arg(
            path, finding));
}

// Without other members. Names are compared, because the members by their primary group cannot be
// listed everywhere.
bool isOwnGroup(gid_t groupId, uid_t userId)
{
    std::array<char, 16384> groupTexts;
    std::array<char, 16384> userTexts;
    struct group group
    {
    };
    struct group* foundGroup = nullptr;
    passwd user{};
    passwd* foundUser = nullptr;
    ::getgrgid_r(groupId, &group, groupTexts.data(), groupTexts.size(), &foundGroup);
    ::getpwuid_r(userId, &user, userTexts.data(), userTexts.size(), &foundUser);
    if (!foundGroup || !foundUser || user.pw_gid != groupId ||
        std::string_view(user.pw_name) != group.gr_name)
        return false;
    char* const* const members = group.gr_mem;
    return !members[0] || (std::string_view(members[0]) == user.pw_name && !members[1]);
}

} // namespace

bool othersMayWrite(const struct stat& status)
{
    if ((status.st_mode & S_IWOTH) != 0)
        return true;
    return (status.st_mode & S_IWGRP) != 0 && !isOwnGroup(status.st_gid, status.st_uid);
}

bool hasTrustedOwner(const struct stat& status, uid_t storeOwner)
{
    const uid_t user = ::geteuid();
    return status.st_uid == user || status.st_uid == 0 ||
           (user == 0 && status.st_uid == storeOwner);
}

void requireTrusted(const QString& path, Trust trust)
{
    const QFileInfo file(path);
    const Folder folder(file.path());
    const auto folderStatus = folder.status();
    if (trust == Trust::Everybody || !folderStatus)
        return;
    const uid_t owner = folder.status(file.fileName()).value_or(*folderStatus).st_uid;

    const auto check = [&](const QString& name, const struct stat& status) {
        const bool isOfOwner = trust == Trust::StoreOwner && status.st_uid == owner;
        if (!isOfOwner && !hasTrustedOwner(status, owner))
            refuse(
                path,
                u"%1 belongs to the user with the id %2. Remove it if you do not know it"_s.arg(
                    name, QString::number(status.st_uid)));
        if (trust == Trust::Owner && othersMayWrite(status))
            refuse(
                path, u"others may write to %1. Take that right away, or move the database to a "
                      u"folder of your own"_s.arg(name));
    };
    for (const auto* const suffix : Suffixes) {
        const QString name = file.path() + u'/' + file.fileName() + QString::fromUtf16(suffix);
        const auto status = folder.status(QFileInfo(name).fileName());
        if (status)
            check(name, *status);
    }
    if (trust == Trust::Owner)
        check(file.path(), *folderStatus);
}

} // namespace sync::database
