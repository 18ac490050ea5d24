#include "RecordFields.h"

#include <config/AuthenticationConfigManager.h>
#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/ProductConfigManager.h>
#include <config/ScheduleEntryManager.h>
#include <config/ServerConfigManager.h>
#include <config/Sha256FileHash.h>
#include <core/Crypto.h>
#include <core/FileKeyStore.h>
#include <support/ConvertingManager.h>
#include <support/RecordingDatabaseFactory.h>

#include <QMetaMethod>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>

using namespace Qt::StringLiterals;
using namespace sync::config;
using namespace sync::test;
using namespace sync::interf;

namespace {

const QString SampleXml =
    u"<!DOCTYPE NameValueXml>\n<NameValueXml>\n <Key><![CDATA[value]]></Key>\n</NameValueXml>\n"_s;
const QString BindSampleXml = u":nameValueProperties QString '"_s + SampleXml + u'\'';
const QString BindEmptyXml =
    u":nameValueProperties QString '<!DOCTYPE NameValueXml>\n<NameValueXml/>\n'"_s;

const QString SelectServer =
    u"SELECT id, alias, davUrl, webServiceUrl, nameValueProperties, binaryDiffEncoder FROM "
    "ServerConfiguration"_s;
const QString SelectServerBySignIn =
    u"SELECT SC.id, SC.alias, SC.davUrl, SC.webServiceUrl, SC.nameValueProperties, "
    "SC.binaryDiffEncoder FROM ServerConfiguration AS SC JOIN AuthenticationConfiguration AS AC "
    "ON SC.id = AC.ServerID"_s;
const QString SelectServerByFolder =
    SelectServerBySignIn + u" JOIN FolderConfiguration AS FC ON FC.authenticationId = AC.id"_s;
const QString SelectProduct =
    u"SELECT id, name, consumerKey, consumerSecret, serverId, nameValueProperties FROM "
    "ProductConfiguration"_s;
const QString SelectSignIn =
    u"SELECT id, domain, domainId, userName, encryptedPassword, nameValueProperties, serverId "
    "FROM AuthenticationConfiguration"_s;
const QString SelectFolder =
    u"SELECT id, authenticationId, name, remoteShortKey, remoteLongKey, clientPath, serverPath, "
    "syncStatus, nameValueProperties, parentId, lastOperationTime, lastSyncTime, folderOption, "
    "lastOperationType, syncDriveType, rootId, syncOption, ownerId, privileges, serverRoot, "
    "productConfigurationId, serverFolderId FROM FolderConfiguration"_s;
const QString SelectFile =
    u"SELECT id, folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime, "
    "lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties, "
    "lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges, "
    "productConfigurationId, serverFileId,  serverFileVersionId, checkSumMD5, fileLinks FROM "_s;
const QString SelectSchedule =
    u"SELECT id, folderConfigurationId, startTime, expireTime, syncScheduleType, syncInterval "
    "FROM Schedules"_s;

/// All managers over one recording database, which a manager of folders has for itself.
struct Managers
{
    std::shared_ptr<RecordingDatabaseFactory> database =
        std::make_shared<RecordingDatabaseFactory>();
    ServerConfigManager servers{database};
    ProductConfigManager products{database};
    AuthenticationConfigManager signIns{database};
    ScheduleEntryManager schedules{database};
    FolderConfigManager folders{database, nullptr};
    FileConfigManager files{
        database, std::make_shared<Sha256FileHash>(), nullptr,
        std::make_shared<FolderConfigManager>(
            std::make_shared<RecordingDatabaseFactory>(), nullptr)};
};

template <typename Record>
QVariant sample(const char* fieldName)
{
    for (const Field<Record>& field : fieldsOf<Record>()) {
        if (field.name == QLatin1StringView(fieldName))
            return field.sample;
    }
    qFatal("No field %s", fieldName);
}

// A row that holds the sample of a class, under this id. Numbers come as they are stored.
template <typename Record>
QVariantList rowOf(int id);

template <>
QVariantList rowOf<ServerConfiguration>(int id)
{
    return {id, u"alias"_s, u"dav"_s, u"web"_s, SampleXml, u"encoder"_s};
}
template <>
QVariantList rowOf<ProductConfiguration>(int id)
{
    return {id, u"name"_s, u"key"_s, u"consumer secret"_s, 3, SampleXml};
}
template <>
QVariantList rowOf<AuthenticationConfiguration>(int id)
{
    const QVariant password = sync::core::crypto::Encrypt(u"pass word"_s);
    return {id, u"domain"_s, u"domain id"_s, u"user"_s, password, SampleXml, 3};
}
template <>
QVariantList rowOf<ScheduleEntry>(int id)
{
    return {id, 2, sample<ScheduleEntry>("StartTime"), sample<ScheduleEntry>("ExpireTime"), 3, 4};
}

template <>
QVariantList rowOf<FolderConfiguration>(int id)
{
    const QVariant operation = sample<FolderConfiguration>("LastOperationTime");
    const QVariant sync = sample<FolderConfiguration>("LastSyncTime");
    return {
        id,
        2,
        u"name"_s,
        u"short"_s,
        u"long"_s,
        u"/client"_s,
        u"/server"_s,
        3,
        SampleXml,
        4,
        operation,
        sync,
        5,
        6,
        7,
        8,
        9,
        u"owner"_s,
        10,
        u"/root"_s,
        11,
        u"serverFolder"_s};
}
template <>
QVariantList rowOf<FileConfiguration>(int id)
{
    const QVariant created = sample<FileConfiguration>("CreatedDateTime");
    const QVariant modified = sample<FileConfiguration>("LastModifiedDateTime");
    const QVariant operation = sample<FileConfiguration>("LastOperationTime");
    const QString links =
        u"<FileLinks FileDate=\"2024-03-01T04:00:00Z\">\n <FileLink FileId=\"90\" "
        "RefId=\"ref\" ServerFileId=\"linked server file\" "
        "Path=\"docs/a&amp;b.txt\"/>\n</FileLinks>\n"_s;
    return {
        id,
        12,
        u"name"_s,
        u"/client/path"_s,
        u"/server/path"_s,
        u"check sum"_s,
        created,
        modified,
        1,
        14,
        5'000'000'000LL,
        SampleXml,
        operation,
        15,
        16,
        17,
        2,
        u"owner"_s,
        18,
        13,
        u"server file"_s,
        u"version"_s,
        u"md5"_s,
        links};
}

// What rowOf() reads as.
template <typename Record>
QStringList storedLines(int id)
{
    // The last three are not stored.
    QVariantMap changes{
        {u"Id"_s, id},
        {u"SyncStatusChanged"_s, false},
        {u"LastServerSyncRequestTime"_s, QDateTime()},
        {u"ClientTag"_s, 0}};
    const auto zone = std::is_same_v<Record, ScheduleEntry> ? Qt::LocalTime : Qt::UTC;
    for (const Field<Record>& field : fieldsOf<Record>()) {
        const QDateTime time = field.sample.toDateTime();
        if (field.sample.typeId() == QMetaType::QDateTime && !changes.contains(field.name))
            changes.insert(field.name, QDateTime(time.date(), time.time(), zone));
    }
    return linesOf(sampleOf<Record>(), changes);
}

// Encrypted passwords differ each time, so the log shows the decrypted texts.
QStringList decipheredLog(const RecordingDatabaseFactory& database)
{
    const QString bind = u"bind :encryptedPassword QByteArray "_s;
    QStringList log = database.log();
    for (QString& line : log) {
        if (line.startsWith(bind))
            line =
                u"bind encrypted "_s +
                sync::core::crypto::Decrypt(QByteArray::fromHex(line.mid(bind.size()).toLatin1()));
    }
    return log;
}

/// One lookup or list: how to run it, and what becomes of it.
struct Read
{
    std::function<QStringList(Managers&)> run; // the lines of all records that were read
    QStringList log;
    QList<QVariantList> rows;
    QStringList expected;
    QStringList withoutRow;
};

template <typename Record, typename Lookup>
void addLookup(const char* name, const QString& sql, const QStringList& binds, Lookup lookup)
{
    QTest::newRow(name) << Read{
        [lookup](Managers& managers) { return linesOf<Record>(lookup(managers)); },
        statementLog(sql, binds),
        {rowOf<Record>(42), rowOf<Record>(43)},
        storedLines<Record>(42),
        linesOf(Record())};
}

template <typename Record, typename List>
void addList(const char* name, const QString& sql, const QStringList& binds, List list)
{
    const auto run = [list](Managers& managers) {
        QStringList lines;
        for (const Record& record : list(managers))
            lines += linesOf(record);
        return lines;
    };
    QTest::newRow(name) << Read{
        run,
        statementLog(sql, binds),
        {rowOf<Record>(9), rowOf<Record>(7), rowOf<Record>(8)},
        storedLines<Record>(9) + storedLines<Record>(7) + storedLines<Record>(8),
        {}};
}

void addFolderReads()
{
    using M = Managers;
    using Folder = FolderConfiguration;
    addLookup<Folder>(
        "folder by id", SelectFolder + u" WHERE id = :id"_s, {u":id int 7"_s},
        [](M& m) { return m.folders.GetFolderConfigurationById(7); });
    addLookup<Folder>(
        "folder by server id", SelectFolder + u" WHERE serverFolderId = :serverFolderId"_s,
        {u":serverFolderId QString ' sF%1 '"_s},
        [](M& m) { return m.folders.GetFolderConfigurationByServerId(u" sF%1 "_s); });
    addLookup<Folder>(
        "folder by client path", SelectFolder + u" WHERE clientPath = :clientPath"_s,
        {u":clientPath QString '/A/./b%1/'"_s},
        [](M& m) { return m.folders.GetFolderConfigurationByClientPath(u"/A/./b%1/"_s); });
    addLookup<Folder>(
        "folder by client path and sign-in",
        SelectFolder +
            u" WHERE clientPath = :clientPath AND authenticationId = :authenticationId"_s,
        {u":clientPath QString '/a'"_s, u":authenticationId int 5"_s}, [](M& m) {
            return m.folders.GetFolderConfigurationByClientPathAndAuthenticationId(u"/a"_s, 5);
        });
    addList<Folder>("all folders", SelectFolder, {}, [](M& m) { return m.folders.GetAll(); });
    addList<Folder>("root folders", SelectFolder + u" WHERE parentId = '0'"_s, {}, [](M& m) {
        return m.folders.GetAllRootFolders();
    });
    addList<Folder>(
        "folders by parent", SelectFolder + u" WHERE parentId = :parentId ORDER BY name"_s,
        {u":parentId int 6"_s}, [](M& m) { return m.folders.GetFolderConfigurationByParentId(6); });
    addList<Folder>(
        "folders by sign-in", SelectFolder + u" WHERE authenticationId = :authenticationId"_s,
        {u":authenticationId int 5"_s},
        [](M& m) { return m.folders.GetFolderConfigurationsByAuthenticationId(5); });
    addList<Folder>(
        "folders of a tree", SelectFolder + u" WHERE rootId = :rootId"_s, {u":rootId int 3"_s},
        [](M& m) { return m.folders.GetFolderConfigurationsByRootId(3); });
}

void addFileReads()
{
    using M = Managers;
    using File = FileConfiguration;
    constexpr auto UnknownType = static_cast<FileConfigurationType>(3);
    const QString ordinary = SelectFile + u"FileConfiguration"_s;
    const QString generated = SelectFile + u"GeneratedFileConfiguration"_s;
    const QString base = SelectFile + u"BaseFileConfiguration"_s;
    const QString byId = u" WHERE id = :id"_s;
    const QString byPath = u" WHERE clientPath = :clientPath"_s;
    const QString byParent = u" WHERE parentFileId = :parentFileId ORDER BY id"_s;
    const QString byRoot = u" WHERE rootFolderId = :rootFolderId "_s;
    const QStringList id{u":id int 7"_s};
    const QStringList path{u":clientPath QString '/a/%1/'"_s};
    const QStringList parent{u":parentFileId int 7"_s};
    const QStringList root{u":rootFolderId int 7"_s};

    addLookup<File>("file by id", ordinary + byId, id, [](M& m) {
        return m.files.GetFileConfigurationById(7);
    });
    addLookup<File>("generated file by id", generated + byId, id, [](M& m) {
        return m.files.GetGeneratedFileConfigurationById(7);
    });
    addLookup<File>("base copy by id", base + byId, id, [](M& m) {
        return m.files.GetBaseFileConfigurationById(7);
    });
    addLookup<File>(
        "file by server id", ordinary + u" WHERE serverFileId = :serverFileId"_s,
        {u":serverFileId QString 's-7'"_s},
        [](M& m) { return m.files.GetFileConfigurationByServerId(u"s-7"_s); });
    addLookup<File>("file by client path", ordinary + byPath, path, [](M& m) {
        return m.files.GetFileConfigurationByClientPath(u"/a/%1/"_s);
    });
    addLookup<File>("generated file by client path", generated + byPath, path, [](M& m) {
        return m.files.GetGeneratedFileConfigurationByClientPath(u"/a/%1/"_s);
    });
    addLookup<File>("base copy by parent", base + byParent, parent, [](M& m) {
        return m.files.GetBaseFileConfigurationByParentFileId(7);
    });
    addList<File>("files by client path", ordinary + byPath, path, [](M& m) {
        return m.files.GetAllFileConfigurationsByClientPath(u"/a/%1/"_s);
    });
    addList<File>(
        "files by folder and status",
        ordinary + u" WHERE folderConfigurationId = :folderConfigurationId  AND syncStatus = "
                   ":syncStatus ORDER BY name"_s,
        {u":folderConfigurationId int 7"_s, u":syncStatus int 2"_s}, [](M& m) {
            return m.files.GetFileConfigurationsByFolderIdAndSyncStatus(7, FileNotSynced);
        });
    addList<File>("generated files by parent", generated + byParent, parent, [](M& m) {
        return m.files.GetGeneratedFileConfigurationsByParentFileId(7);
    });
    addList<File>("all files", ordinary, {}, [](M& m) { return m.files.GetAll(); });
    const std::pair<const char*, FileConfigurationType> types[] = {
        {"ordinary", OrdinaryFile},
        {"generated", GeneratedFile},
        {"base", BaseFile},
        {"unknown", UnknownType}};
    const QString tables[] = {ordinary, generated, base, SelectFile};
    for (const auto& [name, type] : types) {
        const QString& table = tables[type];
        addList<File>(
            qPrintable(QString::fromLatin1(name) + u" files"_s), table, {},
            [type = type](M& m) { return m.files.GetAll(type); });
        addList<File>(
            qPrintable(QString::fromLatin1(name) + u" files by root"_s), table + byRoot, root,
            [type = type](M& m) { return m.files.GetFileConfigurationsByRootFolderId(7, type); });
    }
}

void addReads()
{
    using M = Managers;
    using Server = ServerConfiguration;
    using Product = ProductConfiguration;
    using SignIn = AuthenticationConfiguration;
    QTest::addColumn<Read>("read");
    addFolderReads();
    addFileReads();

    constexpr long long id = 8589934592;
    const QStringList bigId{u":id qlonglong 8589934592"_s};
    addLookup<Server>("server by id", SelectServer + u" WHERE id = :id;"_s, bigId, [](M& m) {
        return m.servers.GetServerConfigById(id);
    });
    addLookup<Server>(
        "server by sign-in", SelectServerBySignIn + u" WHERE AC.id = :id;"_s, bigId,
        [](M& m) { return m.servers.GetServerConfigByAuthenticationId(id); });
    addLookup<Server>(
        "server by folder", SelectServerByFolder + u" WHERE FC.id = :id;"_s, bigId,
        [](M& m) { return m.servers.GetServerConfigByFolderId(id); });
    addLookup<Server>(
        "server by file",
        SelectServerByFolder + u" JOIN FileConfiguration AS FIC ON FIC.folderConfigurationId = "
                               "FC.id WHERE FIC.id = :id;"_s,
        bigId, [](M& m) { return m.servers.GetServerConfigByFileId(id); });
    addLookup<Server>(
        "server by URLs",
        SelectServer + u" WHERE davUrl = :davUrl AND webServiceUrl = :webServiceUrl;"_s,
        {u":davUrl QString 'd%1/'"_s, u":webServiceUrl QString 'w%2'"_s},
        [](M& m) { return m.servers.GetServerConfigByServers(u"d%1//"_s, u"w%2"_s); });
    addLookup<Server>(
        "default server", SelectServer + u" WHERE id = :id;"_s, {u":id qlonglong 1"_s},
        [](M& m) { return m.servers.GetDefaultServerConfig(); });
    addLookup<Product>(
        "product by id", SelectProduct + u" WHERE id = :id"_s, {u":id int 7"_s},
        [](M& m) { return m.products.GetProductConfigurationById(7); });
    addLookup<Product>(
        "product by server and key",
        SelectProduct + u" WHERE serverId = :serverId AND consumerKey = :consumerKey"_s,
        {u":serverId int 4"_s, u":consumerKey QString ' k%1 '"_s}, [](M& m) {
            return m.products.GetProductConfigurationByServerIdAndConsumerKey(4, u" k%1 "_s);
        });
    addLookup<SignIn>(
        "sign-in by id", SelectSignIn + u" WHERE id = :id"_s, {u":id int 7"_s},
        [](M& m) { return m.signIns.GetAuthenticationConfigurationById(7); });
    addLookup<SignIn>(
        "sign-in by domain and user",
        SelectSignIn + u" WHERE domain = :domain AND userName = :userName"_s,
        {u":domain QString ' d%1 '"_s, u":userName QString 'U'"_s}, [](M& m) {
            return m.signIns.GetAuthenticationConfigurationByDomainAndUser(u" d%1 "_s, u"U"_s);
        });
    addLookup<ScheduleEntry>(
        "schedule by id", SelectSchedule + u" WHERE id = :id"_s, {u":id int 7"_s},
        [](M& m) { return m.schedules.GetScheduleEntryById(7); });
    addLookup<ScheduleEntry>(
        "default schedule", SelectSchedule + u" WHERE folderConfigurationId = 0"_s, {},
        [](M& m) { return m.schedules.GetDefaultScheduleEntry(); });
    addList<Server>(
        "all servers", SelectServer + u';', {}, [](M& m) { return m.servers.GetAll(); });
    addList<Product>("all products", SelectProduct, {}, [](M& m) { return m.products.GetAll(); });
    addList<SignIn>("all sign-ins", SelectSignIn, {}, [](M& m) { return m.signIns.GetAll(); });
}

using Write = std::function<bool(Managers&)>;

// The binding of a server, in the order of the statements, with URLs and alias as they are given.
QStringList serverBinds(const QString& alias, const QString& davUrl, const QString& webServiceUrl)
{
    return {
        u":alias QString "_s + alias, u":davUrl QString "_s + davUrl,
        u":webServiceUrl QString "_s + webServiceUrl, BindSampleXml,
        u":binaryDiffEncoder QString 'encoder'"_s};
}

// A record without an alias, and URLs with slashes to chop.
ServerConfiguration slashedServer()
{
    auto server = sampleOf<ServerConfiguration>();
    server.setAlias({});
    server.setDavUrl(u"https://dav.example.com/%1/"_s);
    server.setWebServiceUrl(u"https://web.example.com//"_s);
    return server;
}

void addWrites()
{
    using M = Managers;
    QTest::addColumn<Write>("write");
    QTest::addColumn<QStringList>("log");
    const auto add = [](const char* name, const QString& sql, const QStringList& binds,
                        Write write) {
        QTest::newRow(name) << write << statementLog(sql, binds, 1);
    };
    const QStringList id{u":id int 7"_s};
    const QStringList noId{u":id int -1"_s};
    const QStringList signIn{
        u":domain QString 'domain'"_s,
        u":domainId QString 'domain id'"_s,
        u":userName QString 'user'"_s,
        u"encrypted pass word"_s,
        BindSampleXml,
        u":serverId int 3"_s};

    // Add stores the computed alias and chopped URLs, Update what the record holds.
    add("add a server",
        u"INSERT INTO ServerConfiguration (alias, davUrl, webServiceUrl, nameValueProperties, "
        "binaryDiffEncoder) VALUES (:alias, :davUrl, :webServiceUrl, :nameValueProperties, "
        ":binaryDiffEncoder);"_s,
        serverBinds(u"'web'"_s, u"'https://dav.example.com/%1'"_s, u"'https://web.example.com/'"_s),
        [](M& m) {
            ServerConfiguration server = slashedServer();
            return m.servers.Add(server) && server.getDavUrl() == slashedServer().getDavUrl();
        });
    add("update a server",
        u"UPDATE ServerConfiguration SET alias = :alias, davUrl = :davUrl, webServiceUrl = "
        ":webServiceUrl, nameValueProperties = :nameValueProperties, binaryDiffEncoder = "
        ":binaryDiffEncoder WHERE id = :id;"_s,
        noId + serverBinds(
                   u"null"_s, u"'https://dav.example.com/%1/'"_s, u"'https://web.example.com//'"_s),
        [](M& m) { return m.servers.Update(slashedServer()); });
    add("remove a server", u"DELETE FROM ServerConfiguration WHERE Id = :id;"_s, id,
        [](M& m) { return m.servers.Remove(7); });
    add("add a product",
        u"INSERT INTO ProductConfiguration (name, consumerKey, consumerSecret, serverId, "
        "nameValueProperties) VALUES (:name, :consumerKey, :consumerSecret, :serverId, "
        ":nameValueProperties);"_s,
        {u":name QString 'name'"_s, u":consumerKey QString 'key'"_s,
         u":consumerSecret QString 'consumer secret'"_s, u":serverId int 3"_s, BindEmptyXml},
        [](M& m) {
            auto product = sampleOf<ProductConfiguration>();
            return m.products.Add(product);
        });
    // Leaves the secret unbound.
    add("update a product",
        u"UPDATE ProductConfiguration SET name = :name, consumerKey = :consumerKey, "
        "consumerSecret = :consumerSecret, serverId = :serverId, nameValueProperties = "
        ":nameValueProperties WHERE id = :id"_s,
        noId +
            QStringList{
                u":name QString 'name'"_s, u":consumerKey QString 'key'"_s, u":serverId int 3"_s,
                BindEmptyXml},
        [](M& m) { return m.products.Update(sampleOf<ProductConfiguration>()); });
    add("add a sign-in",
        u"INSERT INTO AuthenticationConfiguration (domain, domainId, userName, encryptedPassword, "
        "nameValueProperties, serverId) VALUES (:domain, :domainId, :userName, "
        ":encryptedPassword, :nameValueProperties, :serverId);"_s,
        signIn, [](M& m) {
            auto record = sampleOf<AuthenticationConfiguration>();
            return m.signIns.Add(record);
        });
    add("update a sign-in",
        u"UPDATE AuthenticationConfiguration SET domain = :domain, domainId = :domainId, userName "
        "= :userName, encryptedPassword = :encryptedPassword, nameValueProperties = "
        ":nameValueProperties, serverId = :serverId WHERE id = :id"_s,
        id + signIn,
        [](M& m) { return m.signIns.Update(sampleOf<AuthenticationConfiguration>()); });
    add("remove a sign-in", u"DELETE FROM AuthenticationConfiguration WHERE Id = :id;"_s, id,
        [](M& m) { return m.signIns.Remove(7); });
    add("update a schedule",
        u"UPDATE Schedules SET folderConfigurationId = :folderConfigurationId, startTime = "
        ":startTime, expireTime = :expireTime, syncScheduleType = :syncScheduleType, syncInterval "
        "= :syncInterval  WHERE id = :id"_s,
        noId +
            QStringList{
                u":folderConfigurationId int 2"_s,
                u":startTime QDateTime 2024-03-01T04:01:02.003 UTC"_s,
                u":expireTime QDateTime 2024-03-01T05:00:00.000 offset 3600"_s,
                u":syncScheduleType int 3"_s, u":syncInterval int 4"_s},
        [](M& m) { return m.schedules.Update(sampleOf<ScheduleEntry>()); });
    add("remove a schedule", u"DELETE FROM Schedules WHERE Id = :id;"_s, id,
        [](M& m) { return m.schedules.Remove(7); });
    // Reads the record before its scope.
    QTest::newRow("remove a product")
        << Write([](M& m) { return m.products.Remove(7); })
        << statementLog(SelectProduct + u" WHERE id = :id"_s, id) +
               statementLog(u"DELETE FROM ProductConfiguration WHERE Id = :id;"_s, id, 1);
}

// "type signature parameters" of each method that a class adds.
QStringList methodsOf(const QMetaObject& metaObject)
{
    QStringList methods;
    for (int i = metaObject.methodOffset(); i < metaObject.methodCount(); ++i) {
        const QMetaMethod method = metaObject.method(i);
        const QByteArrayList text{
            method.typeName(), method.methodSignature(), method.parameterNames().join(',')};
        const bool invokable =
            method.access() == QMetaMethod::Public && method.methodType() == QMetaMethod::Method;
        methods.append(
            QString::fromLatin1(text.join(' ')).trimmed() +
            (invokable ? u""_s : u" is not a public method"_s));
    }
    return methods;
}

template <typename Interface, typename Manager>
void checkMetaObject(Manager& manager, const char* name, const QStringList& methods)
{
    const QByteArray qualified = QByteArray("sync::config::") + name;
    const QByteArray interface = QByteArray("sync::interf::I") + name;
    QCOMPARE(manager.metaObject()->className(), qualified);
    QCOMPARE(manager.metaObject()->superClass(), &Interface::staticMetaObject);
    QCOMPARE(manager.parent(), nullptr);
    QCOMPARE(manager.qt_metacast(qualified.constData()), &manager);
    QCOMPARE(
        manager.qt_metacast("DatabaseConfigurationManager"),
        static_cast<DatabaseConfigurationManager*>(&manager));
    QCOMPARE(manager.qt_metacast(interface.constData()), static_cast<Interface*>(&manager));
    QCOMPARE(manager.qt_metacast(name), nullptr);
    QCOMPARE(manager.qt_metacast("sync::config::DatabaseConfigurationManager"), nullptr);
    QCOMPARE(methodsOf(*manager.metaObject()), methods);
    const QMetaObject& metaObject = *manager.metaObject();
    QCOMPARE(metaObject.propertyCount(), metaObject.propertyOffset());
}

template <typename Record, typename Manager>
void checkAdd(Manager Managers::*member)
{
    Managers managers;
    managers.database->answer(1, {.fails = true, .lastInsertId = 12});
    managers.database->answer(2, {.lastInsertId = 12});
    auto record = sampleOf<Record>();

    QVERIFY(!(managers.*member).Add(record));
    QCOMPARE(linesOf(record), linesOf(sampleOf<Record>()));
    QVERIFY((managers.*member).Add(record));

    QCOMPARE(linesOf(record), linesOf(sampleOf<Record>(), {{u"Id"_s, 12}}));
}

// Reads a record by `read`, then updates and adds one, by a manager that converts in its own way.
template <typename Record, typename Manager, typename... Services>
void checkConversions(
    QVariantList row, Record (Manager::*read)(int), const QString& written,
    const Services&... services)
{
    const auto database = std::make_shared<RecordingDatabaseFactory>();
    database->answerOthers({.rows = {std::move(row)}});
    ConvertingManager<Manager> manager(database, services...);
    auto record = sampleOf<Record>();

    const Record found = (manager.*read)(1);
    QCOMPARE(
        classNameOf<Record>() + QString::number(manager.conversions), classNameOf<Record>() + u'1');
    if constexpr (requires { found.getNameValueProperties(); })
        QCOMPARE(found.getNameValueProperties().value(u"Read"_s), SampleXml);
    database->takeLog();
    manager.Update(record);
    manager.Add(record);

    QCOMPARE(
        classNameOf<Record>() + QString::number(database->log().filter(written).size()),
        classNameOf<Record>() + u'2');
}

} // namespace

