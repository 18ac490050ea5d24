#include <velmioctl/tree/RootFolders.h>

#include <config/FolderConfigManager.h>
#include <core/PathHelpers.h>
#include <velmioctl/cli/Text.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using sync::config::FolderConfigManager;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

bool liesBelow(const QString& parent, const QString& path)
{
    return sync::core::IsParentPath(parent.toCaseFolded(), path.toCaseFolded());
}

} // namespace

QString described(const FolderConfiguration& folder)
{
    return u"%1 (id %2)"_s.arg(quoted(folder.getClientPath()), QString::number(folder.getId()));
}

QVector<FolderConfiguration> rootsAround(
    FolderConfigManager& folders, const QString& path, int signIn)
{
    QVector<FolderConfiguration> around;
    for (const FolderConfiguration& root : folders.GetAllRootFolders()) {
        if (signIn >= 0 && root.getAuthenticationId() != signIn)
            continue;
        const QString rootPath = root.getClientPath();
        if (rootPath.compare(path, Qt::CaseInsensitive) == 0 || liesBelow(rootPath, path))
            around += root;
    }
    std::stable_sort(
        around.begin(), around.end(),
        [](const FolderConfiguration& left, const FolderConfiguration& right) {
            return left.getClientPath().size() > right.getClientPath().size();
        });
    return around;
}

QVector<FolderConfiguration> rootsBelow(FolderConfigManager& folders, const QString& path)
{
    QVector<FolderConfiguration> below;
    for (const FolderConfiguration& root : folders.GetAllRootFolders()) {
        if (liesBelow(path, root.getClientPath()))
            below += root;
    }
    return below;
}

bool serverPathsOverlap(const QString& one, const QString& other)
{
    const QString& shorter = one.size() <= other.size() ? one : other;
    const QString& longer = one.size() <= other.size() ? other : one;
    if (shorter.isEmpty() || !longer.startsWith(shorter, Qt::CaseInsensitive))
        return false;
    return shorter.size() == longer.size() || shorter.endsWith(u'/') ||
           longer.at(shorter.size()) == u'/';
}

} // namespace velmioctl
