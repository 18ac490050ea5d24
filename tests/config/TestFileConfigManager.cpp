#include "RecordFields.h"

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <database/TransactionalScope.h>
#include <interf/ICryptographicHash.h>
#include <interf/IFolderConfigManager.h>
#include <interf/IRefreshNativeFileViewer.h>
#include <support/RecordingDatabaseFactory.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <limits>

using namespace Qt::StringLiterals;
using namespace sync::config;
using sync::database::TransactionalScope;
using sync::interf::FileConfigOrderByEnum;
using sync::test::Answer;
using sync::test::RecordingDatabaseFactory;
using sync::test::statementLog;

using Write = std::function<bool(FileConfigManager&)>;

namespace {

const QString Select =
    u"SELECT id, folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime, "
    "lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties, "
    "lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges, "
    "productConfigurationId, serverFileId,  serverFileVersionId, checkSumMD5, fileLinks"_s;

const QString InsertTail =
    u" (folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime, "
    "lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties, "
    "lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges, "
    "productConfigurationId, serverFileId, serverFileVersionId, checkSumMD5, fileLinks) VALUES "
    "(:folderConfigurationId, :name, :clientPath, :serverPath, :checkSum, :createdDateTime, "
    ":lastModifiedDateTime, :syncStatus, :lastOperationType, :size, :nameValueProperties, "
    ":lastOperationTime, :rootFolderId, :syncOption, :parentFileId, :fileType, :ownerId, "
    ":privileges, :productConfigurationId, :serverFileId, :serverFileVersionId, :checkSumMD5, "
    ":fileLinks);"_s;

const QString UpdateTail =
    u" SET folderConfigurationId = :folderConfigurationId, name = :name, clientPath = :clientPath, "
    "serverPath = :serverPath, checkSum = :checkSum, createdDateTime = :createdDateTime, "
    "lastModifiedDateTime = :lastModifiedDateTime, syncStatus = :syncStatus, "
    "lastOperationType = :lastOperationType, size = :size, "
    "nameValueProperties = :nameValueProperties,  lastOperationTime = :lastOperationTime,  "
    "rootFolderId = :rootFolderId,  syncOption = :syncOption,  parentFileId = :parentFileId,  "
    "fileType = :fileType,  ownerId = :ownerId,  privileges = :privileges,  "
    "productConfigurationId = :productConfigurationId,  serverFileId = :serverFileId,  "
    "serverFileVersionId = :serverFileVersionId,  checkSumMD5 = :checkSumMD5,  "
    "fileLinks = :fileLinks  WHERE id = :id"_s;

const QDate Day(2024, 3, 1);
constexpr auto UnknownType = static_cast<FileConfigurationType>(3);

QString byClientPath()
{
    return Select + u" FROM FileConfiguration WHERE clientPath = :clientPath"_s;
}

QString byId()
{
    return Select + u" FROM FileConfiguration WHERE id = :id"_s;
}

FileConfiguration sampleFile()
{
    auto file = sync::test::sampleOf<FileConfiguration>();
    file.setFileType(OrdinaryFile);
    file.setFileLinks({});
    file.setFileLinksDate(QDateTime(Day, QTime(4, 0), Qt::UTC));
    file.setClientPath(u"/client/folder/path"_s);
    file.resetSyncStatusChanged();
    return file;
}

// What sampleFile() binds, without an id and with the type last but seven.
QStringList sampleBinds(FileConfigurationType type)
{
    return {
        u":folderConfigurationId int 12"_s,
        u":name QString 'name'"_s,
        u":clientPath QString '/client/folder/path'"_s,
        u":serverPath QString '/server/path'"_s,
        u":checkSum QString 'check sum'"_s,
        u":createdDateTime QDateTime 2024-03-01T01:00:00.000 UTC"_s,
        u":lastModifiedDateTime QDateTime 2024-03-01T02:00:00.000 local"_s,
        u":syncStatus int 1"_s,
        u":lastOperationType int 14"_s,
        u":size qlonglong 5000000000"_s,
        u":nameValueProperties QString '<!DOCTYPE NameValueXml>\n<NameValueXml>\n"
        " <Key><![CDATA[value]]></Key>\n</NameValueXml>\n'"_s,
        u":lastOperationTime QDateTime 2024-03-01T03:00:00.000 offset 3600"_s,
        u":rootFolderId int 15"_s,
        u":syncOption int 16"_s,
        u":parentFileId int 17"_s,
        u":fileType int "_s + QString::number(type),
        u":ownerId QString 'owner'"_s,
        u":privileges int 18"_s,
        u":productConfigurationId int 13"_s,
        u":serverFileId QString 'server file'"_s,
        u":serverFileVersionId QString 'version'"_s,
        u":checkSumMD5 QString 'md5'"_s,
        u":fileLinks QString '<FileLinks FileDate=\"2024-03-01T04:00:00Z\"/>\n'"_s};
}

QVariantList sampleRow(int id)
{
    return {
        id,
        22,
        u"row name"_s,
        u"/row/client"_s,
        u"/row/server"_s,
        u"row check sum"_s,
        u"2024-03-01T05:00:00.000"_s,
        u"2024-03-01T06:00:00.000"_s,
        3,
        23,
        6'000'000'000LL,
        u"<!DOCTYPE NameValueXml>\n<NameValueXml><row>entry</row></NameValueXml>"_s,
        u"2024-03-01T07:00:00.000"_s,
        24,
        25,
        26,
        2,
        u"row owner"_s,
        27,
        28,
        u"row server file"_s,
        u"row version"_s,
        u"row md5"_s,
        u"<FileLinks FileDate=\"2024-03-01T08:00:00\">\n <FileLink FileId=\"29\" RefId=\"r\""
        " ServerFileId=\"s\" Path=\"p\"/>\n</FileLinks>\n"_s};
}

// A row of an ordinary file, distinguished by three columns.
QVariantList rowOf(int id, int folderId, const QString& serverFileId = {})
{
    QVariantList row = sampleRow(id);
    row[1] = folderId;
    row[20] = serverFileId;
    return row;
}

FileLink makeLink(int fileId, QString path, QString serverFileId = {})
{
    FileLink link;
    link.FileId = fileId;
    link.Path = std::move(path);
    link.ServerFileId = std::move(serverFileId);
    return link;
}

// Only a manager can give a folder an id.
FolderConfiguration makeFolder(int id, int authenticationId, QString clientPath = {})
{
    const auto database = std::make_shared<RecordingDatabaseFactory>();
    QVariantList row(22);
    row[0] = id;
    row[1] = authenticationId;
    row[5] = clientPath;
    row[6] = u"/server/root"_s;
    database->answerOthers({.rows = {row}});
    return FolderConfigManager(database, nullptr).GetFolderConfigurationById(id);
}

/// Knows some folders, and notes each call in the database's log.
class FakeFolderConfigManager : public sync::interf::IFolderConfigManager
{
public:
    explicit FakeFolderConfigManager(std::shared_ptr<RecordingDatabaseFactory> database)
        : database(std::move(database))
    {
    }

    QVector<FolderConfiguration> roots;
    QMap<int, FolderConfiguration> folders;
    FolderConfiguration added;

