#include "ModelRun.h"

#include "RecordFields.h"

#include <config/AuthenticationConfigManager.h>
#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/ProductConfigManager.h>
#include <config/ScheduleEntryManager.h>
#include <config/ServerConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/TransactionalScope.h>
#include <interf/FileConfigOrderByEnum.h>
#include <interf/IQSqlQueryWrapper.h>
#include <support/Engines.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace sync::test {

namespace {

constexpr int RootCount = 3;

void makeFile(const QString& path)
{
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).absolutePath()) || !file.open(QIODevice::WriteOnly))
        qFatal("Cannot make a file");
}

template <class Record>
QStringList idsOf(const Rows<Record>& rows)
{
    QStringList ids;
    for (const auto& row : rows)
        ids.append(QString::number(row.first));
    return ids;
}

template <class List>
QStringList idsInOrder(const List& records)
{
    QStringList ids;
    for (const auto& record : records)
        ids.append(QString::number(record.getId()));
    return ids;
}

template <class List>
QStringList sortedIdsOf(const List& records)
{
    QStringList ids = idsInOrder(records);
    std::sort(ids.begin(), ids.end(), [](const QString& left, const QString& right) {
        return left.toInt() < right.toInt();
    });
    return ids;
}

template <class Record, class Matches>
QStringList idsWhere(const Rows<Record>& rows, Matches matches)
{
    QStringList ids;
    for (const auto& [id, record] : rows) {
        if (matches(record))
            ids.append(QString::number(id));
    }
    return ids;
}

template <class Record, class Matches>
int firstWhere(const Rows<Record>& rows, Matches matches)
{
    const QStringList ids = idsWhere(rows, matches);
    return ids.isEmpty() ? -1 : ids.first().toInt();
}

template <class Record, class List>
QStringList differencesOf(const QString& table, const Rows<Record>& expected, const List& actual)
{
    if (sortedIdsOf(actual) != idsOf(expected))
        return {
            table + u" has the rows "_s + sortedIdsOf(actual).join(u' ') + u" and not "_s +
            idsOf(expected).join(u' ')};
    QStringList differences;
    for (const auto& record : actual) {
        const QString difference = fieldDifference(expected.at(record.getId()), record);
        if (!difference.isEmpty())
            differences.append(u"%1 %2: "_s.arg(table).arg(record.getId()) + difference);
    }
    return differences;
}

} // namespace

ModelRun::ModelRun(const QString& engine)
    : engine(engine)
{
    open();
    // Paths that links can lead to.
    for (int root = 0; root < RootCount; ++root) {
        const QString path = directory.filePath(u"root%1/"_s.arg(root));
        makeFile(path + u"one.txt"_s);
        makeFile(path + u"sub/two.txt"_s);
        makeFile(path + u"sub/deep/three.txt"_s);
    }
}

ModelRun::~ModelRun() = default;

void ModelRun::open()
{
    database = openEngine(engine, directory.filePath(u"configuration.db"_s));
    servers = std::make_unique<ServerConfigManager>(database);
    products = std::make_unique<ProductConfigManager>(database);
    signIns = std::make_unique<AuthenticationConfigManager>(database);
    folders = std::make_shared<FolderConfigManager>(database, nullptr);
    files = std::make_unique<FileConfigManager>(
        database, std::make_shared<Sha256FileHash>(), nullptr, folders);
    schedules = std::make_unique<ScheduleEntryManager>(database);
}

const std::vector<ModelRun::WeightedOperation>& ModelRun::operations()
{
    static const std::vector<WeightedOperation> all{
        {&ModelRun::addServer, 3},         {&ModelRun::updateServer, 3},
        {&ModelRun::removeServer, 2},      {&ModelRun::findServers, 2},
        {&ModelRun::addProduct, 3},        {&ModelRun::updateProduct, 3},
        {&ModelRun::removeProduct, 2},     {&ModelRun::findProducts, 1},
        {&ModelRun::addSignIn, 3},         {&ModelRun::updateSignIn, 3},
        {&ModelRun::updatePassword, 2},    {&ModelRun::removeSignIn, 2},
        {&ModelRun::findSignIns, 2},       {&ModelRun::addRootFolder, 3},
        {&ModelRun::addFolder, 6},         {&ModelRun::addFolderAndParent, 3},
        {&ModelRun::updateFolder, 5},      {&ModelRun::removeFolder, 3},
        {&ModelRun::cleanFolder, 2},       {&ModelRun::cleanRootFolder, 2},
        {&ModelRun::findFolders, 3},       {&ModelRun::listFolders, 3},
        {&ModelRun::countFolders, 2},      {&ModelRun::addFile, 12},
        {&ModelRun::updateFile, 10},       {&ModelRun::removeFileAndLinked, 5},
        {&ModelRun::removeDependant, 3},   {&ModelRun::removeFilesOfFolder, 1},
        {&ModelRun::removeFilesOfRoot, 1}, {&ModelRun::removeGenerated, 2},
        {&ModelRun::resetSyncing, 2},      {&ModelRun::findFiles, 4},
        {&ModelRun::listFiles, 3},         {&ModelRun::listFilesInOrder, 3},
        {&ModelRun::addSchedule, 2},       {&ModelRun::updateSchedule, 2},
        {&ModelRun::removeSchedule, 2},    {&ModelRun::beginTransaction, 3},
        {&ModelRun::commitTransaction, 2}, {&ModelRun::rollBackTransaction, 2},
        {&ModelRun::runInScopes, 3},       {&ModelRun::reopen, 1},
    };
    return all;
}