/// What all managers promise. The promises of a single manager have their own suite.
class TestManagers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // A zone in which a conversion between UTC and local time shows.
        qputenv("TZ", "Asia/Tokyo");
        ::tzset();
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, directory.path());
        sync::core::crypto::setKeyStore(std::make_shared<sync::core::crypto::FileKeyStore>(
            directory.filePath(u"password.key"_s)));
    }
    void cleanupTestCase() { sync::core::crypto::setKeyStore(nullptr); }

    void readRunsOneStatementAndHoldsItsRows_data() { addReads(); }
    void readRunsOneStatementAndHoldsItsRows()
    {
        QFETCH(Read, read);
        Managers managers;
        managers.database->answerOthers({.rows = read.rows});

        QCOMPARE(read.run(managers), read.expected);
        QCOMPARE(managers.database->log(), read.log);
    }

    void readWithoutRowIsADefaultRecordOrAnEmptyList_data() { addReads(); }
    void readWithoutRowIsADefaultRecordOrAnEmptyList()
    {
        QFETCH(Read, read);
        Managers managers;

        QCOMPARE(read.run(managers), read.withoutRow);
        QCOMPARE(managers.database->log(), read.log);
    }

    void failedReadIsADefaultRecordOrAnEmptyList_data() { addReads(); }
    void failedReadIsADefaultRecordOrAnEmptyList()
    {
        QFETCH(Read, read);
        Managers managers;
        managers.database->answerOthers({.rows = read.rows, .fails = true});

        QCOMPARE(read.run(managers), read.withoutRow);
        QCOMPARE(managers.database->log(), read.log);
    }

    void lookupStepsOnceAndReadsEachColumnOnce()
    {
        Managers managers;
        managers.database->answerOthers({.rows = {rowOf<ServerConfiguration>(1)}});
        managers.database->noteRowCalls();

        managers.servers.GetServerConfigById(1);

        QCOMPARE(
            managers.database->log().mid(4),
            QStringList(
                {u"next true"_s, u"isValid true"_s, u"value 0"_s, u"value 1"_s, u"value 2"_s,
                 u"value 3"_s, u"value 4"_s, u"value 5"_s, u"release"_s}));
    }

    void writeRunsItsStatementInAScope_data() { addWrites(); }
    void writeRunsItsStatementInAScope()
    {
        QFETCH(Write, write);
        Managers managers;

        QVERIFY(write(managers));

        QTEST(decipheredLog(*managers.database), "log");
    }

    void failedWriteReturnsFalse_data() { addWrites(); }
    void failedWriteReturnsFalse()
    {
        QFETCH(Write, write);
        Managers managers;
        managers.database->answerOthers({.fails = true});

        QVERIFY(!write(managers));

        QTEST(decipheredLog(*managers.database), "log");
    }

    void addSetsTheIdAndAFailedOneLeavesTheRecord()
    {
        checkAdd<ServerConfiguration>(&Managers::servers);
        checkAdd<ProductConfiguration>(&Managers::products);
        checkAdd<AuthenticationConfiguration>(&Managers::signIns);
    }

    void exceptionOfTheDatabaseEndsScopesAndQueries()
    {
        Managers managers;
        managers.database->answer(1, {.throws = true});

        QVERIFY_THROWS_EXCEPTION(ExecException, managers.servers.Remove(7));
        QVERIFY(managers.servers.Remove(7));

        const QStringList once =
            statementLog(u"DELETE FROM ServerConfiguration WHERE Id = :id;"_s, {u":id int 7"_s}, 1);
        QCOMPARE(managers.database->log(), once + once);
    }

    void conversionsOfAnOverrideAreUsed()
    {
        QVariantList folder(22);
        folder[8] = SampleXml;
        QVariantList file(24);
        file[1] = 1; // of another folder than the sample, so that it is added
        file[11] = SampleXml;
        const std::shared_ptr<ICryptographicHash> hash = std::make_shared<Sha256FileHash>();
        const std::shared_ptr<IRefreshNativeFileViewer> viewer;
        const auto folders = std::make_shared<FolderConfigManager>(
            std::make_shared<RecordingDatabaseFactory>(), nullptr);

        checkConversions(
            rowOf<ProductConfiguration>(7), &ProductConfigManager::GetProductConfigurationById,
            u":nameValueProperties QString ' written'"_s);
        checkConversions(
            folder, &FolderConfigManager::GetFolderConfigurationById, ConvertedBind, viewer);
        checkConversions(
            file, &FileConfigManager::GetFileConfigurationById, ConvertedBind, hash, viewer,
            std::shared_ptr<IFolderConfigManager>(folders));
        checkSignInAndServerConversions();
    }

    void metaObjectsNameTheirBasesAndInvokables()
    {
        Managers managers;

        checkMetaObject<IServerConfigManager>(managers.servers, "ServerConfigManager", {});
        // Qt 6 reports QVector under the name of the type of which it is an alias.
        checkMetaObject<IProductConfigManager>(
            managers.products, "ProductConfigManager",
            {
                u"sync::config::ProductConfiguration GetProductConfigurationById(int) id"_s,
                u"sync::config::ProductConfiguration "
                "GetProductConfigurationByServerIdAndConsumerKey(int,QString) "
                "serverId,consumerKey"_s,
                u"QList<sync::config::ProductConfiguration> GetAll()"_s,
                u"bool Update(sync::config::ProductConfiguration) ProductConfiguration"_s,
                u"bool Add(sync::config::ProductConfiguration&) ProductConfiguration"_s,
                u"bool Remove(int) ProductConfigurationId"_s,
            });
        checkMetaObject<IAuthenticationConfigManager>(
            managers.signIns, "AuthenticationConfigManager",
            {
                u"sync::config::AuthenticationConfiguration "
                "GetAuthenticationConfigurationById(int) authenticationConfigurationId"_s,
                u"sync::config::AuthenticationConfiguration "
                "GetAuthenticationConfigurationByDomainAndUser(QString,QString) domain,userName"_s,
                u"QList<sync::config::AuthenticationConfiguration> GetAll()"_s,
            });
        checkMetaObject<IScheduleEntryManager>(
            managers.schedules, "ScheduleEntryManager",
            {
                u"ScheduleEntry GetScheduleEntryById(int) scheduleEntryId"_s,
                u"ScheduleEntry GetDefaultScheduleEntry()"_s,
                u"bool Update(ScheduleEntry) scheduleEntry"_s,
                u"bool Remove(int) scheduleEntryId"_s,
            });
        checkMetaObject<IFolderConfigManager>(
            managers.folders, "FolderConfigManager",
            {
                u"sync::config::FolderConfiguration GetFolderConfigurationById(int) "
                "folderConfigurationId"_s,
                u"sync::config::FolderConfiguration GetFolderConfigurationByClientPath(QString) "
                "clientPath"_s,
                u"sync::config::FolderConfiguration "
                "GetFolderConfigurationByClientPathAndAuthenticationId(QString,int) "
                "clientPath,authenticationId"_s,
                u"QList<sync::config::FolderConfiguration> GetAll()"_s,
                u"bool Update(sync::config::FolderConfiguration) folderConfiguration"_s,
                u"bool Add(sync::config::FolderConfiguration&) folderConfiguration"_s,
                u"FolderConfiguration AddFolderAndParent(QString,FolderConfiguration) "
                "absolutePath,rootConfig"_s,
                u"bool Remove(int) folderConfigurationId"_s,
                u"bool Clean(int) folderConfigurationId"_s,
                u"bool AncestorOrDescendantOfServerFolderExists(QString,int,QString&) "
                "serverPath,authenticationId,matchingServerFolder"_s,
                u"QList<sync::config::FolderConfiguration> GetAllRootFolders()"_s,
                u"QList<sync::config::FolderConfiguration> GetFolderConfigurationByParentId(int) "
                "folderConfigurationId"_s,
                u"QList<sync::config::FolderConfiguration> GetFolderConfigurationsByRootId(int) "
                "rootFolderId"_s,
                u"bool IsInExistingAuthentication(int) authenticationId"_s,
                u"bool IsAnyFolderConfigOutOfSync()"_s,
                u"int GetRootFolderConfigurationCount()"_s,
                u"void ClearCaches()"_s,
                u"bool CleanRootFolder(int) folderConfigurationId"_s,
                u"void RefreshNativeFileViewer()"_s,
                u"void RefreshNativeFileViewer(QString&) clientPath"_s,
            });
        // The manager of files has no meta-object of its own.
        QCOMPARE(
            managers.files.metaObject()->className(),
            IFileConfigManager::staticMetaObject.className());
        QCOMPARE(managers.files.parent(), nullptr);
    }