    FolderConfiguration GetFolderConfigurationById(int id) override
    {
        database->note(u"folder by id %1"_s.arg(id));
        return folders.value(id);
    }
    FolderConfiguration AddFolderAndParent(
        const QString& path, const FolderConfiguration& root) override
    {
        database->note(u"add folder "_s + path + u" below "_s + QString::number(root.getId()));
        return added;
    }
    QVector<FolderConfiguration> GetAllRootFolders() override
    {
        database->note(u"all root folders"_s);
        return roots;
    }

    // Nothing below concerns files.
    FolderConfiguration GetFolderConfigurationByServerId(QString) override { return unasked(); }
    FolderConfiguration GetFolderConfigurationByClientPath(QString) override { return unasked(); }
    FolderConfiguration GetFolderConfigurationByClientPathAndAuthenticationId(QString, int) override
    {
        return unasked();
    }
    QVector<FolderConfiguration> GetFolderConfigurationsByAuthenticationId(int) override
    {
        return {unasked()};
    }
    QVector<FolderConfiguration> GetFolderConfigurationsByRootId(int) override
    {
        return {unasked()};
    }
    QVector<FolderConfiguration> GetFolderConfigurationsOfNonExistingRootFolders() override
    {
        return {unasked()};
    }
    QVector<FolderConfiguration> GetAll() override { return {unasked()}; }
    bool Update(FolderConfiguration) override { return unasked().isRoot(); }
    bool Add(FolderConfiguration&) override { return unasked().isRoot(); }
    bool Remove(int) override { return unasked().isRoot(); }
    bool Clean(int) override { return unasked().isRoot(); }
    bool IsInExistingClientFolder(const QString&, int, bool) override { return unasked().isRoot(); }
    bool AncestorOrDescendantOfServerFolderExists(const QString&, int, QString&) override
    {
        return unasked().isRoot();
    }
    QVector<FolderConfiguration> GetFolderConfigurationByParentId(int) override
    {
        return {unasked()};
    }
    bool IsInExistingAuthentication(int) override { return unasked().isRoot(); }
    bool IsAnyFolderConfigOutOfSync() override { return unasked().isRoot(); }
    int GetRootFolderConfigurationCount() override { return unasked().getId(); }
    void ClearCaches() override { unasked(); }
    bool CleanRootFolder(int) override { return unasked().isRoot(); }
    void RefreshNativeFileViewer() override { unasked(); }
    void RefreshNativeFileViewer(QString&) override { unasked(); }

private:
    FolderConfiguration unasked()
    {
        database->note(u"unexpected call of the folder manager"_s);
        return {};
    }

    const std::shared_ptr<RecordingDatabaseFactory> database;
};

class FakeHash : public sync::interf::ICryptographicHash
{
public:
    explicit FakeHash(std::shared_ptr<RecordingDatabaseFactory> database)
        : database(std::move(database))
    {
    }
    QString GetFileHash(QString path) override
    {
        database->note(u"hash "_s + path);
        return hash;
    }

    QString hash;

private:
    const std::shared_ptr<RecordingDatabaseFactory> database;
};

class FakeViewer : public sync::interf::IRefreshNativeFileViewer
{
public:
    explicit FakeViewer(std::shared_ptr<RecordingDatabaseFactory> database)
        : database(std::move(database))
    {
    }
    void Refresh(QString path) override
    {
        database->note(u"refresh '%1', depth %2"_s.arg(path).arg(TransactionalScope::depth()));
    }

private:
    const std::shared_ptr<RecordingDatabaseFactory> database;
};

/// Notes before each statement which of some files are on the disk.
class DiskNotingFactory : public RecordingDatabaseFactory
{
public:
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> CreateQuery() override
    {
        QStringList names;
        for (const QString& path : paths) {
            if (QFile::exists(path))
                names.append(QFileInfo(path).fileName());
        }
        note(u"on the disk: "_s + names.join(u' '));
        return RecordingDatabaseFactory::CreateQuery();
    }

    QStringList paths;
};

/// Notes what the operations call of each other. Every file has a base copy, with id 9.
class NotingManager : public FileConfigManager
{
public:
    using FileConfigManager::FileConfigManager;

    QVector<FileConfiguration> GetAllFileConfigurationsByClientPath(QString path) override
    {
        calls.append(u"all of "_s + path);
        return {};
    }
    FileConfiguration GetFileConfigurationById(int id) override
    {
        calls.append(u"get %1"_s.arg(id));
        return {};
    }
    FileConfiguration GetFileConfigurationByClientPath(QString path) override
    {
        calls.append(u"get "_s + path);
        return {};
    }
    FileConfiguration GetFileConfiguration(FileLink link, const QString& basePath) override
    {
        calls.append(u"link "_s + link.Path);
        return FileConfigManager::GetFileConfiguration(link, basePath);
    }
    bool Add(FileConfiguration& file) override
    {
        calls.append(u"add "_s + file.getName());
        return FileConfigManager::Add(file);
    }
    FileConfiguration GetBaseFileConfigurationByParentFileId(int id) override
    {
        calls.append(u"base copy of %1"_s.arg(id));
        FileConfiguration base;
        base.setId(9);
        return base;
    }
    FileConfiguration GetBaseFileConfigurationById(int id) override
    {
        calls.append(u"get base copy %1"_s.arg(id));
        return {};
    }
    QVector<FileConfiguration> GetGeneratedFileConfigurationsByParentFileId(int id) override
    {
        calls.append(u"generated files of %1"_s.arg(id));
        return {};
    }
    bool RemoveBaseFileConfiguration(int id) override
    {
        calls.append(u"remove base copy %1"_s.arg(id));
        return FileConfigManager::RemoveBaseFileConfiguration(id);
    }

    QStringList calls;
};

/// A manager over a database that records, with every service a fake.
struct Fixture
{
    std::shared_ptr<RecordingDatabaseFactory> database =
        std::make_shared<RecordingDatabaseFactory>();
    std::shared_ptr<FakeHash> hash = std::make_shared<FakeHash>(database);
    std::shared_ptr<FakeViewer> viewer = std::make_shared<FakeViewer>(database);
    std::shared_ptr<FakeFolderConfigManager> folders =
        std::make_shared<FakeFolderConfigManager>(database);
    FileConfigManager manager{database, hash, viewer, folders};
};

// The log of a statement inside a scope after whose release the viewer is refreshed.
QStringList refreshingLog(const QString& sql, const QStringList& binds, const QString& refresh)
{
    return statementLog(sql, binds, 1) << refresh;
}

void addTables()
{
    QTest::addColumn<FileConfigurationType>("type");
    QTest::addColumn<QString>("table");
    QTest::newRow("ordinary") << OrdinaryFile << u"FileConfiguration"_s;
    QTest::newRow("generated") << GeneratedFile << u"GeneratedFileConfiguration"_s;
    QTest::newRow("base") << BaseFile << u"BaseFileConfiguration"_s;
}

} // namespace

class TestFileConfigManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("TZ", "Asia/Kolkata"); }

    void orderedListsEndWithTheClauseOfTheirOrder_data()
    {
        QTest::addColumn<int>("order");
        QTest::addColumn<QString>("clause");
        const char16_t* clauses[] = {
            u"Id",
            u"Id DESC",
            u"Name",
            u"Name DESC",
            u"FolderConfigurationId",
            u"FolderConfigurationId DESC",
            u"ClientPath",
            u"ClientPath DESC",
            u"ServerPath",
            u"ServerPath DESC",
            u"CheckSum",
            u"CheckSum DESC",
            u"CreatedDateTime",
            u"CreatedDateTime DESC",
            u"LastModifiedDateTime",
            u"LastModifiedDateTime DESC",
            u"SyncStatus",
            u"SyncStatus DESC",
            u"LastOperationType",
            u"LastOperationType DESC",
            u"Size",
            u"Size DESC"};
        QCOMPARE(std::size(clauses), std::size_t(22));
        int order = 0;
        for (const char16_t* clause : clauses) {
            QTest::addRow("%d", order) << order << QString::fromUtf16(clause);
            ++order;
        }
        for (const int unknown : {22, -1, std::numeric_limits<int>::max()})
            QTest::addRow("%d", unknown) << unknown << u"Id"_s;
    }

    void orderedListsEndWithTheClauseOfTheirOrder()
    {
        QFETCH(int, order);
        QFETCH(QString, clause);
        const auto value = static_cast<FileConfigOrderByEnum>(order);
        Fixture test;

        test.manager.GetFileConfigurationsByFolderId(7, value);
        test.manager.GetFileConfigurationsByRootFolderId(8, value);
        test.manager.GetGeneratedFileConfigurationsByRootFolderId(9, value);

        const QStringList expected =
            statementLog(
                Select +
                    u" FROM FileConfiguration WHERE folderConfigurationId = "
                    ":folderConfigurationId ORDER BY "_s +
                    clause,
                {u":folderConfigurationId int 7"_s}) +
            statementLog(
                Select + u" FROM FileConfiguration WHERE rootFolderId = :rootFolderId ORDER BY "_s +
                    clause,
                {u":rootFolderId int 8"_s}) +
            statementLog(
                Select +
                    u" FROM GeneratedFileConfiguration WHERE rootFolderId = :rootFolderId "
                    "ORDER BY "_s +
                    clause,
                {u":rootFolderId int 9"_s});
        QCOMPARE(test.database->log(), expected);
    }

    void orderedListsHoldAllRows()
    {
        Fixture test;
        test.database->answerOthers({.rows = {sampleRow(6), sampleRow(5)}});

        for (const auto& files :
             {test.manager.GetFileConfigurationsByFolderId(7, sync::interf::OrderByName),
              test.manager.GetFileConfigurationsByRootFolderId(7, sync::interf::OrderByName),
              test.manager.GetGeneratedFileConfigurationsByRootFolderId(
                  7, sync::interf::OrderByName)}) {
            QCOMPARE(files.size(), 2);
            QCOMPARE(files[0].getId(), 6);
        }
    }

    void typesSelectTheirTable_data() { addTables(); }
    void typesSelectTheirTable()
    {
        QFETCH(FileConfigurationType, type);
        QFETCH(QString, table);

        QCOMPARE(Fixture().manager.GetTableNameByFileType(type), table);
    }

    void unknownTypesSelectNoTable()
    {
        Fixture test;

        QCOMPARE(test.manager.GetTableNameByFileType(UnknownType), QString());
        QCOMPARE(
            test.manager.GetTableNameByFileType(static_cast<FileConfigurationType>(-1)), QString());
    }

    void columnsAreReadInTheOrderOfTheirList()
    {
        Fixture test;
        test.database->answerOthers({.rows = {sampleRow(5)}});
        test.database->noteRowCalls();

        test.manager.GetFileConfigurationById(5);

        QStringList expected{
            u"create query, depth 0"_s, u"prepare "_s + byId(), u"bind :id int 5"_s,
            u"exec, depth 0"_s,         u"next true"_s,         u"isValid true"_s};
        for (int column = 0; column < 24; ++column)
            expected.append(u"value "_s + QString::number(column));
        QCOMPARE(test.database->log(), expected << u"release"_s);
    }

    void timesAreLabelledAsUtcAndNotConverted()
    {
        Fixture test;
        QVariantList row = sampleRow(5);
        row[6] = QDateTime(Day, QTime(5, 0), Qt::LocalTime);
        row[7] = u"2024-03-01T06:00:00+05:30"_s;
        row[12] = u"2024-03-01T07:00:00Z"_s;
        test.database->answerOthers({.rows = {row}});

        const FileConfiguration file = test.manager.GetFileConfigurationById(5);

        const QDateTime times[] = {
            file.getCreatedDateTime(), file.getLastModifiedDateTime(), file.getLastOperationTime(),
            file.getFileLinksDate()};
        for (int at = 0; at < 4; ++at) {
            QCOMPARE(times[at], QDateTime(Day, QTime(5 + at, 0), Qt::UTC));
            QCOMPARE(times[at].timeSpec(), Qt::UTC);
        }
    }

    void anEmptyLinksColumnLeavesTheDateNullInUtc()
    {
        Fixture test;
        QVariantList row = sampleRow(5);
        row[23] = QString();
        test.database->answerOthers({.rows = {row}});

        const FileConfiguration file = test.manager.GetFileConfigurationById(5);

        QVERIFY(file.getFileLinks().isEmpty());
        QVERIFY(file.getFileLinksDate().isNull());
        QCOMPARE(file.getFileLinksDate().timeSpec(), Qt::UTC);
    }

    void filesOfMissingRootsAreThoseOfNoRootId_data()
    {
        QTest::addColumn<QList<int>>("rootIds");
        QTest::addColumn<QString>("list");
        QTest::newRow("none") << QList<int>{} << u""_s;
        QTest::newRow("one") << QList<int>{7} << u"7"_s;
        QTest::newRow("three") << QList<int>{7, 3, 12} << u"7,3,12"_s;
    }

    void filesOfMissingRootsAreThoseOfNoRootId()
    {
        QFETCH(QList<int>, rootIds);
        QFETCH(QString, list);
        Fixture test;
        for (const int id : rootIds)
            test.folders->roots.append(makeFolder(id, 1));
        test.database->answerOthers({.rows = {sampleRow(5), sampleRow(6)}});

        const auto files = test.manager.GetFileConfigurationsOfNonExistingRootFolders();

        QCOMPARE(files.size(), 2);
        QCOMPARE(
            test.database->log(),
            QStringList{u"all root folders"_s} +
                statementLog(
                    Select + u" FROM FileConfiguration WHERE rootFolderId NOT IN ("_s + list +
                    u')'));
    }

    void lookupWithASignInReturnsTheFirstFileWhoseFolderHasIt()
    {
        Fixture test;
        test.folders->folders = {{1, makeFolder(1, 41)}, {2, makeFolder(2, 42)}};
        test.database->answerOthers({.rows = {rowOf(5, 1), rowOf(6, 2), rowOf(7, 2)}});

        const auto byClient =
            test.manager.GetFileConfigurationByClientPathAndAuthenticationId(u"/c"_s, 42);
        const auto byServer =
            test.manager.GetFileConfigurationByServerPathAndAuthenticationId(u"/s"_s, 42);

        QCOMPARE(byClient.getId(), 6);
        QCOMPARE(byServer.getId(), 6);
        const QStringList folderCalls{u"folder by id 1"_s, u"folder by id 2"_s};
        QCOMPARE(
            test.database->log(),
            statementLog(byClientPath(), {u":clientPath QString '/c'"_s}) + folderCalls +
                statementLog(
                    Select + u" FROM FileConfiguration WHERE serverPath = :serverPath"_s,
                    {u":serverPath QString '/s'"_s}) +
                folderCalls);
    }

    void lookupWithASignInThatNoFolderHasIsADefaultRecord()
    {
        Fixture test;
        test.folders->folders = {{1, makeFolder(1, 41)}};
        test.database->answerOthers({.rows = {rowOf(5, 1)}});

        QCOMPARE(
            test.manager.GetFileConfigurationByClientPathAndAuthenticationId(u"/c"_s, 42).getId(),
            -1);
        QCOMPARE(
            test.manager.GetFileConfigurationByServerPathAndAuthenticationId(u"/s"_s, 42).getId(),
            -1);
    }

    void aLinkLeadsToTheFileWithItsId()
    {
        Fixture test;
        test.database->answerOthers({.rows = {sampleRow(5)}});

        const auto file = test.manager.GetFileConfiguration(makeLink(5, u"b.txt"_s), u"/x/y"_s);

        QCOMPARE(file.getId(), 5);
        QCOMPARE(test.database->log(), statementLog(byId(), {u":id int 5"_s}));
    }

    void aLinkWhoseIdIsNotStoredLeadsToTheFileAtItsPath()
    {
        Fixture test;
        test.database->answer(u"clientPath = "_s, {.rows = {sampleRow(6)}});

        const auto file =
            test.manager.GetFileConfiguration(makeLink(5, u"../%1/b.txt"_s), u"/x/%2/y"_s);

        QCOMPARE(file.getId(), 6);
        QCOMPARE(
            test.database->log(),
            statementLog(byId(), {u":id int 5"_s}) +
                statementLog(byClientPath(), {u":clientPath QString '/x/%1/b.txt'"_s}));
    }

    void aLinkWithoutIdIsLookedUpByItsPathOnly()
    {
        Fixture test;

        const auto file =
            test.manager.GetFileConfiguration(makeLink(-1, u"/abs/./b.txt"_s), u"/x/y"_s);

        QCOMPARE(file.getId(), -1);
        QCOMPARE(
            test.database->log(),
            statementLog(byClientPath(), {u":clientPath QString '/abs/b.txt'"_s}));
    }

    void updateStoresEveryFieldInTheTableOfTheType_data() { addTables(); }
    void updateStoresEveryFieldInTheTableOfTheType()
    {
        QFETCH(FileConfigurationType, type);
        QFETCH(QString, table);
        Fixture test;
        FileConfiguration file = sampleFile();
        file.setFileType(type);

        QVERIFY(test.manager.Update(file));

        QCOMPARE(
            test.database->log(), statementLog(
                                      u"UPDATE "_s + table + UpdateTail,
                                      QStringList{u":id int 11"_s} + sampleBinds(type), 1));
    }

    void addStoresEveryFieldInTheTableOfTheType_data() { addTables(); }
    void addStoresEveryFieldInTheTableOfTheType()
    {
        QFETCH(FileConfigurationType, type);
        QFETCH(QString, table);
        Fixture test;
        test.database->answer(u"INSERT"_s, {.lastInsertId = 77});
        FileConfiguration file = sampleFile();
        file.setFileType(type);

        QVERIFY(test.manager.Add(file));

        QCOMPARE(file.getId(), 77);
        QCOMPARE(
            test.database->log(),
            statementLog(byClientPath(), {u":clientPath QString '/client/folder/path'"_s}) +
                statementLog(u"INSERT INTO "_s + table + InsertTail, sampleBinds(type), 1));
    }

    void aRecordOfDefaultsIsBoundAsItIs()
    {
        Fixture test;

        QVERIFY(test.manager.Update(FileConfiguration()));

        const QStringList log = test.database->log();
        QVERIFY(log.contains(u"bind :id int -1"_s));
        QVERIFY(log.contains(u"bind :name QString null"_s));
        QVERIFY(log.contains(u"bind :createdDateTime QDateTime null"_s));
        QVERIFY(log.contains(u"bind :privileges int 31"_s));
        QVERIFY(log.contains(u"bind :fileLinks QString ''"_s));
    }

    void updateThatFailsIsFalseAndRefreshesNothing()
    {
        Fixture test;
        test.database->answerOthers({.fails = true});
        FileConfiguration file = sampleFile();
        file.setSyncStatus(FileSyncing);

        QVERIFY(!test.manager.Update(file));

        QCOMPARE(
            test.database->log(), statementLog(
                                      u"UPDATE FileConfiguration"_s + UpdateTail,
                                      QStringList{u":id int 11"_s} + sampleBinds(OrdinaryFile), 1));
    }

    void addThatFailsIsFalseAndLeavesTheId()
    {
        Fixture test;
        test.database->answer(u"INSERT"_s, {.fails = true, .lastInsertId = 77});
        FileConfiguration file = sampleFile();
        file.setSyncStatus(FileSyncing);
        file.setId(-1);

        QVERIFY(!test.manager.Add(file));

        QCOMPARE(file.getId(), -1);
        QCOMPARE(test.database->log().filter(u"refresh"_s), QStringList());
    }

    void updateOfAnUnknownTypeIsRefusedUntouched()
    {
        Fixture test;
        FileConfiguration file = sampleFile();
        file.setFileType(UnknownType);
        file.setFileLinks({makeLink(1, u"a"_s)});

        QVERIFY(!test.manager.Update(file));

        QCOMPARE(test.database->log(), QStringList());
    }

    void addOfAnUnknownTypeWritesNothing()
    {
        Fixture test;
        FileConfiguration file = sampleFile();
        file.setFileType(UnknownType);
        file.setFileLinks({makeLink(1, u"a"_s)});

        QVERIFY(!test.manager.Add(file));

        QCOMPARE(
            test.database->log(),
            statementLog(byClientPath(), {u":clientPath QString '/client/folder/path'"_s}));
        QCOMPARE(file.getId(), 11);
    }

    void addWithoutAClientPathRunsNothing()
    {
        Fixture test;
        FileConfiguration file = sampleFile();
        file.setClientPath(u""_s);

        QVERIFY(!test.manager.Add(file));

        QCOMPARE(test.database->log(), QStringList());
    }

    void addOfAPathThatIsStoredInTheSameFolderUpdatesThatRow_data() { addTables(); }
    void addOfAPathThatIsStoredInTheSameFolderUpdatesThatRow()
    {
        QFETCH(FileConfigurationType, type);
        QFETCH(QString, table);
        Fixture test;
        // Two in other folders around two in the record's own: the first of these counts.
        test.database->answer(
            u"SELECT"_s, {.rows = {rowOf(50, 1), rowOf(51, 12), rowOf(52, 12), rowOf(53, 2)}});
        FileConfiguration file = sampleFile();
        file.setFileType(type);

        QVERIFY(test.manager.Add(file));

        QCOMPARE(file.getId(), 51);
        QCOMPARE(
            test.database->log(),
            statementLog(byClientPath(), {u":clientPath QString '/client/folder/path'"_s}) +
                statementLog(
                    u"UPDATE "_s + table + UpdateTail,
                    QStringList{u":id int 51"_s} + sampleBinds(type), 1));
    }

    void addOfAPathThatIsStoredInAnotherFolderInserts()
    {
        Fixture test;
        test.database->answer(u"SELECT"_s, {.rows = {rowOf(50, 1)}});
        test.database->answer(u"INSERT"_s, {.lastInsertId = 77});
        FileConfiguration file = sampleFile();

        QVERIFY(test.manager.Add(file));

        QCOMPARE(file.getId(), 77);
    }

    void addThatBecomesAFailingUpdateIsFalse()
    {
        Fixture test;
        test.database->answer(u"SELECT"_s, {.rows = {rowOf(51, 12)}});
        test.database->answer(u"UPDATE"_s, {.fails = true});
        FileConfiguration file = sampleFile();

        QVERIFY(!test.manager.Add(file));

        QCOMPARE(file.getId(), 51);
    }

    void writingARecordWhoseStatusWasSetRefreshesItsFolder()
    {
        Fixture test;
        FileConfiguration file = sampleFile();
        file.setSyncStatus(FileSyncing);

        QVERIFY(test.manager.Update(file));

        QCOMPARE(
            test.database->takeLog(), refreshingLog(
                                          u"UPDATE FileConfiguration"_s + UpdateTail,
                                          QStringList{u":id int 11"_s} + sampleBinds(OrdinaryFile),
                                          u"refresh '/client/folder', depth 1"_s));

        QVERIFY(test.manager.Add(file));

        QCOMPARE(
            test.database->log().filter(u"refresh"_s),
            QStringList{u"refresh '/client/folder', depth 1"_s});
    }

    void aWriteLeavesTheStatusMarkedSoThatTheNextRefreshesAgain()
    {
        Fixture test;
        FileConfiguration file = sampleFile();
        file.setSyncStatus(FileSyncing);

        QVERIFY(test.manager.Add(file));
        QVERIFY(file.getSyncStatusChanged());
        QVERIFY(test.manager.Update(file));

        QCOMPARE(test.database->log().filter(u"refresh"_s).size(), 2);
    }

    void withoutAViewerNothingIsRefreshed()
    {
        Fixture test;
        FileConfigManager manager(test.database, test.hash, nullptr, test.folders);
        FileConfiguration file = sampleFile();
        file.setSyncStatus(FileSyncing);

        QVERIFY(manager.Update(file));
        QVERIFY(manager.Add(file));
        QVERIFY(manager.RemoveFileConfigurationAndLinkedConfigurations(1));

        QCOMPARE(test.database->log().filter(u"refresh"_s), QStringList());
    }

    void addCallsAnOverriddenUpdate()
    {
        struct Manager : FileConfigManager
        {
            using FileConfigManager::FileConfigManager;
            bool Update(FileConfiguration config) override
            {
                updatedId = config.getId();
                return false;
            }
            int updatedId = 0;
        };
        Fixture test;
        test.database->answer(u"SELECT"_s, {.rows = {rowOf(51, 12)}});
        Manager manager(test.database, test.hash, test.viewer, test.folders);
        FileConfiguration file = sampleFile();

        QVERIFY(!manager.Add(file));

        QCOMPARE(manager.updatedId, 51);
    }

    void operationsHonourOverrides()
    {
        const QTemporaryDir directory;
        const QString linked = directory.filePath(u"linked"_s);
        makeFile(linked);
        Fixture test;
        test.folders->folders = {{15, makeFolder(15, 1, directory.path())}};
        NotingManager manager(test.database, test.hash, test.viewer, test.folders);
        FileConfiguration file = sampleFile();
        file.setClientPath(directory.filePath(u"file"_s));
        file.setFileLinks({makeLink(5, u"linked"_s)});

        QVERIFY(manager.Add(file));
        QVERIFY(manager.RemoveFileConfigurationAndLinkedConfigurations(7));

        QCOMPARE(
            manager.calls, (QStringList{
                               u"add name"_s,
                               u"all of "_s + file.getClientPath(),
                               u"link linked"_s,
                               u"get 5"_s,
                               u"get "_s + linked,
                               u"add linked"_s,
                               u"all of "_s + linked,
                               u"base copy of 7"_s,
                               u"remove base copy 9"_s,
                               u"get base copy 9"_s,
                               u"generated files of 7"_s,
                               u"get 7"_s,
                           }));
    }

    void linksOutsideTheRootOrWithoutFileLoseTheirId()
    {
        const QTemporaryDir directory;
        const QString root = directory.filePath(u"root"_s);
        makeFile(directory.filePath(u"outside.txt"_s));
        makeFile(root + u"/folder/inside.txt"_s);
        Fixture test;
        test.folders->folders = {{15, makeFolder(15, 1, root)}};
        FileConfiguration file = sampleFile();
        file.setClientPath(root + u"/folder/path"_s);
        file.setFileLinks(
            {makeLink(1, u"../../outside.txt"_s, u"s-1"_s), makeLink(2, u"missing.txt"_s),
             makeLink(3, u"../folder"_s)});

        QVERIFY(test.manager.Update(file));

        const QStringList log = test.database->log();
        QCOMPARE(log.value(0), u"folder by id 15"_s);
        QCOMPARE(log.filter(u"create query"_s), QStringList{u"create query, depth 1"_s});
        QCOMPARE(
            log.filter(u":fileLinks QString"_s),
            QStringList{
                u"bind :fileLinks QString '<FileLinks FileDate=\"2024-03-01T04:00:00Z\">\n"
                " <FileLink FileId=\"-1\" RefId=\"\" ServerFileId=\"s-1\""
                " Path=\"../../outside.txt\"/>\n"
                " <FileLink FileId=\"-1\" RefId=\"\" ServerFileId=\"\" Path=\"missing.txt\"/>\n"
                " <FileLink FileId=\"-1\" RefId=\"\" ServerFileId=\"\" Path=\"../folder\"/>\n"
                "</FileLinks>\n'"_s});
    }

    void linksToStoredFilesReceiveTheirIds()
    {
        const QTemporaryDir root;
        makeFile(root.filePath(u"linked.txt"_s));
        Fixture test;
        test.folders->folders = {{15, makeFolder(15, 1, root.path())}};
        test.database->answer(u"WHERE clientPath"_s, {.rows = {rowOf(60, 1, u"s-60"_s)}});
        FileConfiguration file = sampleFile();
        file.setClientPath(root.filePath(u"path"_s));
        file.setFileLinks({makeLink(-1, u"linked.txt"_s, u"old"_s)});

        QVERIFY(test.manager.Add(file));

        QCOMPARE(file.getFileLinks().size(), 1);
        QCOMPARE(file.getFileLinks()[0].FileId, 60);
        QCOMPARE(file.getFileLinks()[0].ServerFileId, u"s-60"_s);
        QVERIFY(test.database->log().filter(u"add folder"_s).isEmpty());
    }

    void linksToNewFilesRegisterThemFirst()
    {
        const QTemporaryDir root;
        const QString linked = root.filePath(u"sub/%1 linked.txt"_s);
        makeFile(linked);
        Fixture test;
        test.folders->folders = {{15, makeFolder(15, 1, root.path())}};
        test.folders->added = makeFolder(70, 1);
        test.database->answer(5, {.lastInsertId = 80}); // two lookups for each file before
        test.database->answer(u"INSERT"_s, {.lastInsertId = 81});
        FileConfiguration file = sampleFile();
        file.setClientPath(root.filePath(u"path"_s));
        file.setFileLinks({makeLink(9, u"sub/%1 linked.txt"_s, u"s-9"_s)});

        QVERIFY(test.manager.Add(file));

        QCOMPARE(file.getId(), 81);
        QCOMPARE(file.getFileLinks()[0].FileId, 80);
        QCOMPARE(file.getFileLinks()[0].ServerFileId, u"s-9"_s);
        const QStringList linkedPath{u":clientPath QString '"_s + linked + u'\''};
        const QStringList linkedBinds{
            u":folderConfigurationId int 70"_s,
            u":name QString '%1 linked.txt'"_s,
            linkedPath[0],
            u":serverPath QString '/server/root/sub/%1 linked.txt'"_s,
            u":checkSum QString null"_s,
            u":createdDateTime QDateTime null"_s,
            u":lastModifiedDateTime QDateTime null"_s,
            u":syncStatus int 3"_s,
            u":lastOperationType int 0"_s,
            u":size qlonglong 0"_s,
            u":nameValueProperties QString '<!DOCTYPE NameValueXml>\n<NameValueXml/>\n'"_s,
            u":lastOperationTime QDateTime null"_s,
            u":rootFolderId int 15"_s,
            u":syncOption int 0"_s,
            u":parentFileId int -1"_s,
            u":fileType int 0"_s,
            u":ownerId QString null"_s,
            u":privileges int 31"_s,
            u":productConfigurationId int 13"_s,
            u":serverFileId QString 's-9'"_s,
            u":serverFileVersionId QString null"_s,
            u":checkSumMD5 QString null"_s,
            u":fileLinks QString ''"_s};
        const QStringList expected =
            statementLog(
                byClientPath(), {u":clientPath QString '"_s + root.filePath(u"path"_s) + u'\''}) +
            QStringList{u"folder by id 15"_s} + statementLog(byId(), {u":id int 9"_s}) +
            statementLog(byClientPath(), linkedPath) +
            QStringList{u"add folder "_s + root.filePath(u"sub"_s) + u" below 15"_s} +
            statementLog(byClientPath(), linkedPath) +
            refreshingLog(
                u"INSERT INTO FileConfiguration"_s + InsertTail, linkedBinds,
                u"refresh '"_s + root.filePath(u"sub"_s) + u"', depth 1"_s);
        QCOMPARE(test.database->log().first(expected.size()), expected);
    }

    void aLinkWhoseFileCannotBeRegisteredHasNoId()
    {
        const QTemporaryDir root;
        makeFile(root.filePath(u"linked.txt"_s));
        Fixture test;
        test.folders->folders = {{15, makeFolder(15, 1, root.path())}};
        test.database->answer(u"INSERT"_s, {.fails = true});
        FileConfiguration file = sampleFile();
        file.setClientPath(root.filePath(u"path"_s));
        file.setFileLinks({makeLink(9, u"linked.txt"_s)});

        QVERIFY(!test.manager.Add(file));

        QCOMPARE(file.getFileLinks()[0].FileId, -1);
    }

    void theLinksOfTheCallersRecordStayWhenAddBecomesAnUpdate()
    {
        const QTemporaryDir root;
        Fixture test;
        test.folders->folders = {{15, makeFolder(15, 1, root.path())}};
        test.database->answer(u"SELECT"_s, {.rows = {rowOf(51, 12)}});
        FileConfiguration file = sampleFile();
        file.setClientPath(root.filePath(u"path"_s));
        file.setFileLinks({makeLink(9, u"missing.txt"_s)});

        QVERIFY(test.manager.Add(file));

        QCOMPARE(file.getFileLinks()[0].FileId, 9);
    }

    void removalRunsItsStatement_data()
    {
        QTest::addColumn<Write>("removal");
        QTest::addColumn<QStringList>("expected");
        using Manager = FileConfigManager;
        QTest::newRow("RemoveBaseFileConfiguration")
            << Write([](Manager& manager) { return manager.RemoveBaseFileConfiguration(7); })
            << statementLog(
                   Select + u" FROM BaseFileConfiguration WHERE id = :id"_s, {u":id int 7"_s}) +
                   statementLog(
                       u"DELETE FROM BaseFileConfiguration WHERE Id = :id;"_s, {u":id int 7"_s}, 1);
        QTest::newRow("RemoveGeneratedFileConfiguration")
            << Write([](Manager& manager) { return manager.RemoveGeneratedFileConfiguration(7); })
            << statementLog(
                   Select + u" FROM GeneratedFileConfiguration WHERE id = :id"_s,
                   {u":id int 7"_s}) +
                   statementLog(
                       u"DELETE FROM GeneratedFileConfiguration WHERE Id = :id;"_s,
                       {u":id int 7"_s}, 1);
        QTest::newRow("RemoveByFolderConfigurationId")
            << Write([](Manager& manager) { return manager.RemoveByFolderConfigurationId(7); })
            << statementLog(
                   u"DELETE FROM FileConfiguration WHERE folderConfigurationId = "
                   ":folderConfigurationId;"_s,
                   {u":folderConfigurationId int 7"_s}, 1);
        QTest::newRow("RemoveByRootFolderId")
            << Write([](Manager& manager) { return manager.RemoveByRootFolderId(7); })
            << statementLog(
                   u"DELETE FROM FileConfiguration WHERE rootFolderId = :rootFolderId;"_s,
                   {u":rootFolderId int 7"_s}, 1);
        QTest::newRow("RemoveGeneratedFileConfigurationsByRootFolderId")
            << Write([](Manager& manager) {
                   return manager.RemoveGeneratedFileConfigurationsByRootFolderId(7);
               })
            << statementLog(
                   u"DELETE FROM GeneratedFileConfiguration WHERE rootFolderId = :rootFolderId;"_s,
                   {u":rootFolderId int 7"_s}, 1);
        QTest::newRow("UpdateSyncStatusFromSyncingToNotSynced")
            << Write([](Manager& manager) {
                   return manager.UpdateSyncStatusFromSyncingToNotSynced(7);
               })
            << statementLog(
                   u"UPDATE FileConfiguration SET syncStatus = :syncStatusNotSynced WHERE "
                   "folderConfigurationId = :folderConfigurationId AND syncStatus = "
                   ":syncStatusSyncing;"_s,
                   {u":syncStatusNotSynced int 2"_s, u":folderConfigurationId int 7"_s,
                    u":syncStatusSyncing int 1"_s},
                   1);
    }

    void removalRunsItsStatement()
    {
        QFETCH(Write, removal);
        QFETCH(QStringList, expected);
        Fixture test;

        QVERIFY(removal(test.manager));
        QCOMPARE(test.database->takeLog(), expected);

        test.database->answerOthers({.fails = true});
        QVERIFY(!removal(test.manager));
        QCOMPARE(test.database->log(), expected);
    }

    void removingAFileWithoutDependantsRemovesItsRowAndRefreshesItsFolder()
    {
        Fixture test;
        test.database->answer(byId(), {.rows = {sampleRow(7)}});

        QVERIFY(test.manager.RemoveFileConfigurationAndLinkedConfigurations(7));

        QCOMPARE(
            test.database->log(), baseRead() + generatedRead() +
                                      statementLog(byId(), {u":id int 7"_s}) +
                                      refreshingLog(
                                          u"DELETE FROM FileConfiguration WHERE Id = :id;"_s,
                                          {u":id int 7"_s}, u"refresh '/row', depth 1"_s));
    }

    void removingAFileRemovesTheRowsOfItsBaseCopyAndGeneratedFiles()
    {
        Fixture test;
        answerCascade(*test.database);

        QVERIFY(test.manager.RemoveFileConfigurationAndLinkedConfigurations(7));

        QCOMPARE(test.database->log(), wholeCascade(true));
    }

    void filesLeaveTheDiskBeforeTheirRows()
    {
        const QTemporaryDir directory;
        const auto database = std::make_shared<DiskNotingFactory>();
        database->paths = {
            directory.filePath(u"copies/base"_s), directory.filePath(u"generated"_s)};
        for (const QString& path : std::as_const(database->paths))
            makeFile(path);
        QVariantList base = sampleRow(40);
        base[3] = database->paths[0];
        QVariantList generated = sampleRow(41);
        generated[3] = database->paths[1];
        database->answer(u"FROM BaseFileConfiguration WHERE parentFileId"_s, {.rows = {base}});
        database->answer(
            u"FROM GeneratedFileConfiguration WHERE parentFileId"_s, {.rows = {generated}});
        const Fixture services;
        FileConfigManager manager(database, services.hash, nullptr, services.folders);

        QVERIFY(manager.RemoveFileConfigurationAndLinkedConfigurations(7));

        QStringList removals;
        QString onTheDisk;
        for (const QString& line : database->log()) {
            if (line.startsWith(u"on the disk"))
                onTheDisk = line;
            else if (line.startsWith(u"prepare DELETE"))
                removals.append(line.section(u' ', 1, 3) + u", "_s + onTheDisk);
        }
        QCOMPARE(
            removals, (QStringList{
                          u"DELETE FROM BaseFileConfiguration, on the disk: generated"_s,
                          u"DELETE FROM GeneratedFileConfiguration, on the disk: "_s,
                          u"DELETE FROM FileConfiguration, on the disk: "_s}));
    }

    void generatedRowsAreRemovedAlsoWhenTheBaseRowIsNot()
    {
        Fixture test;
        answerCascade(*test.database);
        test.database->answer(u"DELETE FROM BaseFileConfiguration"_s, {.fails = true});

        QVERIFY(!test.manager.RemoveFileConfigurationAndLinkedConfigurations(7));

        QCOMPARE(test.database->log(), wholeCascade(true));
    }

    void theRowIsRemovedAlsoWhenTheGeneratedRowsAreNot()
    {
        Fixture test;
        answerCascade(*test.database);
        test.database->answer(u"DELETE FROM GeneratedFileConfiguration"_s, {.fails = true});

        QVERIFY(!test.manager.RemoveFileConfigurationAndLinkedConfigurations(7));

        QCOMPARE(test.database->log(), wholeCascade(true));
    }

    void aRowThatCannotBeRemovedMakesTheResultFalse()
    {
        Fixture test;
        answerCascade(*test.database);
        test.database->answer(u"DELETE FROM FileConfiguration"_s, {.fails = true});

        QVERIFY(!test.manager.RemoveFileConfigurationAndLinkedConfigurations(7));

        QCOMPARE(test.database->log(), wholeCascade(false));
    }

    void removalByStatusRemovesTheRowsBelowMatchingOnesAndIsFalse()
    {
        Fixture test;
        QVariantList other = sampleRow(31);
        other[8] = 1;
        test.database->answer(u"SELECT"_s, {.rows = {sampleRow(30), other, sampleRow(32)}});

        QVERIFY(!test.manager.RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(
            7, FileCreated));

        const QString remove =
            u"DELETE FROM GeneratedFileConfiguration WHERE parentFileId = :parentFileId;"_s;
        QCOMPARE(
            test.database->log(),
            statementLog(
                Select + u" FROM GeneratedFileConfiguration WHERE rootFolderId = :rootFolderId "
                         "ORDER BY Id"_s,
                {u":rootFolderId int 7"_s}) +
                statementLog(remove, {u":parentFileId int 30"_s}, 1) +
                statementLog(remove, {u":parentFileId int 32"_s}, 1));
    }

    void timesAgreeWithinLessThanTwoSeconds_data()
    {
        QTest::addColumn<int>("modifiedOffMs");
        QTest::addColumn<int>("createdOffMs");
        QTest::addColumn<bool>("equal");
        QTest::newRow("same") << 0 << 0 << true;
        QTest::newRow("one second later") << 1000 << 1000 << true;
        QTest::newRow("one second earlier") << -1000 << -1000 << true;
        QTest::newRow("just below two") << 1999 << -1999 << true;
        QTest::newRow("modified two later") << 2000 << 0 << false;
        QTest::newRow("modified two earlier") << -2000 << 0 << false;
        QTest::newRow("created two later") << 0 << 2000 << false;
        QTest::newRow("created two earlier") << 0 << -2000 << false;
        QTest::newRow("years") << 2'000'000'000 << 0 << false;
    }

    void timesAgreeWithinLessThanTwoSeconds()
    {
        QFETCH(int, modifiedOffMs);
        QFETCH(int, createdOffMs);
        QFETCH(bool, equal);
        const QTemporaryDir directory;
        QFileInfo file = makeOldFile(directory.filePath(u"file"_s));
        Fixture test;
        FileConfiguration config;
        config.setLastModifiedDateTime(file.lastModified().toUTC().addMSecs(modifiedOffMs));
        config.setCreatedDateTime(creationTime(file).toUTC().addMSecs(createdOffMs));

        QCOMPARE(test.manager.FileAndConfigTimestampsAreEqual(file, config), equal);
    }

    void timesAgreeAlsoWhenTheyAreOfAnotherZone()
    {
        const QTemporaryDir directory;
        QFileInfo file = makeOldFile(directory.filePath(u"file"_s));
        Fixture test;
        FileConfiguration config;
        config.setLastModifiedDateTime(file.lastModified().toOffsetFromUtc(-7200));
        config.setCreatedDateTime(creationTime(file).toOffsetFromUtc(7200));

        QVERIFY(test.manager.FileAndConfigTimestampsAreEqual(file, config));
    }

    void withoutABirthTimeTheMetadataChangeTimeCounts()
    {
        // A file system that knows no birth times.
        QFileInfo file(u"/proc/version"_s);
        if (file.birthTime().isValid() || !file.exists())
            file = QFileInfo(u"/sys/kernel/uevent_seqnum"_s);
        QVERIFY(!file.birthTime().isValid());
        Fixture test;
        FileConfiguration config;
        config.setLastModifiedDateTime(file.lastModified());
        config.setCreatedDateTime(file.metadataChangeTime());

        QVERIFY(test.manager.FileAndConfigTimestampsAreEqual(file, config));
        config.setCreatedDateTime(file.metadataChangeTime().addSecs(2));
        QVERIFY(!test.manager.FileAndConfigTimestampsAreEqual(file, config));
    }

    void aTimeThatIsNotKnownEqualsNothing()
    {
        const QTemporaryDir directory;
        QFileInfo file = makeOldFile(directory.filePath(u"file"_s));
        QFileInfo missing(directory.filePath(u"missing"_s));
        Fixture test;
        FileConfiguration neither;
        FileConfiguration modified;
        modified.setLastModifiedDateTime(file.lastModified());
        FileConfiguration created;
        created.setCreatedDateTime(creationTime(file));

        QVERIFY(!test.manager.FileAndConfigTimestampsAreEqual(file, neither));
        QVERIFY(!test.manager.FileAndConfigTimestampsAreEqual(file, modified));
        QVERIFY(!test.manager.FileAndConfigTimestampsAreEqual(file, created));
        QVERIFY(!test.manager.FileAndConfigTimestampsAreEqual(missing, neither));
    }

    void aFileWithTheStoredTimesHasNotChangedWhateverItsContent()
    {
        const QTemporaryDir directory;
        QFileInfo file = makeOldFile(directory.filePath(u"file"_s));
        Fixture test;
        test.hash->hash = u"other"_s;
        FileConfiguration config;
        config.setCheckSum(u"stored"_s);
        config.setLastModifiedDateTime(file.lastModified());
        config.setCreatedDateTime(creationTime(file));

        QVERIFY(!test.manager.LocalFileHasChanged(file, config));

        QCOMPARE(test.database->log(), QStringList());
    }

    void aFileWithOtherTimesHasChangedWhenItsChecksumDiffers_data()
    {
        QTest::addColumn<QString>("checkSum");
        QTest::addColumn<bool>("changed");
        QTest::newRow("same") << u"abc"_s << false;
        QTest::newRow("different") << u"abd"_s << true;
        QTest::newRow("other case") << u"ABC"_s << true;
    }

    void aFileWithOtherTimesHasChangedWhenItsChecksumDiffers()
    {
        QFETCH(QString, checkSum);
        QFETCH(bool, changed);
        const QTemporaryDir directory;
        QFileInfo file = makeOldFile(directory.filePath(u"file"_s));
        Fixture test;
        test.hash->hash = u"abc"_s;
        FileConfiguration config;
        config.setCheckSum(checkSum);

        QCOMPARE(test.manager.LocalFileHasChanged(file, config), changed);

        QCOMPARE(test.database->log(), QStringList{u"hash "_s + directory.filePath(u"file"_s)});
    }

    void aRelativePathCountsFromTheWorkingDirectory()
    {
        const QTemporaryDir directory;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(directory.path()));
        const QString here = QDir::currentPath();
        makeFile(u"folder/file"_s);
        Fixture test;
        QFileInfo onDisk(u"folder/file"_s);
        FileConfiguration file = sampleFile();
        file.setClientPath(u"folder/file"_s);
        file.setSyncStatus(FileSyncing);

        test.manager.LocalFileHasChanged(onDisk, file);
        const bool updated = test.manager.Update(file);

        QVERIFY(QDir::setCurrent(before));
        QVERIFY(updated);
        const QStringList log = test.database->log();
        QCOMPARE(log.first(), u"hash "_s + here + u"/folder/file"_s);
        QCOMPARE(log.last(), u"refresh '"_s + here + u"/folder', depth 1"_s);
    }

    void changeDetectionCallsAnOverriddenComparisonOfTimes()
    {
        struct Manager : FileConfigManager
        {
            using FileConfigManager::FileConfigManager;
            bool FileAndConfigTimestampsAreEqual(QFileInfo&, FileConfiguration&) override
            {
                return true;
            }
        };
        Fixture test;
        Manager manager(test.database, test.hash, test.viewer, test.folders);
        QFileInfo file(u"/missing"_s);
        FileConfiguration config;
        config.setCheckSum(u"stored"_s);

        QVERIFY(!manager.LocalFileHasChanged(file, config));
    }

    void transactionControlIsForwarded_data()
    {
        QTest::addColumn<bool>("result");
        QTest::newRow("success") << true;
        QTest::newRow("failure") << false;
    }

    void transactionControlIsForwarded()
    {
        QFETCH(bool, result);
        Fixture test;
        test.database->setTransactionResult(result);

        QCOMPARE(test.manager.transaction(), result);
        QCOMPARE(test.manager.commit(), result);
        QCOMPARE(test.manager.rollback(), result);

        const QString get = u"get database"_s;
        QCOMPARE(
            test.database->log(),
            (QStringList{get, u"transaction"_s, get, u"commit"_s, get, u"rollback"_s}));
    }

    void linksAndTheirDateSurviveAsText()
    {
        const Fixture test;
        QList<FileLink> links = {makeLink(5, u"a&b/<\"c\">.txt"_s, u"s-5"_s)};
        const QDateTime date(Day, QTime(1, 2, 3), Qt::UTC);

        QString xml = test.manager.GetXmlStringFromFileLinkArray(links, date);
        QDateTime readDate;
        const auto read = test.manager.GetFileLinkArrayFromXmlString(xml, readDate);

        QCOMPARE(read.size(), 1);
        QCOMPARE(read[0].FileId, 5);
        QCOMPARE(read[0].Path, links[0].Path);
        QCOMPARE(read[0].ServerFileId, u"s-5"_s);
        QCOMPARE(readDate, date);
    }