QString ModelRun::perform(Step step)
{
    random.seed(step);
    description.clear();
    differences.clear();
    runOperation();
    compareAll();
    return differences.join(u"; "_s);
}

void ModelRun::runOperation()
{
    int total = 0;
    for (const auto& [operation, weight] : operations())
        total += weight;
    int chosen = below(total);
    for (const auto& [operation, weight] : operations()) {
        chosen -= weight;
        if (chosen < 0)
            return (this->*operation)();
    }
}

void ModelRun::expect(bool holds, const QString& what)
{
    if (!holds)
        differences.append(what);
}

void ModelRun::compareAll()
{
    folders->ClearCaches();
    differences += differencesOf(u"server"_s, model.servers, servers->GetAll());
    differences += differencesOf(u"product"_s, model.products, products->GetAll());
    differences += differencesOf(u"sign-in"_s, model.signIns, signIns->GetAll());
    differences += differencesOf(u"folder"_s, model.folders, folders->GetAll());
    for (int type = 0; type < 3; ++type) {
        differences += differencesOf(
            u"file of type %1,"_s.arg(type), model.files[static_cast<std::size_t>(type)],
            files->GetAll(static_cast<FileConfigurationType>(type)));
    }
    std::vector<ScheduleEntry> entries;
    for (const auto& row : model.schedules)
        entries.push_back(schedules->GetScheduleEntryById(row.first));
    differences += differencesOf(u"schedule"_s, model.schedules, entries);
    const int first = firstWhere(
        model.schedules, [](const ScheduleEntry& entry) { return entry.getFolderConfigId() == 0; });
    expect(schedules->GetDefaultScheduleEntry().getId() == first, u"another default schedule"_s);
}

int ModelRun::below(int bound)
{
    return static_cast<int>(random() % static_cast<std::uint64_t>(bound));
}

template <class Value>
Value ModelRun::oneOf(const std::vector<Value>& values)
{
    return values[static_cast<std::size_t>(below(static_cast<int>(values.size())))];
}

template <class Record>
int ModelRun::anyId(const Rows<Record>& rows)
{
    if (rows.empty() || chance(5))
        return oneOf<int>({-1, 0, 1, 99});
    return std::next(rows.begin(), below(static_cast<int>(rows.size())))->first;
}

QString ModelRun::text()
{
    return oneOf<QString>(
        {QString(), u"a"_s, u"A"_s, u"it's 100 %1 \"good\""_s, u"<&>]]"_s, u"\u00e4"_s,
         u"a\u0308"_s, u"\U0001F600"_s, u" blank "_s, u":id"_s});
}

QDateTime ModelRun::time()
{
    if (chance(20))
        return {};
    const QDate day(2024, 1 + below(12), 1 + below(28));
    return {
        day, QTime(below(24), below(60), below(60), below(1000)),
        chance(50) ? Qt::UTC : Qt::LocalTime};
}

QMap<QString, QString> ModelRun::properties()
{
    QMap<QString, QString> values;
    for (const QString& key : {u"Alpha"_s, u"Beta"_s}) {
        if (chance(30))
            values.insert(key, text());
    }
    return values;
}

QString ModelRun::folderPath()
{
    const QString below_ = oneOf<QString>({QString(), u"/sub"_s, u"/sub/deep"_s, u"/Other"_s});
    return directory.filePath(u"root%1"_s.arg(below(RootCount))) + below_;
}

QString ModelRun::filePath()
{
    return folderPath() +
           oneOf<QString>({u"/one.txt"_s, u"/two.txt"_s, u"/three.txt"_s, u"/new %1.txt"_s});
}

ServerConfiguration ModelRun::anyServer()
{
    ServerConfiguration server;
    server.setAlias(text());
    server.setDavUrl(oneOf<QString>({u"https://dav.example.com/"_s, u"https://x//"_s, u""_s}));
    server.setWebServiceUrl(
        oneOf<QString>({u"https://web.example.com/"_s, u"https://me@host:1/a"_s, u""_s}));
    server.setBinaryDiffEncoder(text());
    server.setNameValueProperties(properties());
    return server;
}

