#include <base/Ownership.h>

using namespace Qt::StringLiterals;

namespace sync::base {

bool hasTrustedOwner(const FileRights& rights, const QString& storeOwner)
{
    const QString user = currentUser();
    return rights.owner == user || isSystemUser(rights.owner) ||
           (isSystemUser(user) && rights.owner == storeOwner);
}

QString ownerFinding(const QString& path, const FileRights& rights, const QString& storeOwner)
{
    if (hasTrustedOwner(rights, storeOwner))
        return {};
    return u"%1 belongs to the user with the id %2. Remove it if you do not know it"_s.arg(
        path, rights.owner);
}

QString writersFinding(const QString& path, const FileRights& rights)
{
    if (!rights.othersMayWrite)
        return {};
    return u"others may write to %1. Take that right away, or use a folder of your own"_s.arg(path);
}

} // namespace sync::base
