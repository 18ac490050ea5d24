#include "StoreModel.h"

#include <core/PathHelpers.h>

#include <QDir>
#include <QFileInfo>
#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace sync::test {

namespace {

QDateTime relabelled(QDateTime time, Qt::TimeSpec label)
{
    time.setTimeSpec(label);
    return time;
}

QString withoutSlash(QString url)
{
    if (url.endsWith(u'/'))
        url.chop(1);
    return url;
}

FolderConfiguration asRead(FolderConfiguration folder)
{
    folder.setLastOperationTime(relabelled(folder.getLastOperationTime(), Qt::UTC));
    folder.setLastSyncTime(folder.getLastSyncTime());
    folder.setLastServerSyncRequestTime({});
    folder.resetSyncStatusChanged();
    return folder;
}

// The XML of links holds the date to the second, and no link without a target.
void takeLinksAsRead(FileConfiguration& file)
{
    QList<FileLink> links = file.getFileLinks();
    QDateTime date = file.getFileLinksDate();
    const bool stored = !links.isEmpty() || date.isValid();
    links.removeIf([](const FileLink& link) { return link.isEmpty(); });
    file.setFileLinks(links);
    if (date.isValid())
        date = QDateTime::fromString(date.toString(Qt::ISODate), Qt::ISODate);
    file.setFileLinksDate(
        stored ? relabelled(date, Qt::UTC) : FileConfiguration().getFileLinksDate());
}

FileConfiguration asRead(FileConfiguration file)
{
    file.setCreatedDateTime(relabelled(file.getCreatedDateTime(), Qt::UTC));
    file.setLastModifiedDateTime(relabelled(file.getLastModifiedDateTime(), Qt::UTC));
    file.setLastOperationTime(relabelled(file.getLastOperationTime(), Qt::UTC));
    takeLinksAsRead(file);
    file.resetSyncStatusChanged();
    file.setClientTag(0);
    return file;
}

ScheduleEntry asRead(ScheduleEntry schedule)
{
    schedule.setStartTime(relabelled(schedule.getStartTime(), Qt::LocalTime));
    schedule.setExpireTime(relabelled(schedule.getExpireTime(), Qt::LocalTime));
    return schedule;
}

template <class Record, class Matches>
int firstOf(const Rows<Record>& rows, Matches matches)
{
    const auto found = std::find_if(
        rows.begin(), rows.end(), [&matches](const auto& row) { return matches(row.second); });
    return found == rows.end() ? -1 : found->first;
}

template <class Record, class Matches>
void removeWhere(Rows<Record>& rows, Matches matches)
{
    std::erase_if(rows, [&matches](const auto& row) { return matches(row.second); });
}

template <class Record>
void replace(Rows<Record>& rows, int id, const Record& record)
{
    const auto found = rows.find(id);
    if (found != rows.end())
        found->second = record;
}

} // namespace

StoreModel::StoreModel()
{
    // A new store has the default schedule.
    addSchedule(ScheduleEntry());
}

int StoreModel::addServer(ServerConfiguration server)
{
    server.setAlias(server.getAlias()); // as computed
    server.setDavUrl(withoutSlash(server.getDavUrl()));
    server.setWebServiceUrl(withoutSlash(server.getWebServiceUrl()));
    servers.insert({nextServer, server});
    return nextServer++;
}

void StoreModel::updateServer(int id, const ServerConfiguration& server)
{
    replace(servers, id, server);
}

int StoreModel::addProduct(ProductConfiguration product)
{
    products.insert({nextProduct, product});
    return nextProduct++;
}

void StoreModel::updateProduct(int id, ProductConfiguration product)
{
    product.setConsumerSecret({});
    replace(products, id, product);
}

int StoreModel::addSignIn(const AuthenticationConfiguration& signIn)
{
    signIns.insert({nextSignIn, signIn});
    return nextSignIn++;
}

void StoreModel::updateSignIn(const AuthenticationConfiguration& signIn)
{
    replace(signIns, signIn.getId(), signIn);
}