private:
    // Their lookups by id take other arguments.
    static void checkSignInAndServerConversions()
    {
        const auto database = std::make_shared<RecordingDatabaseFactory>();
        database->answer(1, {.rows = {rowOf<ServerConfiguration>(1)}});
        database->answer(2, {.rows = {rowOf<AuthenticationConfiguration>(1)}});
        ConvertingManager<ServerConfigManager> servers(database);
        ConvertingManager<AuthenticationConfigManager> signIns(database);
        auto server = sampleOf<ServerConfiguration>();
        auto signIn = sampleOf<AuthenticationConfiguration>();

        const auto readServer = servers.GetServerConfigById(1);
        const auto readSignIn = signIns.GetAuthenticationConfigurationById(1);
        database->takeLog();
        servers.Update(server);
        servers.Add(server);
        signIns.Update(signIn);
        signIns.Add(signIn);

        QCOMPARE(readServer.getNameValueProperties().value(u"Read"_s), SampleXml);
        QCOMPARE(readSignIn.getNameValueProperties().value(u"Read"_s), SampleXml);
        QCOMPARE(database->log().filter(ConvertedBind).size(), 4);
    }

    QTemporaryDir directory;
};

QTEST_GUILESS_MAIN(TestManagers)
#include "TestManagers.moc"
