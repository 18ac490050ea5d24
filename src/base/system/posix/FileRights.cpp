#include <base/system/FileRights.h>

#include <base/system/posix/Rights.h>

#include <array>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::base {

namespace {

constexpr mode_t PermissionBits = 07777;
constexpr mode_t GroupAndOthers = S_IRWXG | S_IRWXO;

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

FileRights rightsOf(mode_t mode, uid_t userId, gid_t groupId)
{
    return {
        QString::number(userId),
        (mode & S_IWOTH) != 0 || ((mode & S_IWGRP) != 0 && !isOwnGroup(groupId, userId)),
        (mode & GroupAndOthers) != 0};
}

QString permissionsOf(const QString& path)
{
    struct stat status
    {
    };
    if (path.isEmpty() || ::lstat(path.toUtf8().constData(), &status) != 0)
        return {};
    return u"%1"_s.arg(uint(status.st_mode & PermissionBits), 4, 8, QChar(u'0'));
}

bool closeToOthers(const QString& path)
{
    const QByteArray name = path.toUtf8();
    struct stat status
    {
    };
    return ::lstat(name.constData(), &status) == 0 && !S_ISLNK(status.st_mode) &&
           ::chmod(name.constData(), status.st_mode & PermissionBits & ~GroupAndOthers) == 0;
}

QString shellCommandFor(RightsChange change)
{
    switch (change) {
    case RightsChange::Use:
        return u"chmod u+rw \"{name}\""_s;
    case RightsChange::NoOtherWriter:
        return u"chmod go-w \"{name}\""_s;
    case RightsChange::UserAlone:
        break;
    }
    return u"chmod go= \"{name}\""_s;
}

QString currentUser()
{
    return QString::number(::geteuid());
}

bool isSystemUser(const QString& user)
{
    return user == u"0";
}

} // namespace sync::base