void ModelRun::addServer()
{
    ServerConfiguration server = anyServer();
    const int id = model.addServer(server);
    expect(servers->Add(server) && server.getId() == id, u"Add(server)"_s);
    description += u"add server %1"_s.arg(id);
}

void ModelRun::updateServer()
{
    const int id = anyId(model.servers);
    description += u"update server %1"_s.arg(id);
    // Only a record that was read has an id.
    ServerConfiguration server = servers->GetServerConfigById(id);
    server.setAlias(text());
    server.setDavUrl(u"https://dav.example.com/"_s);
    server.setNameValueProperties(properties());
    expect(servers->Update(server), u"Update(server)"_s);
    model.updateServer(id, server);
}

void ModelRun::removeServer()
{
    const int id = anyId(model.servers);
    description += u"remove server %1"_s.arg(id);
    expect(servers->Remove(id), u"Remove(server)"_s);
    model.servers.erase(id);
}

void ModelRun::findServers()
{
    const auto serverOfSignIn = [this](int id) {
        const auto signIn = model.signIns.find(id);
        const int server = signIn == model.signIns.end() ? -1 : signIn->second.getServerId();
        return model.servers.contains(server) ? server : -1;
    };
    const auto serverOfFolder = [&](int id) {
        const auto folder = model.folders.find(id);
        return folder == model.folders.end() ? -1
                                             : serverOfSignIn(folder->second.getAuthenticationId());
    };
    const int signIn = anyId(model.signIns);
    const int folder = anyId(model.folders);
    const int file = anyId(model.files[OrdinaryFile]);
    description +=
        u"find the servers of sign-in %1, folder %2, file %3"_s.arg(signIn).arg(folder).arg(file);
    expect(
        servers->GetServerConfigByAuthenticationId(signIn).getId() == serverOfSignIn(signIn),
        u"the server of the sign-in"_s);
    expect(
        servers->GetServerConfigByFolderId(folder).getId() == serverOfFolder(folder),
        u"the server of the folder"_s);
    const auto found = model.files[OrdinaryFile].find(file);
    const int expected = found == model.files[OrdinaryFile].end()
                             ? -1
                             : serverOfFolder(found->second.getFolderConfigurationId());
    expect(servers->GetServerConfigByFileId(file).getId() == expected, u"the server of the file"_s);
    expect(
        servers->GetDefaultServerConfig().getId() == (model.servers.contains(1) ? 1 : -1),
        u"the default server"_s);
    const ServerConfiguration sought = anyServer();
    const auto chopped = [](QString url) {
        if (url.endsWith(u'/'))
            url.chop(1);
        return url;
    };
    const int byUrls = firstWhere(model.servers, [&](const ServerConfiguration& server) {
        return server.getDavUrl() == chopped(sought.getDavUrl()) &&
               server.getWebServiceUrl() == chopped(sought.getWebServiceUrl());
    });
    expect(
        servers->GetServerConfigByServers(sought.getDavUrl(), sought.getWebServiceUrl()).getId() ==
            byUrls,
        u"the server of the URLs"_s);
}

void ModelRun::addProduct()
{
    ProductConfiguration product;
    product.setName(text());
    product.setConsumerKey(text());
    product.setConsumerSecret(text());
    product.setServerId(below(4));
    const int id = model.addProduct(product);
    expect(products->Add(product) && product.getId() == id, u"Add(product)"_s);
    description += u"add product %1"_s.arg(id);
}

void ModelRun::updateProduct()
{
    const int id = anyId(model.products);
    description += u"update product %1"_s.arg(id);
    ProductConfiguration product = products->GetProductConfigurationById(id);
    product.setName(text());
    product.setConsumerSecret(text());
    product.setServerId(below(4));
    expect(products->Update(product), u"Update(product)"_s);
    model.updateProduct(id, product);
}

void ModelRun::removeProduct()
{
    const int id = anyId(model.products);
    description += u"remove product %1"_s.arg(id);
    expect(products->Remove(id), u"Remove(product)"_s);
    model.products.erase(id);
}

void ModelRun::findProducts()
{
    const int serverId = below(4);
    const QString key = text();
    if (key.isNull())
        return; // NULL equals nothing.
    description += u"find a product of server %1"_s.arg(serverId);
    const int expected = firstWhere(model.products, [&](const ProductConfiguration& product) {
        return product.getServerId() == serverId && product.getConsumerKey() == key;
    });
    expect(
        products->GetProductConfigurationByServerIdAndConsumerKey(serverId, key).getId() ==
            expected,
        u"the product of the key"_s);
}

