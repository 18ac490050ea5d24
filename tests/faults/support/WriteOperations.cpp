#include "WriteOperations.h"

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace sync::test {

namespace {

/// Never finds a file of the same path, like the manager when its lookup fails.
class BlindFileManager : public FileConfigManager
{
public:
    using FileConfigManager::FileConfigManager;

    QVector<FileConfiguration> GetAllFileConfigurationsByClientPath(QString) override { return {}; }
};

bool addFile(FileConfigManager& files, FileConfiguration file)
{
    return files.Add(file);
}

QList<WriteOperation> serverOperations(Managers& samples)
{
    ServerConfiguration changed = samples.servers.GetServerConfigById(1);
    changed.setAlias(u"changed"_s);
    return {
        {u"ServerConfigManager::Add"_s, [](Managers& m) { return m.addServer(u"added"_s); }},
        {u"ServerConfigManager::Update"_s,
         [changed](Managers& m) { return m.servers.Update(changed); }},
        {u"ServerConfigManager::Remove"_s, [](Managers& m) { return m.servers.Remove(1); }},
    };
}

QList<WriteOperation> productOperations(Managers& samples)
{
    ProductConfiguration changed = samples.products.GetProductConfigurationById(1);
    changed.setName(u"changed"_s);
    return {
        {u"ProductConfigManager::Add"_s,
         [](Managers& m) {
             ProductConfiguration product;
             product.setName(u"added"_s);
             product.setConsumerKey(u"added key"_s);
             return m.products.Add(product);
         }},
        {u"ProductConfigManager::Update"_s,
         [changed](Managers& m) { return m.products.Update(changed); }},
        {u"ProductConfigManager::Remove"_s, [](Managers& m) { return m.products.Remove(1); }},
    };
}

QList<WriteOperation> signInOperations(Managers& samples)
{
    AuthenticationConfiguration changed = samples.signIns.GetAuthenticationConfigurationById(1);
    changed.setUserName(u"changed"_s);
    return {
        {u"AuthenticationConfigManager::Add"_s,
         [](Managers& m) {
             AuthenticationConfiguration signIn;
             signIn.setDomain(u"added"_s);
             signIn.setPassword(u"sample added"_s);
             return m.signIns.Add(signIn);
         }},
        {u"AuthenticationConfigManager::Update"_s,
         [changed](Managers& m) { return m.signIns.Update(changed); }},
        {u"AuthenticationConfigManager::Remove"_s, [](Managers& m) { return m.signIns.Remove(1); }},
        {u"AuthenticationConfigManager::UpdatePassword"_s,
         [](Managers& m) {
             return m.signIns.UpdatePassword(u"domain"_s, u"user 2"_s, u"sample changed"_s) == 1;
         }},
    };
}

QList<WriteOperation> folderOperations(Managers& samples)
{
    FolderConfiguration changed = samples.folders->GetFolderConfigurationById(2);
    changed.setServerPath(u"/changed"_s);
    const FolderConfiguration root = samples.folders->GetFolderConfigurationById(1);
    return {
        {u"FolderConfigManager::Add"_s,
         [](Managers& m) { return m.addFolder(u"/velmio-samples/a/added"_s, 1, 1); }},
        {u"FolderConfigManager::Add of a root"_s,
         [](Managers& m) { return m.addFolder(u"/velmio-samples/added"_s, 0, -1); }},
        {u"FolderConfigManager::AddFolderAndParent"_s,
         [root](Managers& m) {
             const QString path = u"/velmio-samples/a/new/deep"_s;
             return m.folders->AddFolderAndParent(path, root).getId() != -1;
         },
         true},
        {u"FolderConfigManager::Update"_s,
         [changed](Managers& m) { return m.folders->Update(changed); }},
        {u"FolderConfigManager::Remove"_s, [](Managers& m) { return m.folders->Remove(4); }},
        {u"FolderConfigManager::Clean"_s, [](Managers& m) { return m.folders->Clean(2); }, true},
        {u"FolderConfigManager::CleanRootFolder"_s,
         [](Managers& m) { return m.folders->CleanRootFolder(1); }, true},
        {u"FolderConfigManager::_RemoveFileConfigurationsByRootId"_s,
         [](Managers& m) { return m.folders->CleanRootFolder(77); }},
        {u"FolderConfigManager::_RemoveFolderConfigurationsByRootId"_s,
         [](Managers& m) { return m.folders->CleanRootFolder(78); }},
    };
}

QList<WriteOperation> fileOperations(Managers& samples)
{
    FileConfiguration changed = samples.files.GetFileConfigurationById(1);
    changed.setServerPath(u"/changed"_s);
    return {
        {u"FileConfigManager::Add"_s,
         [](Managers& m) { return m.addFile(u"/velmio-samples/a/added"_s, 1, 1); }},
        {u"FileConfigManager::Add of a stored path"_s,
         [changed](Managers& m) { return addFile(m.files, changed); }, false, true,
         [changed](Managers& m) {
             BlindFileManager files(m.factory, nullptr, nullptr, m.folders);
             return addFile(files, changed);
         }},
        {u"FileConfigManager::Update"_s,
         [changed](Managers& m) { return m.files.Update(changed); }},
        {u"FileConfigManager::_Remove"_s,
         [](Managers& m) { return m.files.RemoveFileConfigurationAndLinkedConfigurations(2); }},
        {u"FileConfigManager::RemoveFileConfigurationAndLinkedConfigurations"_s,
         [](Managers& m) { return m.files.RemoveFileConfigurationAndLinkedConfigurations(3); },
         true},
        {u"FileConfigManager::_RemoveGeneratedFileConfigurationsByParentFileId"_s,
         [](Managers& m) {
             return m.files.RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(
                 1, FileSyncing);
         },
         false, false},
        {u"FileConfigManager::RemoveGeneratedFileConfiguration"_s,
         [](Managers& m) { return m.files.RemoveGeneratedFileConfiguration(1); }},
        {u"FileConfigManager::RemoveBaseFileConfiguration"_s,
         [](Managers& m) { return m.files.RemoveBaseFileConfiguration(1); }},
        {u"FileConfigManager::RemoveByFolderConfigurationId"_s,
         [](Managers& m) { return m.files.RemoveByFolderConfigurationId(2); }},
        {u"FileConfigManager::RemoveByRootFolderId"_s,
         [](Managers& m) { return m.files.RemoveByRootFolderId(1); }},
        {u"FileConfigManager::RemoveGeneratedFileConfigurationsByRootFolderId"_s,
         [](Managers& m) { return m.files.RemoveGeneratedFileConfigurationsByRootFolderId(1); }},
        {u"FileConfigManager::UpdateSyncStatusFromSyncingToNotSynced"_s,
         [](Managers& m) { return m.files.UpdateSyncStatusFromSyncingToNotSynced(2); }},
    };
}

QList<WriteOperation> scheduleOperations(Managers& samples)
{
    ScheduleEntry changed = samples.schedules.GetDefaultScheduleEntry();
    changed.setSyncInterval(45);
    return {
        {u"ScheduleEntryManager::Update"_s,
         [changed](Managers& m) { return m.schedules.Update(changed); }},
        {u"ScheduleEntryManager::Remove"_s, [](Managers& m) { return m.schedules.Remove(2); }},
    };
}

QList<WriteOperation> hostTransactions()
{
    return {
        {u"FileConfigManager::transaction and commit"_s,
         [](Managers& m) {
             if (!m.files.transaction())
                 return false;
             if (m.addServer(u"added"_s) && m.addFile(u"/velmio-samples/a/added"_s, 1, 1) &&
                 m.folders->CleanRootFolder(5))
                 return m.files.commit();
             m.files.rollback();
             return false;
         }},
    };
}

} // namespace

QList<WriteOperation> writeOperations(Managers& samples)
{
    return serverOperations(samples) + productOperations(samples) + signInOperations(samples) +
           folderOperations(samples) + fileOperations(samples) + scheduleOperations(samples) +
           hostTransactions();
}

} // namespace sync::test
