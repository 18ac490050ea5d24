#include "WriteOperations.h"

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace sync::test {

namespace {

/// Finds no file of the same path, as the manager does when the lookup fails.
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
        {u"ServerConfigManager::Add"_s,
         [](Managers& managers) {
             ServerConfiguration server = sampleServer(u"added"_s);
             return managers.servers.Add(server);
         }},
        {u"ServerConfigManager::Update"_s,
         [changed](Managers& managers) { return managers.servers.Update(changed); }},
        {u"ServerConfigManager::Remove"_s,
         [](Managers& managers) { return managers.servers.Remove(1); }},
    };
}

QList<WriteOperation> productOperations(Managers& samples)
{
    ProductConfiguration changed = samples.products.GetProductConfigurationById(1);
    changed.setName(u"changed"_s);
    return {
        {u"ProductConfigManager::Add"_s,
         [](Managers& managers) {
             ProductConfiguration product;
             product.setName(u"added"_s);
             product.setConsumerKey(u"added key"_s);
             return managers.products.Add(product);
         }},
        {u"ProductConfigManager::Update"_s,
         [changed](Managers& managers) { return managers.products.Update(changed); }},
        {u"ProductConfigManager::Remove"_s,
         [](Managers& managers) { return managers.products.Remove(1); }},
    };
}

QList<WriteOperation> signInOperations(Managers& samples)
{
    AuthenticationConfiguration changed = samples.signIns.GetAuthenticationConfigurationById(1);
    changed.setUserName(u"changed"_s);
    return {
        {u"AuthenticationConfigManager::Add"_s,
         [](Managers& managers) {
             AuthenticationConfiguration signIn;
             signIn.setDomain(u"added"_s);
             signIn.setPassword(u"sample added"_s);
             return managers.signIns.Add(signIn);
         }},
        {u"AuthenticationConfigManager::Update"_s,
         [changed](Managers& managers) { return managers.signIns.Update(changed); }},
        {u"AuthenticationConfigManager::Remove"_s,
         [](Managers& managers) { return managers.signIns.Remove(1); }},
        {u"AuthenticationConfigManager::UpdatePassword"_s,
         [](Managers& managers) {
             return managers.signIns.UpdatePassword(
                        u"domain"_s, u"user 2"_s, u"sample changed"_s) == 1;
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
         [](Managers& managers) {
             FolderConfiguration folder = sampleFolder(u"/velmio-samples/a/added"_s, 1, 1);
             return managers.folders->Add(folder);
         }},
        {u"FolderConfigManager::Add of a root"_s,
         [](Managers& managers) {
             FolderConfiguration folder = sampleFolder(u"/velmio-samples/added"_s, 0, -1);
             return managers.folders->Add(folder);
         }},
        {u"FolderConfigManager::AddFolderAndParent"_s,
         [root](Managers& managers) {
             const QString path = u"/velmio-samples/a/new/deep"_s;
             return managers.folders->AddFolderAndParent(path, root).getId() != -1;
         },
         true},
        {u"FolderConfigManager::Update"_s,
         [changed](Managers& managers) { return managers.folders->Update(changed); }},
        {u"FolderConfigManager::Remove"_s,
         [](Managers& managers) { return managers.folders->Remove(4); }},
        {u"FolderConfigManager::Clean"_s,
         [](Managers& managers) { return managers.folders->Clean(2); }, true},
        {u"FolderConfigManager::CleanRootFolder"_s,
         [](Managers& managers) { return managers.folders->CleanRootFolder(1); }, true},
        {u"FolderConfigManager::_RemoveFileConfigurationsByRootId"_s,
         [](Managers& managers) { return managers.folders->CleanRootFolder(77); }},
        {u"FolderConfigManager::_RemoveFolderConfigurationsByRootId"_s,
         [](Managers& managers) { return managers.folders->CleanRootFolder(78); }},
    };
}

QList<WriteOperation> fileOperations(Managers& samples)
{
    FileConfiguration changed = samples.files.GetFileConfigurationById(1);
    changed.setServerPath(u"/changed"_s);
    return {
        {u"FileConfigManager::Add"_s,
         [](Managers& managers) {
             FileConfiguration file = sampleFile(u"/velmio-samples/a/added"_s, 1, 1);
             return managers.files.Add(file);
         }},
        {u"FileConfigManager::Add of a stored path"_s,
         [changed](Managers& managers) { return addFile(managers.files, changed); }, false, true,
         [changed](Managers& managers) {
             BlindFileManager files(managers.factory, nullptr, nullptr, managers.folders);
             return addFile(files, changed);
         }},
        {u"FileConfigManager::Update"_s,
         [changed](Managers& managers) { return managers.files.Update(changed); }},
        {u"FileConfigManager::_Remove"_s,
         [](Managers& managers) {
             return managers.files.RemoveFileConfigurationAndLinkedConfigurations(2);
         }},
        {u"FileConfigManager::RemoveFileConfigurationAndLinkedConfigurations"_s,
         [](Managers& managers) {
             return managers.files.RemoveFileConfigurationAndLinkedConfigurations(3);
         },
         true},
        {u"FileConfigManager::_RemoveGeneratedFileConfigurationsByParentFileId"_s,
         [](Managers& managers) {
             return managers.files.RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(
                 1, FileSyncing);
         },
         false, false},
        {u"FileConfigManager::RemoveGeneratedFileConfiguration"_s,
         [](Managers& managers) { return managers.files.RemoveGeneratedFileConfiguration(1); }},
        {u"FileConfigManager::RemoveBaseFileConfiguration"_s,
         [](Managers& managers) { return managers.files.RemoveBaseFileConfiguration(1); }},
        {u"FileConfigManager::RemoveByFolderConfigurationId"_s,
         [](Managers& managers) { return managers.files.RemoveByFolderConfigurationId(2); }},
        {u"FileConfigManager::RemoveByRootFolderId"_s,
         [](Managers& managers) { return managers.files.RemoveByRootFolderId(1); }},
        {u"FileConfigManager::RemoveGeneratedFileConfigurationsByRootFolderId"_s,
         [](Managers& managers) {
             return managers.files.RemoveGeneratedFileConfigurationsByRootFolderId(1);
         }},
        {u"FileConfigManager::UpdateSyncStatusFromSyncingToNotSynced"_s,
         [](Managers& managers) {
             return managers.files.UpdateSyncStatusFromSyncingToNotSynced(2);
         }},
    };
}

QList<WriteOperation> scheduleOperations(Managers& samples)
{
    ScheduleEntry changed = samples.schedules.GetDefaultScheduleEntry();
    changed.setSyncInterval(45);
    return {
        {u"ScheduleEntryManager::Update"_s,
         [changed](Managers& managers) { return managers.schedules.Update(changed); }},
        {u"ScheduleEntryManager::Remove"_s,
         [](Managers& managers) { return managers.schedules.Remove(2); }},
    };
}

QList<WriteOperation> hostTransactions()
{
    return {
        {u"FileConfigManager::transaction and commit"_s,
         [](Managers& managers) {
             if (!managers.files.transaction())
                 return false;
             ServerConfiguration server = sampleServer(u"added"_s);
             FileConfiguration file = sampleFile(u"/velmio-samples/a/added"_s, 1, 1);
             if (managers.servers.Add(server) && managers.files.Add(file) &&
                 managers.folders->CleanRootFolder(5))
                 return managers.files.commit();
             managers.files.rollback();
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