AuthenticationConfiguration ModelRun::anySignIn()
{
    AuthenticationConfiguration signIn;
    signIn.setDomain(oneOf<QString>({u"one"_s, u"two"_s}));
    signIn.setDomainId(text());
    signIn.setUserName(oneOf<QString>({u"ann"_s, u"Ann"_s, u"bob"_s}));
    signIn.setPassword(text());
    signIn.setServerId(anyId(model.servers));
    signIn.setNameValueProperties(properties());
    return signIn;
}

void ModelRun::addSignIn()
{
    AuthenticationConfiguration signIn = anySignIn();
    const int id = model.addSignIn(signIn);
    expect(signIns->Add(signIn) && signIn.getId() == id, u"Add(sign-in)"_s);
    description += u"add sign-in %1"_s.arg(id);
}

void ModelRun::updateSignIn()
{
    AuthenticationConfiguration signIn = anySignIn();
    signIn.setId(anyId(model.signIns));
    description += u"update sign-in %1"_s.arg(signIn.getId());
    expect(signIns->Update(signIn), u"Update(sign-in)"_s);
    model.updateSignIn(signIn);
}

void ModelRun::updatePassword()
{
    const AuthenticationConfiguration signIn = anySignIn();
    description += u"update a password"_s;
    const int updated =
        signIns->UpdatePassword(signIn.getDomain(), signIn.getUserName(), signIn.getPassword());
    expect(
        updated ==
            model.updatePassword(signIn.getDomain(), signIn.getUserName(), signIn.getPassword()),
        u"the number of passwords"_s);
}

void ModelRun::removeSignIn()
{
    const int id = anyId(model.signIns);
    description += u"remove sign-in %1"_s.arg(id);
    expect(signIns->Remove(id), u"Remove(sign-in)"_s);
    model.signIns.erase(id);
}

void ModelRun::findSignIns()
{
    const AuthenticationConfiguration sought = anySignIn();
    description += u"find sign-ins"_s;
    const int expected = firstWhere(model.signIns, [&](const auto& signIn) {
        return signIn.getDomain() == sought.getDomain() &&
               signIn.getUserName() == sought.getUserName();
    });
    expect(
        signIns->GetAuthenticationConfigurationByDomainAndUser(
                   sought.getDomain(), sought.getUserName())
                .getId() == expected,
        u"the sign-in of the user"_s);
    QStringList users;
    for (const auto& [id, signIn] : model.signIns)
        users.append(signIn.getDomain() + u'/' + signIn.getUserName());
    users.removeDuplicates();
    users.sort();
    QStringList distinct;
    for (const auto& signIn : signIns->GetDistinctAuthenticationConfigurations())
        distinct.append(signIn.getDomain() + u'/' + signIn.getUserName());
    distinct.sort();
    expect(distinct == users, u"the distinct sign-ins"_s);
}

void ModelRun::fill(FolderConfiguration& folder)
{
    folder.setAuthenticationId(anyId(model.signIns));
    folder.setProductConfigurationId(anyId(model.products));
    folder.setName(text());
    folder.setRemoteShortKey(text());
    folder.setRemoteLongKey(text());
    folder.setClientPath(folderPath());
    folder.setServerPath(oneOf<QString>({u"/Server"_s, u"/Server/Sub"_s, u"/Else"_s}));
    folder.setSyncStatus(static_cast<FolderSynchronizationStatus>(below(4)));
    folder.setLastOperationTime(time());
    folder.setLastSyncTime(time());
    folder.setFolderOption(static_cast<SynchronizationFolderOption>(below(3)));
    folder.setLastOperationType(static_cast<FolderOperationType>(below(3)));
    folder.setSyncDriveType(static_cast<DriveType>(below(3)));
    folder.setSyncOption(static_cast<FolderSyncOption>(below(3)));
    folder.setOwnerId(text());
    folder.setPrivileges(static_cast<FolderPrivileges>(below(32)));
    folder.setServerRoot(text());
    folder.setServerFolderId(text());
    folder.setNameValueProperties(properties());
}

void ModelRun::addRootFolder()
{
    FolderConfiguration folder;
    fill(folder);
    folder.setClientPath(directory.filePath(u"root%1"_s.arg(below(RootCount))));
    folder.setParentId(0);
    const int id = model.addFolder(folder);
    expect(folders->Add(folder) && folder.getId() == id, u"Add(root folder)"_s);
    expect(folder.getRootId() == id, u"the root's root"_s);
    description += u"add root folder %1"_s.arg(id);
}

