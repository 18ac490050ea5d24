#include <base/Folders.h>

#include <base/FileError.h>
#include <base/system/FolderEntries.h>

#include <QFileInfo>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace sync::base {

void createFolders(const QString& folder)
{
    const QString parent = QFileInfo(folder).path();
    if (!QFileInfo::exists(folder)) {
        createFolders(parent);
        if (!createOwnFolder(folder) && errno != EEXIST)
            throw FileError(folder, u"Cannot create the folder"_s, errno);
    }
    // Also if it exists: the process that made it may not have synced it yet, or not any more.
    syncFolder(parent);
}

void syncFolder(const QString& folder)
{
    if (!syncEntries(folder))
        throw FileError(folder, u"Cannot sync the folder"_s, errno);
}

} // namespace sync::base
