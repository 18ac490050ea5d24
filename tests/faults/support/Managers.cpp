#include "Managers.h"

#include <config/Sha256FileHash.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace sync::test {

namespace {

const QDateTime SampleTime(QDate(2024, 3, 1), QTime(10, 0, 0, 1), Qt::UTC);

bool addProducts(Managers& managers)
{
    for (const int number : {1, 2}) {
        ProductConfiguration product;
        product.setName(u"product %1"_s.arg(number));
        product.setConsumerKey(u"key %1"_s.arg(number));
        product.setConsumerSecret(u"sample %1"_s.arg(number));
        product.setServerId(number);
        if (!managers.products.Add(product))
            return false;
    }
    return true;
}

bool addSignIns(Managers& managers)
{
    for (const int number : {1, 2}) {
        AuthenticationConfiguration signIn;
        signIn.setDomain(u"domain"_s);
        signIn.setDomainId(u"domain id %1"_s.arg(number));
        signIn.setUserName(u"user %1"_s.arg(number));
        signIn.setPassword(u"sample %1"_s.arg(number));
        signIn.setServerId(number);
        if (!managers.signIns.Add(signIn))
            return false;
    }
    return true;
}

bool addFolders(Managers& managers)
{
    return managers.addFolder(u"/velmio-samples/a"_s, 0, -1) &&
           managers.addFolder(u"/velmio-samples/a/docs"_s, 1, 1) &&
           managers.addFolder(u"/velmio-samples/a/docs/old"_s, 2, 1) &&
           managers.addFolder(u"/velmio-samples/a/pics"_s, 1, 1) &&
           managers.addFolder(u"/velmio-samples/b"_s, 0, -1) &&
           managers.addFolder(u"/velmio-samples/b/x"_s, 5, 5) &&
           managers.addFolder(u"/velmio-samples/c"_s, 78, 78);
}

bool addFile(Managers& managers, FileConfiguration file, bool syncing)
{
    file.setSyncStatus(syncing ? FileSyncing : FileNotSynced);
    return managers.files.Add(file);
}

bool addFiles(Managers& managers)
{
    const auto add = [&managers](const QString& path, int folderId, int rootId) {
        const QString clientPath = u"/velmio-samples/"_s + path;
        return addFile(managers, sampleFile(clientPath, folderId, rootId), folderId == 2);
    };
    return add(u"a/one"_s, 1, 1) && add(u"a/two"_s, 1, 1) && add(u"a/docs/three"_s, 2, 1) &&
           add(u"a/docs/four"_s, 2, 1) && add(u"a/docs/old/five"_s, 3, 1) &&
           add(u"a/pics/six"_s, 4, 1) && add(u"b/x/seven"_s, 6, 5) && add(u"d/eight"_s, 70, 77);
}

bool addDependant(Managers& managers, int parentFileId, FileConfigurationType type)
{
    const QString path = u"/velmio-samples/dependants/%1 of %2"_s.arg(type).arg(parentFileId);
    FileConfiguration file = sampleFile(path, 1, 1);
    file.setFileType(type);
    file.setParentFileId(parentFileId);
    // The id of the first generated file is also the parent id of the third.
    return addFile(managers, file, parentFileId == 3);
}

bool addDependants(Managers& managers)
{
    return addDependant(managers, 3, GeneratedFile) && addDependant(managers, 4, GeneratedFile) &&
           addDependant(managers, 1, GeneratedFile) && addDependant(managers, 3, BaseFile) &&
           addDependant(managers, 1, BaseFile);
}

} // namespace

Managers::Managers(std::shared_ptr<database::SqliteDatabaseFactory> factory)
    : factory(factory)
    , servers(factory)
    , products(factory)
    , signIns(factory)
    , folders(std::make_shared<FolderConfigManager>(factory, nullptr))
    , files(factory, std::make_shared<Sha256FileHash>(), nullptr, folders)
    , schedules(factory)
{
}

Managers::Managers(const QString& path)
    : Managers(database::SqliteDatabaseFactory::open(path))
{
}

bool Managers::run(const QString& sql)
{
    const auto query = factory->CreateQuery();
    return query->prepare(sql) && query->exec();
}

bool Managers::addServer(const QString& alias)
{
    ServerConfiguration server = sampleServer(alias);
    return servers.Add(server);
}

bool Managers::addFolder(const QString& clientPath, int parentId, int rootId)
{
    FolderConfiguration folder = sampleFolder(clientPath, parentId, rootId);
    return folders->Add(folder);
}

bool Managers::addFile(const QString& clientPath, int folderId, int rootId)
{
    FileConfiguration file = sampleFile(clientPath, folderId, rootId);
    return files.Add(file);
}

bool fillWithSamples(Managers& managers)
{
    return managers.addServer(u"alpha"_s) && managers.addServer(u"beta"_s) &&
           managers.addServer(u"gamma"_s) && addProducts(managers) && addSignIns(managers) &&
           addFolders(managers) && addFiles(managers) && addDependants(managers) &&
           managers.run(u"INSERT INTO Schedules (folderConfigurationId, startTime) "
                        u"VALUES (1, '2024-03-01T10:00:00.000')"_s);
}

QByteArray brokenRule(Managers& managers)
{
    QMap<int, int> rootOfFolder;
    const auto folders = managers.folders->GetAll();
    for (const FolderConfiguration& folder : folders) {
        rootOfFolder.insert(folder.getId(), folder.getRootId());
        if (folder.isRoot() && folder.getRootId() != folder.getId())
            return "a root folder does not have its own id as root id";
    }
    for (const FolderConfiguration& folder : folders) {
        if (!folder.isRoot() && rootOfFolder.value(folder.getParentId()) != folder.getRootId())
            return "a folder and its parent are in different trees";
    }
    const auto files = managers.files.GetAll();
    for (const FileConfiguration& file : files) {
        if (rootOfFolder.value(file.getFolderConfigurationId()) != file.getRootFolderId())
            return "a file and its folder are in different trees";
    }
    return {};
}

FolderConfiguration sampleFolder(const QString& clientPath, int parentId, int rootId)
{
    FolderConfiguration folder;
    folder.setAuthenticationId(1);
    folder.setProductConfigurationId(2);
    folder.setName(QFileInfo(clientPath).fileName());
    folder.setClientPath(clientPath);
    folder.setServerPath(u"/server"_s + clientPath);
    folder.setLastSyncTime(SampleTime);
    folder.setParentId(parentId);
    folder.setRootId(rootId);
    return folder;
}

FileConfiguration sampleFile(const QString& clientPath, int folderId, int rootId)
{
    FileConfiguration file;
    file.setFolderConfigurationId(folderId);
    file.setRootFolderId(rootId);
    file.setName(QFileInfo(clientPath).fileName());
    file.setClientPath(clientPath);
    file.setServerPath(u"/server"_s + clientPath);
    file.setLastModifiedDateTime(SampleTime);
    file.setSize(clientPath.size());
    file.setNameValueProperties({{u"sample"_s, clientPath}});
    return file;
}

ServerConfiguration sampleServer(const QString& alias)
{
    ServerConfiguration server;
    server.setAlias(alias);
    server.setDavUrl(u"https://dav.example.com/"_s + alias);
    server.setWebServiceUrl(u"https://web.example.com/"_s + alias);
    server.setNameValueProperties({{u"sample"_s, alias}});
    return server;
}

} // namespace sync::test