private:
    static void makeFile(const QString& path)
    {
        QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }

    // Modified long before it was created, so that the two times differ.
    static QFileInfo makeOldFile(const QString& path)
    {
        makeFile(path);
        QFile file(path);
        if (!file.open(QIODevice::ReadWrite) ||
            !file.setFileTime(
                QDateTime(Day, QTime(12, 0), Qt::UTC), QFileDevice::FileModificationTime))
            qFatal("Cannot set the time of a file");
        return QFileInfo(path);
    }

    static QDateTime creationTime(const QFileInfo& file)
    {
        return file.birthTime().isValid() ? file.birthTime() : file.metadataChangeTime();
    }

    // Paths without a file, so that the disk stays as it is.
    static void answerCascade(RecordingDatabaseFactory& database)
    {
        database.answer(byId(), {.rows = {sampleRow(7)}});
        database.answer(u"BaseFileConfiguration WHERE parentFileId"_s, {.rows = {sampleRow(40)}});
        database.answer(
            u"SELECT id, folderConfigurationId, name, clientPath, serverPath, checkSum, "
            "createdDateTime, lastModifiedDateTime, syncStatus, lastOperationType, size, "
            "nameValueProperties, lastOperationTime, rootFolderId, syncOption, parentFileId, "
            "fileType, ownerId, privileges, productConfigurationId, serverFileId,  "
            "serverFileVersionId, checkSumMD5, fileLinks FROM GeneratedFileConfiguration"_s,
            {.rows = {sampleRow(41), sampleRow(42)}});
    }

    static QStringList baseRead()
    {
        return statementLog(
            Select +
                u" FROM BaseFileConfiguration WHERE parentFileId = :parentFileId ORDER BY id"_s,
            {u":parentFileId int 7"_s});
    }

    static QStringList generatedRead()
    {
        return statementLog(
            Select +
                u" FROM GeneratedFileConfiguration WHERE parentFileId = :parentFileId ORDER BY id"_s,
            {u":parentFileId int 7"_s});
    }

    static QStringList wholeCascade(bool refreshes)
    {
        const QString remove = u"DELETE FROM FileConfiguration WHERE Id = :id;"_s;
        return baseRead() +
               statementLog(
                   Select + u" FROM BaseFileConfiguration WHERE id = :id"_s, {u":id int 40"_s}) +
               statementLog(
                   u"DELETE FROM BaseFileConfiguration WHERE Id = :id;"_s, {u":id int 40"_s}, 1) +
               generatedRead() +
               statementLog(
                   u"DELETE FROM GeneratedFileConfiguration WHERE parentFileId = :parentFileId;"_s,
                   {u":parentFileId int 7"_s}, 1) +
               statementLog(byId(), {u":id int 7"_s}) +
               (refreshes ? refreshingLog(remove, {u":id int 7"_s}, u"refresh '/row', depth 1"_s)
                          : statementLog(remove, {u":id int 7"_s}, 1));
    }
};

QTEST_APPLESS_MAIN(TestFileConfigManager)
#include "TestFileConfigManager.moc"