void ModelRun::addFolder()
{
    FolderConfiguration folder;
    fill(folder);
    // An existing folder, or none: a future id could close a circle, in which Clean() would run
    // forever.
    const int parentId = anyId(model.folders);
    folder.setParentId(model.folders.contains(parentId) ? parentId : oneOf<int>({-1, 0}));
    folder.setRootId(anyId(model.folders));
    const int id = model.addFolder(folder);
    expect(folders->Add(folder) == (id != -1), u"the result of Add(folder)"_s);
    expect(folder.getId() == id, u"the id of the new folder"_s);
    description += u"add folder %1 below %2"_s.arg(id).arg(folder.getParentId());
}

void ModelRun::addFolderAndParent()
{
    const int rootId = anyId(model.folders);
    const FolderConfiguration root = folders->GetFolderConfigurationById(rootId);
    const QString path =
        oneOf<QString>({QString(), u"/"_s, folderPath(), folderPath() + u"/x/y"_s});
    description += u"add %1 and what is above it"_s.arg(path);
    const int known = root.getId();
    const int expected = model.addFolderAndParent(path, known, root);
    expect(folders->AddFolderAndParent(path, root).getId() == expected, u"the added folder's id"_s);
}

void ModelRun::updateFolder()
{
    const int id = anyId(model.folders);
    description += u"update folder %1"_s.arg(id);
    FolderConfiguration folder = folders->GetFolderConfigurationById(id);
    const int parentId = folder.getParentId();
    fill(folder);
    // An older folder, for the same reason as in addFolder().
    folder.setParentId(chance(70) || id < 2 ? parentId : below(id));
    folder.setRootId(anyId(model.folders));
    expect(folders->Update(folder), u"Update(folder)"_s);
    model.updateFolder(id, folder);
}

void ModelRun::removeFolder()
{
    const int id = anyId(model.folders);
    description += u"remove folder %1"_s.arg(id);
    expect(folders->Remove(id), u"Remove(folder)"_s);
    model.folders.erase(id);
}

void ModelRun::cleanFolder()
{
    const int id = anyId(model.folders);
    description += u"clean folder %1"_s.arg(id);
    expect(folders->Clean(id), u"Clean(folder)"_s);
    model.cleanFolder(id);
}

void ModelRun::cleanRootFolder()
{
    const int id = anyId(model.folders);
    description += u"clean root folder %1"_s.arg(id);
    expect(folders->CleanRootFolder(id), u"CleanRootFolder()"_s);
    model.cleanRootFolder(id);
}

void ModelRun::findFolders()
{
    const QString path = folderPath();
    const int signIn = anyId(model.signIns);
    const QString serverId = text();
    description += u"find the folder of %1"_s.arg(path);
    expect(
        folders->GetFolderConfigurationByClientPath(path).getId() == model.folderOfPath(path),
        u"the folder of the path"_s);
    const auto hasBoth = [&](const FolderConfiguration& folder) {
        return folder.getClientPath() == path && folder.getAuthenticationId() == signIn;
    };
    expect(
        folders->GetFolderConfigurationByClientPathAndAuthenticationId(path, signIn).getId() ==
            firstWhere(model.folders, hasBoth),
        u"the folder of path and sign-in"_s);
    // NULL equals nothing.
    if (!serverId.isNull()) {
        const auto hasServerId = [&](const FolderConfiguration& folder) {
            return folder.getServerFolderId() == serverId;
        };
        expect(
            folders->GetFolderConfigurationByServerId(serverId).getId() ==
                firstWhere(model.folders, hasServerId),
            u"the folder of the server's id"_s);
    }
}

void ModelRun::listFolders()
{
    const int id = anyId(model.folders);
    const int signIn = anyId(model.signIns);
    description += u"list folders of %1"_s.arg(id);
    expect(
        sortedIdsOf(folders->GetFolderConfigurationByParentId(id)) ==
            idsWhere(model.folders, [id](const auto& each) { return each.getParentId() == id; }),
        u"the folders below"_s);
    expect(
        sortedIdsOf(folders->GetFolderConfigurationsByRootId(id)) ==
            idsWhere(model.folders, [id](const auto& each) { return each.getRootId() == id; }),
        u"the folders of the root"_s);
    expect(
        sortedIdsOf(folders->GetFolderConfigurationsByAuthenticationId(signIn)) ==
            idsWhere(
                model.folders,
                [=](const auto& each) { return each.getAuthenticationId() == signIn; }),
        u"the folders of the sign-in"_s);
    const QStringList roots =
        idsWhere(model.folders, [](const auto& each) { return each.isRoot(); });
    expect(sortedIdsOf(folders->GetAllRootFolders()) == roots, u"the roots"_s);
    const auto rootIsGone = [&roots](int rootId) {
        return !roots.contains(QString::number(rootId));
    };
    expect(
        sortedIdsOf(folders->GetFolderConfigurationsOfNonExistingRootFolders()) ==
            idsWhere(model.folders, [&](const auto& each) { return rootIsGone(each.getRootId()); }),
        u"the folders without root"_s);
    expect(
        sortedIdsOf(files->GetFileConfigurationsOfNonExistingRootFolders()) ==
            idsWhere(
                model.files[OrdinaryFile],
                [&](const auto& each) { return rootIsGone(each.getRootFolderId()); }),
        u"the files without root"_s);
}