int StoreModel::updatePassword(
    const QString& domain, const QString& userName, const QString& password)
{
    int updated = 0;
    for (auto& [id, signIn] : signIns) {
        if (signIn.getDomain() != domain || signIn.getUserName() != userName)
            continue;
        signIn.setPassword(password);
        ++updated;
    }
    return updated;
}

int StoreModel::addFolder(FolderConfiguration folder)
{
    if (folder.getParentId() == -1 || (!folder.isRoot() && folder.getRootId() == -1))
        return -1;
    if (folder.getRootId() == -1)
        folder.setRootId(nextFolder);
    folders.insert({nextFolder, asRead(folder)});
    return nextFolder++;
}

void StoreModel::updateFolder(int id, const FolderConfiguration& folder)
{
    replace(folders, id, asRead(folder));
}

int StoreModel::addFolderAndParent(
    const QString& absolutePath, int rootId, const FolderConfiguration& root)
{
    if (absolutePath.isEmpty())
        return -1;
    const QString path = QDir::cleanPath(absolutePath);
    if (const int known = folderOfPath(path); known != -1)
        return known;
    const QString above = QDir::cleanPath(QFileInfo(path).absolutePath());
    if (above.compare(path, Qt::CaseInsensitive) == 0)
        return -1;

    const QString serverPath =
        core::GetServerPath(path, root.getClientPath(), root.getServerPath());
    FolderConfiguration folder;
    folder.setParentId(addFolderAndParent(above, rootId, root));
    folder.setAuthenticationId(root.getAuthenticationId());
    folder.setProductConfigurationId(root.getProductConfigurationId());
    folder.setRootId(rootId);
    folder.setName(QFileInfo(path).fileName());
    folder.setRemoteShortKey(root.getRemoteShortKey());
    folder.setRemoteLongKey(serverPath);
    folder.setClientPath(path);
    folder.setServerPath(serverPath);
    folder.setSyncStatus(FolderCreated);
    return addFolder(folder);
}

void StoreModel::cleanFolder(int id)
{
    QList<int> children;
    for (const auto& [childId, folder] : folders) {
        if (folder.getParentId() == id)
            children.append(childId);
    }
    for (const int child : std::as_const(children))
        cleanFolder(child);
    folders.erase(id);
    removeFilesOfFolder(id);
}

void StoreModel::cleanRootFolder(int id)
{
    folders.erase(id);
    removeFilesOfRoot(id);
    removeWhere(folders, [id](const auto& folder) { return folder.getRootId() == id; });
}

bool StoreModel::addFile(FileConfiguration& file)
{
    if (file.getClientPath().isEmpty())
        return false;
    const int duplicate = firstOf(files[OrdinaryFile], [&file](const FileConfiguration& stored) {
        return stored.getClientPath() == file.getClientPath() &&
               stored.getFolderConfigurationId() == file.getFolderConfigurationId();
    });
    if (duplicate != -1) {
        file.setId(duplicate);
        return updateFile(file);
    }
    const auto type = static_cast<std::size_t>(file.getFileType());
    if (type >= files.size())
        return false;
    addFileLinks(file);
    file.setId(nextFile[type]++);
    files[type].insert({file.getId(), asRead(file)});
    return true;
}

bool StoreModel::updateFile(FileConfiguration file)
{
    const auto type = static_cast<std::size_t>(file.getFileType());
    if (type >= files.size())
        return false;
    addFileLinks(file);
    replace(files[type], file.getId(), asRead(file));
    return true;
}

void StoreModel::removeFileAndLinked(int id)
{
    const auto belongsToIt = [id](const FileConfiguration& file) {
        return file.getParentFileId() == id;
    };
    files[BaseFile].erase(firstOf(files[BaseFile], belongsToIt));
    removeWhere(files[GeneratedFile], belongsToIt);
    files[OrdinaryFile].erase(id);
}

void StoreModel::removeFilesOfFolder(int folderId)
{
    removeWhere(files[OrdinaryFile], [folderId](const FileConfiguration& file) {
        return file.getFolderConfigurationId() == folderId;
    });
}

