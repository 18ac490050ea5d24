#include <velmioctl/records/FolderPaths.h>

#include <config/FolderConfigManager.h>
#include <core/Constants.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/RootFolders.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

void requireDirectory(const QString& path, const QString& remedy)
{
    const QFileInfo file(path);
    if (!file.exists()) {
        throw CommandError(
            ExitCode::NotFound, u"The directory %1 does not exist. "_s.arg(quoted(path)) + remedy);
    }
    if (!file.isDir()) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 is not a directory. Give the directory to synchronise."_s.arg(quoted(path)));
    }
}

void refuseOverlap(Session& session, const QString& path, int exceptRoot)
{
    auto& folders = session.folders();
    const auto others = [exceptRoot](QVector<FolderConfiguration> roots) {
        roots.removeIf([exceptRoot](const auto& root) { return root.getId() == exceptRoot; });
        return roots;
    };
    if (path.contains(sync::core::consts::TEMP_FOLDER_NAME, Qt::CaseInsensitive)) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 is in the client's scratch folder, which is never synchronised. Choose another "
            u"directory."_s.arg(quoted(path)));
    }
    const auto around = others(rootsAround(folders, path));
    const auto below = others(rootsBelow(folders, path));
    session.database().check();
    if (!around.isEmpty()) {
        const FolderConfiguration& root = around.first();
        if (root.getClientPath() == path) {
            throw CommandError(
                ExitCode::Usage,
                u"%1 is a root folder already. Change it with 'velmioctl folder set %2'."_s.arg(
                    described(root), QString::number(root.getId())));
        }
        throw CommandError(
            ExitCode::Usage,
            u"%1 is already in the root folder %2. Choose a directory outside of it, or remove "
            u"that root with 'velmioctl folder clean'."_s.arg(quoted(path), described(root)));
    }
    if (!below.isEmpty()) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 contains the root folder %2. Choose another directory, or remove that root with "
            u"'velmioctl folder clean'."_s.arg(quoted(path), described(below.first())));
    }
}

} // namespace velmioctl