void ModelRun::countFolders()
{
    const int signIn = anyId(model.signIns);
    description += u"count folders"_s;
    const auto count = [this](auto matches) {
        return static_cast<int>(idsWhere(model.folders, matches).size());
    };
    expect(
        folders->GetRootFolderConfigurationCount() ==
            count([](const auto& each) { return each.isRoot(); }),
        u"the number of roots"_s);
    expect(
        folders->IsAnyFolderConfigOutOfSync() ==
            (count([](const auto& each) { return each.getSyncStatus() == FolderNotSynced; }) > 0),
        u"whether a folder is out of sync"_s);
    expect(
        folders->IsInExistingAuthentication(signIn) ==
            (count([=](const auto& each) { return each.getAuthenticationId() == signIn; }) > 0),
        u"whether the sign-in has a folder"_s);
}

QList<FileLink> ModelRun::links()
{
    QList<FileLink> list;
    if (chance(75))
        return list;
    for (int count = 1 + below(3); count > 0; --count) {
        FileLink link;
        link.FileId = chance(60) ? -1 : anyId(model.files[OrdinaryFile]);
        link.Path = chance(80) ? oneOf<QString>(
                                     {u"one.txt"_s, u"sub/two.txt"_s, u"../sub/two.txt"_s,
                                      u"deep/three.txt"_s, u"no such & file"_s})
                               : filePath();
        link.RefId = text();
        link.ServerFileId = text();
        list.append(link);
    }
    return list;
}