void StoreModel::removeFilesOfRoot(int rootId)
{
    removeWhere(files[OrdinaryFile], [rootId](const FileConfiguration& file) {
        return file.getRootFolderId() == rootId;
    });
}

void StoreModel::removeGeneratedOfRoot(int rootId)
{
    removeWhere(files[GeneratedFile], [rootId](const FileConfiguration& file) {
        return file.getRootFolderId() == rootId;
    });
}

void StoreModel::removeGeneratedOfRootAndStatus(int rootId, FileSynchronizationStatus status)
{
    QList<int> matching; // listed before the first of them goes
    for (const auto& [id, file] : files[GeneratedFile]) {
        if (file.getRootFolderId() == rootId && file.getSyncStatus() == status)
            matching.append(id);
    }
    removeWhere(files[GeneratedFile], [&matching](const FileConfiguration& file) {
        return matching.contains(file.getParentFileId());
    });
}

void StoreModel::resetSyncing(int folderId)
{
    for (auto& [id, file] : files[OrdinaryFile]) {
        if (file.getFolderConfigurationId() == folderId && file.getSyncStatus() == FileSyncing)
            file.setSyncStatus(FileNotSynced);
        file.resetSyncStatusChanged();
    }
}

int StoreModel::addSchedule(const ScheduleEntry& schedule)
{
    schedules.insert({nextSchedule, asRead(schedule)});
    return nextSchedule++;
}

void StoreModel::updateSchedule(int id, const ScheduleEntry& schedule)
{
    replace(schedules, id, asRead(schedule));
}

int StoreModel::folderOfPath(const QString& path) const
{
    return firstOf(folders, [&path](const FolderConfiguration& folder) {
        return folder.getClientPath() == path;
    });
}

int StoreModel::fileOfPath(const QString& path) const
{
    return firstOf(files[OrdinaryFile], [&path](const FileConfiguration& file) {
        return file.getClientPath() == path;
    });
}

int StoreModel::fileOfLink(const FileLink& link, const QString& basePath) const
{
    if (link.FileId != -1 && files[OrdinaryFile].contains(link.FileId))
        return link.FileId;
    return fileOfPath(core::RelativeToAbsolutePath(link.Path, basePath, true));
}

void StoreModel::addFileLinks(FileConfiguration& file)
{
    QList<FileLink> links = file.getFileLinks();
    for (FileLink& link : links) {
        const auto root = folders.find(file.getRootFolderId());
        const QString rootPath = root == folders.end() ? QString() : root->second.getClientPath();
        const QString absolutePath =
            core::RelativeToAbsolutePath(link.Path, file.getClientPath(), true);
        if (!core::IsParentPath(rootPath, absolutePath) || !QFileInfo::exists(absolutePath)) {
            link.FileId = -1;
            continue;
        }
        const int known = fileOfLink(link, file.getClientPath());
        if (known != -1) {
            link.FileId = known;
            link.ServerFileId = files[OrdinaryFile].at(known).getServerFileId();
        } else {
            link.FileId = registerLinkedFile(link, file, absolutePath);
        }
    }
    file.setFileLinks(links);
}

int StoreModel::registerLinkedFile(
    const FileLink& link, const FileConfiguration& file, const QString& absolutePath)
{
    const auto found = folders.find(file.getRootFolderId());
    const FolderConfiguration root = found == folders.end() ? FolderConfiguration() : found->second;
    const int rootId = found == folders.end() ? -1 : found->first;
    FileConfiguration linked;
    linked.setServerFileId(link.ServerFileId);
    linked.setName(QFileInfo(absolutePath).fileName());
    linked.setServerPath(
        core::GetMappedPath(absolutePath, root.getClientPath(), root.getServerPath(), true));
    linked.setSyncStatus(FileCreated);
    linked.setRootFolderId(file.getRootFolderId());
    linked.setFolderConfigurationId(
        addFolderAndParent(QFileInfo(absolutePath).absolutePath(), rootId, root));
    linked.setProductConfigurationId(file.getProductConfigurationId());
    linked.setClientPath(absolutePath);
    addFile(linked);
    return linked.getId();
}

} // namespace sync::test
