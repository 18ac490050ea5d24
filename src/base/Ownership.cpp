#include <base/Ownership.h>

#include <QFile>

#include <array>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <string_view>

using namespace Qt::StringLiterals;

namespace sync::base {

namespace {

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

bool hasTrustedOwner(const struct stat& status, uid_t owner)
{
    const uid_t user = ::geteuid();
    return status.st_uid == user || status.st_uid == 0 || (user == 0 && status.st_uid == owner);
}

QString ownerFinding(const QString& path, const struct stat& status, uid_t owner)
{
    if (hasTrustedOwner(status, owner))
        return {};
    return u"%1 belongs to the user with the id %2. Remove it if you do not know it"_s.arg(
        path, QString::number(status.st_uid));
}

QString writersFinding(const QString& path, const struct stat& status)
{
    if (!othersMayWrite(status))
        return {};
    return u"others may write to %1. Take that right away, or use a folder of your own"_s.arg(path);
}

ExaminedFolder::ExaminedFolder(const QString& path)
    : descriptor(::open(QFile::encodeName(path).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC))
{
}

std::optional<struct stat> ExaminedFolder::status(const QString& name) const
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

} // namespace sync::base