FileConfiguration ModelRun::anyFile()
{
    FileConfiguration file;
    file.setFolderConfigurationId(anyId(model.folders));
    file.setRootFolderId(anyId(model.folders));
    file.setProductConfigurationId(anyId(model.products));
    file.setParentFileId(anyId(model.files[OrdinaryFile]));
    file.setName(text());
    file.setClientPath(chance(2) ? QString() : filePath());
    file.setServerPath(oneOf<QString>({u"/Server/one.txt"_s, u"/Server/two.txt"_s}));
    file.setCheckSum(text());
    file.setCheckSumMD5(text());
    file.setCreatedDateTime(time());
    file.setLastModifiedDateTime(time());
    file.setLastOperationTime(time());
    file.setSize(chance(10) ? Q_INT64_C(5'000'000'000) : below(1000));
    file.setLastOperationType(below(4));
    file.setSyncOption(below(4));
    file.setOwnerId(text());
    file.setPrivileges(below(32));
    file.setServerFileId(text());
    file.setServerFileVersionId(text());
    file.setSyncStatus(static_cast<FileSynchronizationStatus>(below(4)));
    file.setNameValueProperties(properties());
    file.setFileLinks(links());
    if (chance(20))
        file.setFileLinksDate(time());
    file.setFileType(static_cast<FileConfigurationType>(
        chance(2)    ? 7
        : chance(50) ? 0
                     : anyType()));
    // The cascade deletes their files on the disk, to which the links of others may lead.
    if (file.getFileType() != OrdinaryFile && chance(90))
        file.setClientPath(directory.filePath(u"copies/"_s) + QString::number(below(5)));
    return file;
}

void ModelRun::addFile()
{
    FileConfiguration file = anyFile();
    FileConfiguration expected = file;
    const bool added = model.addFile(expected);
    description += u"add file %1 of type %2"_s.arg(expected.getId()).arg(file.getFileType());
    expect(files->Add(file) == added, u"the result of Add(file)"_s);
    expect(file.getId() == expected.getId(), u"the id of the new file"_s);
    expect(fieldDifference(expected, file).isEmpty(), u"the caller's record of the file"_s);
}

void ModelRun::updateFile()
{
    FileConfiguration file = anyFile();
    const auto type = static_cast<std::size_t>(file.getFileType());
    file.setId(type < model.files.size() ? anyId(model.files[type]) : 1);
    description += u"update file %1 of type %2"_s.arg(file.getId()).arg(file.getFileType());
    const bool expected = model.updateFile(file);
    expect(files->Update(file) == expected, u"the result of Update(file)"_s);
}

void ModelRun::removeFileAndLinked()
{
    const int id = anyId(model.files[OrdinaryFile]);
    description += u"remove file %1 and what belongs to it"_s.arg(id);
    expect(files->RemoveFileConfigurationAndLinkedConfigurations(id), u"the cascade"_s);
    model.removeFileAndLinked(id);
}

void ModelRun::removeDependant()
{
    const FileConfigurationType type = chance(50) ? BaseFile : GeneratedFile;
    auto& rows = model.files[static_cast<std::size_t>(type)];
    const int id = anyId(rows);
    description += u"remove file %1 of type %2"_s.arg(id).arg(type);
    expect(
        type == BaseFile ? files->RemoveBaseFileConfiguration(id)
                         : files->RemoveGeneratedFileConfiguration(id),
        u"the removal"_s);
    rows.erase(id);
}

void ModelRun::removeFilesOfFolder()
{
    const int id = anyId(model.folders);
    description += u"remove the files of folder %1"_s.arg(id);
    expect(files->RemoveByFolderConfigurationId(id), u"the removal"_s);
    model.removeFilesOfFolder(id);
}

void ModelRun::removeFilesOfRoot()
{
    const int id = anyId(model.folders);
    description += u"remove the files of root %1"_s.arg(id);
    expect(files->RemoveByRootFolderId(id), u"the removal"_s);
    model.removeFilesOfRoot(id);
}

void ModelRun::removeGenerated()
{
    const int id = anyId(model.folders);
    description += u"remove generated files of root %1"_s.arg(id);
    if (chance(30)) {
        expect(files->RemoveGeneratedFileConfigurationsByRootFolderId(id), u"the removal"_s);
        model.removeGeneratedOfRoot(id);
        return;
    }
    const auto status = static_cast<FileSynchronizationStatus>(below(4));
    expect(
        !files->RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(id, status),
        u"the removal, which says false"_s);
    model.removeGeneratedOfRootAndStatus(id, status);
}

void ModelRun::resetSyncing()
{
    const int id = anyId(model.folders);
    description += u"reset the syncing files of folder %1"_s.arg(id);
    expect(files->UpdateSyncStatusFromSyncingToNotSynced(id), u"the reset"_s);
    model.resetSyncing(id);
}

void ModelRun::findFiles()
{
    const QString path = filePath();
    const int signIn = anyId(model.signIns);
    description += u"find the file of %1"_s.arg(path);
    expect(
        files->GetFileConfigurationByClientPath(path).getId() == model.fileOfPath(path),
        u"the file of the path"_s);
    const auto hasSignIn = [&](const FileConfiguration& file) {
        const auto folder = model.folders.find(file.getFolderConfigurationId());
        const int found = folder == model.folders.end() ? -1 : folder->second.getAuthenticationId();
        return found == signIn;
    };
    const auto hasPath = [&](const FileConfiguration& file) {
        return file.getClientPath() == path && hasSignIn(file);
    };
    expect(
        files->GetFileConfigurationByClientPathAndAuthenticationId(path, signIn).getId() ==
            firstWhere(model.files[OrdinaryFile], hasPath),
        u"the file of path and sign-in"_s);
    const QString serverPath = u"/Server/one.txt"_s;
    const auto hasServerPath = [&](const FileConfiguration& file) {
        return file.getServerPath() == serverPath && hasSignIn(file);
    };
    expect(
        files->GetFileConfigurationByServerPathAndAuthenticationId(serverPath, signIn).getId() ==
            firstWhere(model.files[OrdinaryFile], hasServerPath),
        u"the file of server path and sign-in"_s);
    const int parent = anyId(model.files[OrdinaryFile]);
    const auto belongs = [parent](const FileConfiguration& file) {
        return file.getParentFileId() == parent;
    };
    expect(
        files->GetBaseFileConfigurationByParentFileId(parent).getId() ==
            firstWhere(model.files[BaseFile], belongs),
        u"the base copy"_s);
    expect(
        idsInOrder(files->GetGeneratedFileConfigurationsByParentFileId(parent)) ==
            idsWhere(model.files[GeneratedFile], belongs),
        u"the generated files"_s);
    for (const FileLink& link : links()) {
        expect(
            files->GetFileConfiguration(link, path).getId() == model.fileOfLink(link, path),
            u"the file of the link"_s);
    }
}

void ModelRun::listFiles()
{
    const int id = anyId(model.folders);
    description += u"list the files of %1"_s.arg(id);
    const auto inRoot = [id](const auto& file) { return file.getRootFolderId() == id; };
    for (const auto type : {OrdinaryFile, GeneratedFile, BaseFile}) {
        expect(
            sortedIdsOf(files->GetFileConfigurationsByRootFolderId(id, type)) ==
                idsWhere(model.files[static_cast<std::size_t>(type)], inRoot),
            u"the files of type %1 of the root"_s.arg(type));
    }
    const auto status = static_cast<FileSynchronizationStatus>(below(4));
    expect(
        sortedIdsOf(files->GetFileConfigurationsByFolderIdAndSyncStatus(id, status)) ==
            idsWhere(
                model.files[OrdinaryFile],
                [=](const auto& file) {
                    return file.getFolderConfigurationId() == id && file.getSyncStatus() == status;
                }),
        u"the files of the status"_s);
}

void ModelRun::listFilesInOrder()
{
    const int id = anyId(model.folders);
    const int order = below(24) - 1;
    description += u"list the files of %1 in order %2"_s.arg(id).arg(order);
    const auto by = static_cast<interf::FileConfigOrderByEnum>(order);
    const auto inFolder = [id](const auto& file) { return file.getFolderConfigurationId() == id; };
    const auto inRoot = [id](const auto& file) { return file.getRootFolderId() == id; };
    const auto ofFolder = files->GetFileConfigurationsByFolderId(id, by);
    const auto ofRoot = files->GetFileConfigurationsByRootFolderId(id, by);
    const auto generated = files->GetGeneratedFileConfigurationsByRootFolderId(id, by);
    expect(
        sortedIdsOf(ofFolder) == idsWhere(model.files[OrdinaryFile], inFolder),
        u"the files of the folder"_s);
    expect(
        sortedIdsOf(ofRoot) == idsWhere(model.files[OrdinaryFile], inRoot),
        u"the files of the root"_s);
    expect(
        sortedIdsOf(generated) == idsWhere(model.files[GeneratedFile], inRoot),
        u"the generated files of the root"_s);
    expect(isInOrder(ofFolder, by), u"the order of the folder's files"_s);
    expect(isInOrder(ofRoot, by), u"the order of the root's files"_s);
    expect(isInOrder(generated, by), u"the order of the generated files"_s);
}

void ModelRun::addSchedule()
{
    // No manager adds one; a host does, with a statement.
    ScheduleEntry entry;
    entry.setFolderConfigId(chance(30) ? 0 : anyId(model.folders));
    const auto query = database->CreateQuery();
    query->prepare(u"INSERT INTO Schedules (folderConfigurationId, syncScheduleType, syncInterval) "
                   u"VALUES (:folder, 0, 30)"_s);
    query->bindValue(u":folder"_s, entry.getFolderConfigId());
    expect(query->exec(), u"the INSERT of a schedule"_s);
    description += u"add schedule %1"_s.arg(model.addSchedule(entry));
}

void ModelRun::updateSchedule()
{
    const int id = anyId(model.schedules);
    description += u"update schedule %1"_s.arg(id);
    ScheduleEntry entry = schedules->GetScheduleEntryById(id);
    entry.setFolderConfigId(below(3));
    entry.setStartTime(time());
    entry.setExpireTime(time());
    entry.setSyncScheduleType(static_cast<SyncSchedule>(below(4)));
    entry.setSyncInterval(below(100));
    expect(schedules->Update(entry), u"Update(schedule)"_s);
    model.updateSchedule(id, entry);
}

void ModelRun::removeSchedule()
{
    const int id = anyId(model.schedules);
    description += u"remove schedule %1"_s.arg(id);
    expect(schedules->Remove(id), u"Remove(schedule)"_s);
    model.schedules.erase(id);
}

void ModelRun::beginTransaction()
{
    if (modelBefore || scopeDepth > 0)
        return;
    description += u"begin a transaction"_s;
    expect(files->transaction(), u"transaction()"_s);
    modelBefore = model;
}

void ModelRun::commitTransaction()
{
    if (!modelBefore || scopeDepth > 0)
        return;
    description += u"commit"_s;
    expect(files->commit(), u"commit()"_s);
    modelBefore.reset();
}

void ModelRun::rollBackTransaction()
{
    if (!modelBefore || scopeDepth > 0)
        return;
    description += u"roll back"_s;
    expect(files->rollback(), u"rollback()"_s);
    model = *std::exchange(modelBefore, std::nullopt);
    folders->ClearCaches();
}

void ModelRun::runInScopes()
{
    if (scopeDepth == 3)
        return;
    description += u"in a scope ("_s;
    ++scopeDepth;
    {
        database::TransactionalScope scope;
        for (int count = 1 + below(3); count > 0; --count) {
            folders->ClearCaches();
            runOperation();
            description += u", "_s;
        }
        if (chance(30))
            scope.commit();
    }
    --scopeDepth;
    description += u")"_s;
}

void ModelRun::reopen()
{
    if (modelBefore || scopeDepth > 0)
        return;
    description += u"close and open again"_s;
    schedules.reset();
    files.reset();
    folders.reset();
    signIns.reset();
    products.reset();
    servers.reset();
    database.reset();
    open();
}

} // namespace sync::test
