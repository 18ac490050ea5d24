#include "RecordFields.h"

#include <config/FolderConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>
#include <interf/IRefreshNativeFileViewer.h>
#include <support/ConvertingManager.h>
#include <support/Engines.h>
#include <support/RecordingDatabaseFactory.h>

#include <QDir>
#include <QElapsedTimer>
#include <QMetaObject>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;
using sync::test::Answer;
using sync::test::RecordingDatabaseFactory;
using sync::test::statementLog;

namespace sync::config {

namespace {

const QString Select =
    u"SELECT id, authenticationId, name, remoteShortKey, remoteLongKey, clientPath, serverPath, "
    u"syncStatus, nameValueProperties, parentId, lastOperationTime, lastSyncTime, folderOption, "
    u"lastOperationType, syncDriveType, rootId, syncOption, ownerId, privileges, serverRoot, "
    u"productConfigurationId, serverFolderId FROM FolderConfiguration"_s;
const QString SelectById = Select + u" WHERE id = :id"_s;
const QString SelectByClientPath = Select + u" WHERE clientPath = :clientPath"_s;
const QString SelectRoots = Select + u" WHERE parentId = '0'"_s;
const QString SelectByParent = Select + u" WHERE parentId = :parentId ORDER BY name"_s;
const QString SelectByRoot = Select + u" WHERE rootId = :rootId"_s;
const QString Insert =
    u"INSERT INTO FolderConfiguration (authenticationId, name, remoteShortKey, remoteLongKey, "
    u"clientPath, serverPath, syncStatus, nameValueProperties, parentId, lastOperationTime, "
    u"lastSyncTime, folderOption, lastOperationType, syncDriveType, rootId, syncOption, ownerId, "
    u"privileges, serverRoot, productConfigurationId, serverFolderId) VALUES (:authenticationId, "
    u":name, :remoteShortKey, :remoteLongKey, :clientPath, :serverPath, :syncStatus, "
    u":nameValueProperties, :parentId, :lastOperationTime, :lastSyncTime, :folderOption, "
    u":lastOperationType, :syncDriveType, :rootId, :syncOption, :ownerId, :privileges, "
    u":serverRoot, :productConfigurationId, :serverFolderId);"_s;
const QString UpdateById =
    u"UPDATE FolderConfiguration SET authenticationId = :authenticationId, name = :name, "
    u"remoteShortKey = :remoteShortKey, remoteLongKey = :remoteLongKey, clientPath = :clientPath, "
    u"serverPath = :serverPath, syncStatus = :syncStatus, nameValueProperties = "
    u":nameValueProperties, parentId = :parentId, lastOperationTime = :lastOperationTime, "
    u"lastSyncTime = :lastSyncTime, folderOption = :folderOption, lastOperationType = "
    u":lastOperationType, syncDriveType = :syncDriveType, rootId = :rootId, syncOption = "
    u":syncOption, ownerId = :ownerId, privileges = :privileges, serverRoot = :serverRoot, "
    u"productConfigurationId = :productConfigurationId, serverFolderId = :serverFolderId WHERE id "
    u"= :id"_s;
const QString Delete = u"DELETE FROM FolderConfiguration WHERE Id = :id;"_s;
const QString DeleteFilesByFolder =
    u"DELETE FROM FileConfiguration WHERE folderConfigurationId = :folderConfigurationId;"_s;
const QString DeleteFilesByRoot =
    u"DELETE FROM FileConfiguration WHERE rootFolderId = :folderConfigurationId;"_s;
const QString DeleteByRoot =
    u"DELETE FROM FolderConfiguration WHERE rootId = :folderConfigurationId;"_s;
const QString CountBySignIn =
    u"SELECT count(*) FROM FolderConfiguration WHERE authenticationId = :authenticationId"_s;
const QString CountOutOfSync = u"SELECT count(*) FROM FolderConfiguration WHERE syncStatus = 2;"_s;
const QString CountRoots = u"SELECT count(*) from FolderConfiguration WHERE parentId=0;"_s;

const QDateTime OperationTime({2021, 2, 3}, {4, 5, 6, 7}, Qt::UTC);
const QDateTime SyncTime({2022, 8, 9}, {10, 11, 12, 13}, Qt::UTC);

const QString SampleXml =
    u"<!DOCTYPE NameValueXml>\n<NameValueXml>\n <Key><![CDATA[value]]></Key>\n</NameValueXml>\n"_s;
const QString EmptyXml = u"<!DOCTYPE NameValueXml>\n<NameValueXml/>\n"_s;

// A row with another value in every column.
QVariantList sampleRow(int id = 1)
{
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
        u"2021-02-03T04:05:06.007Z"_s,
        QDateTime(SyncTime.date(), SyncTime.time(), Qt::LocalTime),
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

// A row of which only the tree and the paths matter.
QVariantList treeRow(int id, int parentId, int rootId, const QString& clientPath)
{
    QVariantList row(22);
    row[0] = id;
    row[5] = clientPath;
    row[9] = parentId;
    row[15] = rootId;
    return row;
}

QVariantList rootRow(
    int id, int authenticationId, const QString& clientPath, const QString& serverPath,
    int folderOption)
{
    QVariantList row = treeRow(id, 0, id, clientPath);
    row[1] = authenticationId;
    row[6] = serverPath;
    row[12] = folderOption;
    return row;
}

FolderConfiguration sampleFolder()
{
    auto folder = test::sampleOf<FolderConfiguration>();
    folder.setLastOperationTime(OperationTime);
    folder.setLastSyncTime(SyncTime);
    folder.setLastServerSyncRequestTime({});
    folder.resetSyncStatusChanged();
    return folder;
}

const QStringList SampleBinds{
    u":authenticationId int 2"_s,
    u":name QString 'name'"_s,
    u":remoteShortKey QString 'short'"_s,
    u":remoteLongKey QString 'long'"_s,
    u":clientPath QString '/client'"_s,
    u":serverPath QString '/server'"_s,
    u":syncStatus int 3"_s,
    u":nameValueProperties QString '"_s + SampleXml + u'\'',
    u":parentId int 4"_s,
    u":lastOperationTime QDateTime 2021-02-03T04:05:06.007 UTC"_s,
    u":lastSyncTime QDateTime 2022-08-09T10:11:12.013 UTC"_s,
    u":folderOption int 5"_s,
    u":lastOperationType int 6"_s,
    u":syncDriveType int 7"_s,
    u":rootId int 8"_s,
    u":syncOption int 9"_s,
    u":ownerId QString 'owner'"_s,
    u":privileges int 10"_s,
    u":serverRoot QString '/root'"_s,
    u":productConfigurationId int 11"_s,
    u":serverFolderId QString 'serverFolder'"_s};

// The lines of `binds` with those of `changes` in place of the ones for the same placeholder.
QStringList bindsWith(QStringList binds, const QStringList& changes)
{
    for (const QString& change : changes) {
        const QString placeholder = change.section(u' ', 0, 0) + u' ';
        for (QString& bind : binds) {
            if (bind.startsWith(placeholder))
                bind = change;
        }
    }
    return binds;
}

// Everything that the table holds of a folder, in the form in which a binding is noted.
QStringList columnsOf(const FolderConfiguration& folder)
{
    auto factory = std::make_shared<RecordingDatabaseFactory>();
    FolderConfigManager manager(factory, nullptr);
    manager.Update(folder);
    return factory->log();
}

QList<int> idsOf(const QVector<FolderConfiguration>& folders)
{
    QList<int> ids;
    for (const FolderConfiguration& folder : folders)
        ids.append(folder.getId());
    return ids;
}

QStringList pathsOf(const QVector<FolderConfiguration>& folders)
{
    QStringList paths;
    for (const FolderConfiguration& folder : folders)
        paths.append(folder.getClientPath());
    return paths;
}

// Notes each refresh between the calls of the database.
class RecordingViewer : public interf::IRefreshNativeFileViewer
{
public:
    explicit RecordingViewer(std::shared_ptr<RecordingDatabaseFactory> factory)
        : factory(std::move(factory))
    {
    }
    void Refresh(QString clientPath) override
    {
        factory->note(u"refresh '"_s + clientPath + u'\'');
    }

private:
    const std::shared_ptr<RecordingDatabaseFactory> factory;
};

QString refreshOf(const QString& path)
{
    return u"refresh '"_s + path + u'\'';
}

// A manager over the recording database, whose viewer notes in the same log.
struct Recording
{
    std::shared_ptr<RecordingDatabaseFactory> factory =
        std::make_shared<RecordingDatabaseFactory>();
    FolderConfigManager manager{factory, std::make_shared<RecordingViewer>(factory)};

    void answerRoots(const QList<QVariantList>& rows)
    {
        factory->answer(SelectRoots, {.rows = rows});
    }
};

// Notes the calls that one operation makes of another.
class OverridingManager : public FolderConfigManager
{
public:
    explicit OverridingManager(std::shared_ptr<RecordingDatabaseFactory> factory)
        : FolderConfigManager(factory, nullptr)
    {
    }

    FolderConfiguration GetFolderConfigurationById(int id) override
    {
        calls.append(u"get %1"_s.arg(id));
        return {};
    }
    FolderConfiguration GetFolderConfigurationByClientPath(QString path) override
    {
        calls.append(u"get "_s + path);
        FolderConfiguration folder;
        return folder;
    }
    QVector<FolderConfiguration> GetFolderConfigurationByParentId(int id) override
    {
        calls.append(u"children of %1"_s.arg(id));
        return {};
    }
    QVector<FolderConfiguration> GetFolderConfigurationsByRootId(int id) override
    {
        calls.append(u"tree of %1"_s.arg(id));
        return QVector<FolderConfiguration>(1);
    }
    QVector<FolderConfiguration> GetAllRootFolders() override
    {
        calls.append(u"roots"_s);
        return {};
    }
    bool Update(FolderConfiguration folder) override
    {
        calls.append(u"update root id %1"_s.arg(folder.getRootId()));
        return false;
    }
    bool Remove(int id) override
    {
        calls.append(u"remove %1"_s.arg(id));
        return callRemove ? FolderConfigManager::Remove(id) : true;
    }
    void ClearCaches() override { calls.append(u"clear"_s); }
    void RefreshNativeFileViewer(QString& path) override { calls.append(refreshOf(path)); }
    using FolderConfigManager::RefreshNativeFileViewer;

    QStringList calls;
    bool callRemove = false;
};

// Notes the calls of the operations that call themselves, and each other.
class RecursionNotingManager : public FolderConfigManager
{
public:
    using FolderConfigManager::FolderConfigManager;

    bool Clean(int id) override
    {
        calls.append(u"clean %1"_s.arg(id));
        return calls.size() > 1 || FolderConfigManager::Clean(id);
    }
    FolderConfiguration AddFolderAndParent(
        const QString& path, const FolderConfiguration& root) override
    {
        calls.append(u"ensure "_s + path);
        return FolderConfigManager::AddFolderAndParent(path, root);
    }
    bool Add(FolderConfiguration& folder) override
    {
        calls.append(u"add "_s + folder.getClientPath());
        return false;
    }

    QStringList calls;
};

// Notes in the database's log when its lists are cleared.
class ClearNotingManager : public FolderConfigManager
{
public:
    explicit ClearNotingManager(std::shared_ptr<RecordingDatabaseFactory> factory)
        : FolderConfigManager(factory, std::make_shared<RecordingViewer>(factory))
        , factory(std::move(factory))
    {
    }

    void ClearCaches() override { factory->note(u"clear"_s); }

private:
    const std::shared_ptr<RecordingDatabaseFactory> factory;
};

// What Clean() runs for a folder without children if nothing fails.
QStringList cleanLog(int id)
{
    const QString idText = u":id int %1"_s.arg(id);
    return statementLog(SelectById, {idText}) + statementLog(Delete, {idText}, 1) +
           QStringList{refreshOf({})} +
           statementLog(DeleteFilesByFolder, {u":folderConfigurationId int %1"_s.arg(id)}, 1);
}

QStringList childrenLog(int id)
{
    return statementLog(SelectByParent, {u":parentId int %1"_s.arg(id)});
}

FolderConfiguration sampleRoot()
{
    Recording recording;
    QVariantList row = sampleRow(21);
    row[5] = u"/c/root"_s;
    row[6] = u"/s/R"_s;
    row[9] = 0;
    row[15] = 21;
    recording.factory->answerOthers({.rows = {row}});
    return recording.manager.GetFolderConfigurationById(21);
}

// What is bound for a folder that the manager itself creates below sampleRoot().
QStringList createdBinds(
    const QString& name, const QString& clientPath, const QString& serverPath, int parentId)
{
    const auto quoted = [](const QString& text) { return u" QString '"_s + text + u'\''; };
    const QString null = u" QString null"_s;
    return {
        u":authenticationId int 2"_s,
        u":name"_s + quoted(name),
        u":remoteShortKey QString 'short'"_s,
        u":remoteLongKey"_s + quoted(serverPath),
        u":clientPath"_s + quoted(clientPath),
        u":serverPath"_s + quoted(serverPath),
        u":syncStatus int 3"_s,
        u":nameValueProperties"_s + quoted(EmptyXml),
        u":parentId int %1"_s.arg(parentId),
        u":lastOperationTime QDateTime null"_s,
        u":lastSyncTime QDateTime null"_s,
        u":folderOption int 1"_s,
        u":lastOperationType int 0"_s,
        u":syncDriveType int 0"_s,
        u":rootId int 21"_s,
        u":syncOption int 0"_s,
        u":ownerId"_s + null,
        u":privileges int 31"_s,
        u":serverRoot"_s + null,
        u":productConfigurationId int 11"_s,
        u":serverFolderId"_s + null};
}

QStringList pathLog(const QString& path)
{
    return statementLog(SelectByClientPath, {u":clientPath QString '"_s + path + u'\''});
}

// A new database file of its own for each test, over the engine of the test's row.
struct Store
{
    explicit Store(const QString& engine)
        : factory(test::openEngine(engine, directory.filePath(u"configuration.db"_s)))
    {
    }

    int addFolder(int parentId, int rootId, const QString& clientPath, const QString& name = {})
    {
        FolderConfiguration folder = sampleFolder();
        folder.setParentId(parentId);
        folder.setRootId(rootId);
        folder.setClientPath(clientPath);
        folder.setName(name);
        return manager.Add(folder) ? folder.getId() : -1;
    }

    bool run(const QString& sql)
    {
        const auto query = factory->CreateQuery();
        query->prepare(sql);
        return query->exec();
    }

    int number(const QString& sql)
    {
        const auto query = factory->CreateQuery();
        query->prepare(sql);
        return query->exec() && query->next() ? query->value(0).toInt() : -1;
    }

    bool addFile(int folderId, int rootId)
    {
        return run(u"INSERT INTO FileConfiguration (folderConfigurationId, rootFolderId) "
                   u"VALUES (%1, %2)"_s.arg(folderId)
                       .arg(rootId));
    }

    QTemporaryDir directory;
    std::shared_ptr<interf::factory::IDatabaseFactory> factory;
    FolderConfigManager manager{factory, nullptr};
};

const QString CountFiles = u"SELECT count(*) FROM FileConfiguration"_s;

} // namespace

class TestFolderConfigManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Statements, over the recording database
    void lookupByServerIdPopulatesOnlyOnARow()
    {
        Recording recording;
        recording.factory->noteRowCalls();

        recording.manager.GetFolderConfigurationByServerId(u"s"_s);
        const QStringList byServerId = recording.factory->takeLog();
        recording.manager.GetFolderConfigurationById(1);
        const QStringList byId = recording.factory->takeLog();

        QCOMPARE(byServerId.mid(4), QStringList({u"next false"_s, u"release"_s}));
        QCOMPARE(byId.mid(4), QStringList({u"next false"_s, u"isValid false"_s, u"release"_s}));
    }

    void rowIsReadIntoEveryField()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {sampleRow(1)}});
        recording.factory->noteRowCalls();

        const FolderConfiguration folder = recording.manager.GetFolderConfigurationById(1);

        QStringList calls{u"next true"_s, u"isValid true"_s};
        for (int column = 0; column < 22; ++column)
            calls.append(u"value %1"_s.arg(column));
        QCOMPARE(recording.factory->log().mid(4), calls << u"release"_s);
        QCOMPARE(
            columnsOf(folder),
            statementLog(UpdateById, QStringList{u":id int 1"_s} + SampleBinds, 1));
        QVERIFY(!folder.getSyncStatusChanged());
        QVERIFY(folder.getLastServerSyncRequestTime().isNull());
    }

    void timesAreLabelledUtcWhateverTheColumnHolds()
    {
        Recording recording;
        QVariantList row = sampleRow();
        row[10] = u"2021-02-03T04:05:06.007+01:00"_s;
        row[11] = u"2022-08-09T10:11:12.013"_s;
        recording.factory->answerOthers({.rows = {row}});

        const FolderConfiguration folder = recording.manager.GetFolderConfigurationById(1);

        QCOMPARE(folder.getLastOperationTime().timeSpec(), Qt::UTC);
        QCOMPARE(folder.getLastOperationTime(), OperationTime);
        QCOMPARE(folder.getLastSyncTime().timeSpec(), Qt::UTC);
        QCOMPARE(folder.getLastSyncTime(), SyncTime);
    }

    void foldersOfMissingRootsNameTheCachedRoots()
    {
        Recording recording;
        recording.answerRoots({sampleRow(9), sampleRow(-7), sampleRow(8)});
        recording.manager.GetAllRootFolders();
        recording.factory->takeLog();
        recording.factory->answer(u"NOT IN"_s, {.rows = {sampleRow(5), sampleRow(4)}});

        const auto folders = recording.manager.GetFolderConfigurationsOfNonExistingRootFolders();

        QCOMPARE(
            recording.factory->log(), statementLog(Select + u" WHERE rootId NOT IN (9,-7,8)"_s));
        QCOMPARE(idsOf(folders), QList<int>({5, 4}));
    }

    void foldersOfMissingRootsWithoutAnyRootAskForEveryRow()
    {
        Recording recording;

        recording.manager.GetFolderConfigurationsOfNonExistingRootFolders();

        QCOMPARE(
            recording.factory->log(),
            statementLog(SelectRoots) + statementLog(Select + u" WHERE rootId NOT IN ()"_s));
    }

    // Caches
    void listsAreReadOnceAndServedFromTheCache()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {sampleRow(1), sampleRow(2)}});
        recording.answerRoots({sampleRow(3)});

        recording.manager.GetAll();
        recording.manager.GetAllRootFolders();
        recording.factory->takeLog();
        const auto all = recording.manager.GetAll();
        const auto roots = recording.manager.GetAllRootFolders();

        QCOMPARE(recording.factory->log(), QStringList());
        QCOMPARE(idsOf(all), QList<int>({1, 2}));
        QCOMPARE(idsOf(roots), QList<int>({3}));
    }

    void listsAreReadAgainWhenTheyAreTwoSecondsOld()
    {
        Recording recording;
        QElapsedTimer timer;
        timer.start();
        recording.manager.GetAll();
        recording.manager.GetAllRootFolders();
        recording.factory->takeLog();

        const bool read = QTest::qWaitFor(
            [&recording] {
                recording.manager.GetAll();
                recording.manager.GetAllRootFolders();
                return recording.factory->log().contains(u"prepare "_s + Select) &&
                       recording.factory->log().contains(u"prepare "_s + SelectRoots);
            },
            60'000);

        QVERIFY(read);
        // By the system's clock, which may be set during the test.
        QVERIFY2(timer.elapsed() >= 1500, qPrintable(QString::number(timer.elapsed())));
    }

    void failedListStaysCached()
    {
        Recording recording;
        recording.factory->answer(1, {.fails = true});
        recording.factory->answerOthers({.rows = {sampleRow()}});
        recording.manager.GetAll();

        QVERIFY(recording.manager.GetAll().isEmpty());

        QCOMPARE(recording.factory->log(), statementLog(Select));
    }

    void clearingTheCachesHasBothListsReadAgain()
    {
        Recording recording;
        recording.manager.GetAll();
        recording.manager.GetAllRootFolders();
        recording.factory->takeLog();

        recording.manager.ClearCaches();
        recording.manager.GetAll();
        recording.manager.GetAllRootFolders();

        QCOMPARE(recording.factory->log(), statementLog(Select) + statementLog(SelectRoots));
    }

    // Writes
    void addStoresTheRecordAndClearsTheLists()
    {
        Recording recording;
        recording.factory->answer(Insert, {.lastInsertId = 77});
        recording.manager.GetAll();
        recording.manager.GetAllRootFolders();
        recording.factory->takeLog();
        FolderConfiguration folder = sampleFolder();

        QVERIFY(recording.manager.Add(folder));
        recording.manager.GetAll();
        recording.manager.GetAllRootFolders();

        QCOMPARE(
            recording.factory->log(), statementLog(Insert, SampleBinds, 1) + statementLog(Select) +
                                          statementLog(SelectRoots));
        QCOMPARE(folder.getId(), 77);
        QCOMPARE(folder.getRootId(), 8);
    }

    void addClearsTheListsBeforeItRefreshesTheViewer()
    {
        auto factory = std::make_shared<RecordingDatabaseFactory>();
        ClearNotingManager manager(factory);
        FolderConfiguration folder = sampleFolder();
        folder.setSyncStatus(FolderSyncing);

        QVERIFY(manager.Add(folder));

        QCOMPARE(factory->log().last(2), QStringList({u"clear"_s, refreshOf(u"/client"_s)}));
    }

    void addOfARootStoresItsOwnIdAsRootId()
    {
        Recording recording;
        recording.factory->answer(Insert, {.lastInsertId = 77});
        FolderConfiguration folder = sampleFolder();
        folder.setParentId(0);
        folder.setRootId(-1);
        folder.setSyncStatus(FolderCreated);

        QVERIFY(recording.manager.Add(folder));

        const QStringList inserted =
            bindsWith(SampleBinds, {u":parentId int 0"_s, u":rootId int -1"_s});
        const QStringList updated = bindsWith(inserted, {u":rootId int 77"_s});
        QCOMPARE(
            recording.factory->log(),
            statementLog(Insert, inserted, 1) +
                statementLog(UpdateById, QStringList{u":id int 77"_s} + updated, 2) +
                QStringList({refreshOf(u"/client"_s), refreshOf(u"/client"_s)}));
        QCOMPARE(folder.getId(), 77);
        QCOMPARE(folder.getRootId(), 77);
        QVERIFY(folder.getSyncStatusChanged());
    }

    void addOfARootSucceedsWhenItsUpdateFails()
    {
        Recording recording;
        recording.factory->answer(Insert, {.lastInsertId = 77});
        recording.factory->answer(UpdateById, {.fails = true});
        FolderConfiguration folder = sampleFolder();
        folder.setParentId(0);
        folder.setRootId(-1);

        QVERIFY(recording.manager.Add(folder));

        QCOMPARE(folder.getRootId(), 77);
    }

    void addRefusesRecordsOutsideATree_data()
    {
        QTest::addColumn<int>("parentId");
        QTest::addColumn<int>("rootId");

        QTest::newRow("no root without root id") << 4 << -1;
        QTest::newRow("no parent without root id") << -1 << -1;
        QTest::newRow("no parent with root id") << -1 << 8;
    }

    void addRefusesRecordsOutsideATree()
    {
        QFETCH(int, parentId);
        QFETCH(int, rootId);
        Recording recording;
        FolderConfiguration folder = sampleFolder();
        folder.setParentId(parentId);
        folder.setRootId(rootId);

        QVERIFY(!recording.manager.Add(folder));

        QCOMPARE(recording.factory->log(), QStringList());
        QCOMPARE(folder.getId(), -1);
    }

    void failedAddLeavesTheRecordUnchanged()
    {
        Recording recording;
        recording.factory->answer(Insert, {.fails = true, .lastInsertId = 77});
        recording.manager.GetAll();
        recording.factory->takeLog();
        FolderConfiguration folder = sampleFolder();
        folder.setParentId(0);
        folder.setRootId(-1);
        folder.setSyncStatus(FolderCreated);
        const QStringList before = columnsOf(folder);

        QVERIFY(!recording.manager.Add(folder));
        recording.manager.GetAll();

        QCOMPARE(
            recording.factory->log(),
            statementLog(
                Insert, bindsWith(SampleBinds, {u":parentId int 0"_s, u":rootId int -1"_s}), 1));
        QCOMPARE(columnsOf(folder), before);
    }

    void updateStoresTheRecordAndKeepsTheLists()
    {
        Recording recording;
        recording.factory->answer(SelectById, {.rows = {sampleRow(12)}});
        recording.manager.GetAll();
        recording.manager.GetAllRootFolders();
        const FolderConfiguration folder = recording.manager.GetFolderConfigurationById(12);
        recording.factory->takeLog();

        QVERIFY(recording.manager.Update(folder));
        recording.manager.GetAll();
        recording.manager.GetAllRootFolders();

        QCOMPARE(
            recording.factory->log(),
            statementLog(UpdateById, QStringList{u":id int 12"_s} + SampleBinds, 1));
    }

    void failedUpdateRefreshesNothing()
    {
        Recording recording;
        recording.factory->answerOthers({.fails = true});
        FolderConfiguration folder = sampleFolder();
        folder.setSyncStatus(FolderCreated);

        QVERIFY(!recording.manager.Update(folder));

        QCOMPARE(
            recording.factory->log(),
            statementLog(UpdateById, QStringList{u":id int -1"_s} + SampleBinds, 1));
    }

    void savingAChangedStatusRefreshesTheViewerEachTime()
    {
        Recording recording;
        FolderConfiguration folder = sampleFolder();
        folder.setSyncStatus(FolderCreated);

        QVERIFY(recording.manager.Update(folder));
        QVERIFY(recording.manager.Update(folder));

        const QStringList once =
            statementLog(UpdateById, QStringList{u":id int -1"_s} + SampleBinds, 1) +
            QStringList{refreshOf(u"/client"_s)};
        QCOMPARE(recording.factory->log(), once + once);
    }

    void removeDeletesOneRowAndRefreshesItsPath()
    {
        Recording recording;
        recording.factory->answer(SelectById, {.rows = {sampleRow(12)}});
        recording.manager.GetAll();
        recording.manager.GetAllRootFolders();
        recording.factory->takeLog();

        QVERIFY(recording.manager.Remove(12));
        recording.manager.GetAll();
        recording.manager.GetAllRootFolders();

        QCOMPARE(
            recording.factory->log(), statementLog(SelectById, {u":id int 12"_s}) +
                                          statementLog(Delete, {u":id int 12"_s}, 1) +
                                          QStringList{refreshOf(u"/client"_s)} +
                                          statementLog(Select) + statementLog(SelectRoots));
    }

    void failedRemoveClearsAndRefreshesNothing()
    {
        Recording recording;
        recording.factory->answer(SelectById, {.rows = {sampleRow(12)}});
        recording.factory->answer(Delete, {.fails = true});
        recording.manager.GetAll();
        recording.factory->takeLog();

        QVERIFY(!recording.manager.Remove(12));
        recording.manager.GetAll();

        QCOMPARE(
            recording.factory->log(), statementLog(SelectById, {u":id int 12"_s}) +
                                          statementLog(Delete, {u":id int 12"_s}, 1));
    }

    void cleanRemovesChildrenThenFolderThenFiles()
    {
        Recording recording;
        // 1 holds 3 and 2, in this order; 3 holds 4.
        recording.factory->answer(1, {.rows = {treeRow(3, 1, 1, {}), treeRow(2, 1, 1, {})}});
        recording.factory->answer(2, {.rows = {treeRow(4, 3, 1, {})}});

        QVERIFY(recording.manager.Clean(1));

        QCOMPARE(
            recording.factory->log(), childrenLog(1) + childrenLog(3) + childrenLog(4) +
                                          cleanLog(4) + cleanLog(3) + childrenLog(2) + cleanLog(2) +
                                          cleanLog(1));
    }

    void cleanStopsAtTheFirstFailure_data()
    {
        QTest::addColumn<int>("failing");
        QTest::addColumn<int>("executed");

        QTest::newRow("removal of the child") << 4 << 4;
        QTest::newRow("files of the child") << 5 << 5;
        QTest::newRow("removal of the folder") << 7 << 7;
        QTest::newRow("files of the folder") << 8 << 8;
    }

    void cleanStopsAtTheFirstFailure()
    {
        QFETCH(int, failing);
        Recording recording;
        recording.factory->answer(1, {.rows = {treeRow(2, 1, 1, {})}});
        recording.factory->answer(failing, {.fails = true});

        QVERIFY(!recording.manager.Clean(1));

        const QStringList whole = childrenLog(1) + childrenLog(2) + cleanLog(2) + cleanLog(1);
        const QStringList log = recording.factory->log();
        QCOMPARE(log, whole.first(log.size()));
        QTEST(int(log.filter(u"exec"_s).size()), "executed");
    }

    void cleanRootFolderRemovesTheTreeInOneScope()
    {
        Recording recording;
        recording.factory->answer(SelectById, {.rows = {treeRow(1, 0, 1, u"/r"_s)}});
        recording.factory->answer(
            SelectByRoot, {.rows = {treeRow(3, 1, 1, u"/r/b"_s), treeRow(2, 1, 1, u"/r/a"_s)}});
        recording.manager.GetAll();
        recording.factory->takeLog();

        QVERIFY(recording.manager.CleanRootFolder(1));
        recording.manager.GetAll();

        QCOMPARE(
            recording.factory->log(),
            statementLog(SelectById, {u":id int 1"_s}, 1) +
                statementLog(Delete, {u":id int 1"_s}, 2) + QStringList{refreshOf(u"/r"_s)} +
                statementLog(DeleteFilesByRoot, {u":folderConfigurationId int 1"_s}, 2) +
                statementLog(SelectByRoot, {u":rootId int 1"_s}, 1) +
                statementLog(DeleteByRoot, {u":folderConfigurationId int 1"_s}, 2) +
                QStringList({refreshOf(u"/r/b"_s), refreshOf(u"/r/a"_s)}) + statementLog(Select));
    }

    void cleanRootFolderStopsAtTheFirstFailure_data()
    {
        QTest::addColumn<QString>("failing");
        QTest::addColumn<int>("executed");

        QTest::newRow("root row") << Delete << 2;
        QTest::newRow("files") << DeleteFilesByRoot << 3;
        QTest::newRow("folders") << DeleteByRoot << 5;
    }

    void cleanRootFolderStopsAtTheFirstFailure()
    {
        QFETCH(QString, failing);
        Recording recording;
        recording.factory->answer(SelectByRoot, {.rows = {treeRow(2, 1, 1, u"/r/a"_s)}});
        recording.factory->answer(failing, {.fails = true});

        QVERIFY(!recording.manager.CleanRootFolder(1));

        QTEST(int(recording.factory->log().filter(u"exec"_s).size()), "executed");
        QVERIFY(!recording.factory->log().contains(refreshOf(u"/r/a"_s)));
    }

    void exceptionOfTheDatabaseEndsScopesAndQueries()
    {
        Recording recording;
        recording.factory->answer(DeleteFilesByRoot, {.throws = true});

        QVERIFY_THROWS_EXCEPTION(test::ExecException, recording.manager.CleanRootFolder(1));
        recording.factory->takeLog();
        recording.manager.GetFolderConfigurationById(1);

        QCOMPARE(recording.factory->log(), statementLog(SelectById, {u":id int 1"_s}, 0));
    }

    void addFolderAndParentCreatesMissingAncestorsFirst()
    {
        Recording recording;
        recording.factory->answer(3, {.rows = {treeRow(21, 0, 21, u"/c/root"_s)}});
        recording.factory->answer(4, {.lastInsertId = 31});
        recording.factory->answer(5, {.lastInsertId = 32});

        const FolderConfiguration folder =
            recording.manager.AddFolderAndParent(u"/c/root/a%1//b%2/"_s, sampleRoot());

        QCOMPARE(
            recording.factory->log(),
            pathLog(u"/c/root/a%1/b%2"_s) + pathLog(u"/c/root/a%1"_s) + pathLog(u"/c/root"_s) +
                statementLog(
                    Insert, createdBinds(u"a%1"_s, u"/c/root/a%1"_s, u"/s/R/a%1"_s, 21), 1) +
                QStringList{refreshOf(u"/c/root/a%1"_s)} +
                statementLog(
                    Insert, createdBinds(u"b%2"_s, u"/c/root/a%1/b%2"_s, u"/s/R/a%1/b%2"_s, 31),
                    1) +
                QStringList{refreshOf(u"/c/root/a%1/b%2"_s)});
        QCOMPARE(folder.getId(), 32);
        QCOMPARE(folder.getParentId(), 31);
    }

    void addFolderAndParentOfAStoredPathWritesNothing()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {sampleRow(12)}});

        const FolderConfiguration folder =
            recording.manager.AddFolderAndParent(u"/c/root/"_s, sampleRoot());

        QCOMPARE(recording.factory->log(), pathLog(u"/c/root"_s));
        QCOMPARE(folder.getId(), 12);
        QCOMPARE(folder.getClientPath(), u"/client"_s);
    }

    void addFolderAndParentOfAnEmptyPathAsksNothing()
    {
        Recording recording;

        const FolderConfiguration folder = recording.manager.AddFolderAndParent({}, sampleRoot());

        QCOMPARE(recording.factory->log(), QStringList());
        QCOMPARE(folder.getId(), -1);
    }

    void addFolderAndParentOutsideEveryFolderAddsNothing()
    {
        Recording recording;

        const FolderConfiguration folder =
            recording.manager.AddFolderAndParent(u"/x/y"_s, sampleRoot());

        QCOMPARE(recording.factory->log(), pathLog(u"/x/y"_s) + pathLog(u"/x"_s) + pathLog(u"/"_s));
        QCOMPARE(folder.getId(), -1);
        QCOMPARE(folder.getClientPath(), u"/x/y"_s);
    }

    void addFolderAndParentGivesIdMinusOneWhenAddFails()
    {
        Recording recording;
        recording.factory->answer(2, {.rows = {treeRow(21, 0, 21, u"/c/root"_s)}});
        recording.factory->answer(Insert, {.fails = true, .lastInsertId = 5});

        const FolderConfiguration folder =
            recording.manager.AddFolderAndParent(u"/c/root/a"_s, sampleRoot());

        QCOMPARE(folder.getId(), -1);
        QCOMPARE(folder.getParentId(), 21);
    }

    void refreshingAllReadsTheRootsFromTheDatabase()
    {
        Recording recording;
        recording.manager.GetAllRootFolders();
        recording.factory->takeLog();
        recording.answerRoots({treeRow(2, 0, 2, u"/b"_s), treeRow(1, 0, 1, u"/a"_s)});

        recording.manager.RefreshNativeFileViewer();

        QCOMPARE(
            recording.factory->log(),
            statementLog(SelectRoots) + QStringList({refreshOf(u"/b"_s), refreshOf(u"/a"_s)}));
    }

    void withoutAViewerNothingIsRefreshed()
    {
        auto factory = std::make_shared<RecordingDatabaseFactory>();
        factory->answerOthers({.rows = {sampleRow(1)}, .lastInsertId = 1});
        FolderConfigManager manager(factory, nullptr);
        FolderConfiguration folder = sampleFolder();
        folder.setSyncStatus(FolderCreated);
        QString path = u"/client"_s;

        manager.RefreshNativeFileViewer();
        manager.RefreshNativeFileViewer(path);

        QVERIFY(manager.Add(folder));
        QVERIFY(manager.Update(folder));
        QVERIFY(manager.Remove(1));
        QVERIFY(manager.CleanRootFolder(1));
    }

    void operationsHonourOverrides()
    {
        auto factory = std::make_shared<RecordingDatabaseFactory>();
        factory->answer(Insert, {.lastInsertId = 5});
        factory->answer(SelectRoots, {.rows = {treeRow(1, 0, 1, u"/r"_s)}});
        OverridingManager manager(factory);
        FolderConfiguration root = sampleFolder();
        root.setParentId(0);
        root.setRootId(-1);

        manager.Add(root);
        manager.Clean(3);
        manager.callRemove = true;
        manager.CleanRootFolder(4);
        manager.AddFolderAndParent(u"/"_s, root);
        manager.IsInExistingClientFolder(u"/a"_s, 1, false);
        manager.GetFolderConfigurationsOfNonExistingRootFolders();
        manager.RefreshNativeFileViewer();

        QCOMPARE(
            manager.calls,
            QStringList(
                {u"update root id 5"_s, u"clear"_s, u"children of 3"_s, u"remove 3"_s,
                 u"remove 4"_s, u"get 4"_s, u"clear"_s, refreshOf({}), u"tree of 4"_s, u"clear"_s,
                 refreshOf({}), u"get /"_s, u"roots"_s, u"roots"_s, refreshOf(u"/r"_s)}));
    }

    void operationsThatCallThemselvesHonourOverrides()
    {
        auto factory = std::make_shared<RecordingDatabaseFactory>();
        factory->answer(1, {.rows = {treeRow(4, 3, 1, u"/r/a/b"_s)}});
        RecursionNotingManager cleaning(factory, nullptr);
        RecursionNotingManager adding(factory, nullptr);

        QVERIFY(cleaning.Clean(3));
        adding.AddFolderAndParent(u"/r/a"_s, sampleFolder());

        QCOMPARE(cleaning.calls, QStringList({u"clean 3"_s, u"clean 4"_s}));
        QCOMPARE(
            adding.calls,
            QStringList(
                {u"ensure /r/a"_s, u"ensure /r"_s, u"ensure /"_s, u"add /r"_s, u"add /r/a"_s}));
    }

    // Containment and counts
    void pathInAClientFolder_data()
    {
        QTest::addColumn<QString>("root");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("authenticationId");
        QTest::addColumn<bool>("inside");

        const QString root = u"/Users/a/Sync"_s;
        QTest::newRow("below, other case") << root << u"/users/a/sync/docs"_s << -1 << true;
        QTest::newRow("sibling with the same start")
            << root << u"/Users/a/SyncOld"_s << -1 << false;
        QTest::newRow("the root itself") << root << u"/Users/a/Sync"_s << -1 << true;
        QTest::newRow("the root itself, with a slash") << root << u"/Users/a/Sync/"_s << -1 << true;
        QTest::newRow("above the root") << root << u"/Users/a"_s << -1 << false;
        QTest::newRow("elsewhere") << root << u"/Users/b/Sync"_s << -1 << false;
        QTest::newRow("of the sign-in") << root << u"/Users/a/Sync/x"_s << 5 << true;
        QTest::newRow("of sign-in 0") << root << u"/Users/a/Sync/x"_s << 0 << false;
        QTest::newRow("of another sign-in") << root << u"/Users/a/Sync/x"_s << 6 << false;
        QTest::newRow("any negative sign-in") << root << u"/Users/a/Sync/x"_s << -2 << true;
        QTest::newRow("through the scratch folder")
            << root << u"/Users/a/Sync/.{synctemp}/x"_s << -1 << false;
        QTest::newRow("scratch folder in part of a name")
            << root << u"/Users/a/Sync/x.{SYNCTEMP}y"_s << -1 << false;
        QTest::newRow("a root with a slash") << u"/data/"_s << u"/data/x/y"_s << -1 << true;
        QTest::newRow("a root with a slash itself") << u"/data/"_s << u"/data"_s << -1 << false;
        QTest::newRow("the root of the file system") << u"/"_s << u"/x"_s << -1 << true;
        QTest::newRow("path that leaves the root")
            << root << u"/Users/a/Sync/../x"_s << -1 << false;
    }

    void pathInAClientFolder()
    {
        QFETCH(QString, root);
        QFETCH(QString, path);
        QFETCH(int, authenticationId);
        Recording recording;
        recording.answerRoots(
            {rootRow(1, 4, u"/other"_s, {}, 2), rootRow(2, 5, root, {}, 2),
             rootRow(3, 4, u"/Users/z"_s, {}, 2)});

        const bool inside =
            recording.manager.IsInExistingClientFolder(path, authenticationId, true);

        QTEST(inside, "inside");
    }

    void relativePathCountsFromTheWorkingDirectory()
    {
        const QTemporaryDir directory;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(directory.path()));
        Recording recording;
        recording.answerRoots({rootRow(1, 5, QDir::currentPath(), {}, 2)});

        const bool inside = recording.manager.IsInExistingClientFolder(u"sub/file"_s, -1, true);
        const bool outside = recording.manager.IsInExistingClientFolder(u"../file"_s, -1, true);

        QVERIFY(QDir::setCurrent(before));
        QVERIFY(inside);
        QVERIFY(!outside);
    }

    void topLevelRootHoldsItsDirectFilesOnly_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("applyFolderOption");
        QTest::addColumn<bool>("inside");

        QTest::newRow("file") << u"/f.txt"_s << true << true;
        QTest::newRow("name of nothing") << u"/new"_s << true << true;
        QTest::newRow("directory") << u"/sub"_s << true << false;
        QTest::newRow("file below") << u"/sub/f.txt"_s << true << false;
        QTest::newRow("the root itself") << u""_s << true << true;
        QTest::newRow("file, any depth") << u"/f.txt"_s << false << true;
        QTest::newRow("directory, any depth") << u"/sub"_s << false << true;
        QTest::newRow("file below, any depth") << u"/sub/f.txt"_s << false << true;
    }

    void topLevelRootHoldsItsDirectFilesOnly()
    {
        QFETCH(QString, path);
        QFETCH(bool, applyFolderOption);
        const QTemporaryDir directory;
        QVERIFY(QDir(directory.path()).mkdir(u"sub"_s));
        Recording recording;
        recording.answerRoots({rootRow(1, 5, directory.path(), {}, 1)});

        const bool inside = recording.manager.IsInExistingClientFolder(
            directory.path() + path, -1, applyFolderOption);

        QTEST(inside, "inside");
    }

    void directoryKeepsItsSlashForTheNextRoots()
    {
        const QTemporaryDir directory;
        QVERIFY(QDir(directory.path()).mkdir(u"sub"_s));
        const QString sub = directory.path() + u"/sub"_s;
        Recording recording;
        recording.answerRoots(
            {rootRow(1, 5, directory.path(), {}, 1), rootRow(2, 5, sub + u'/', {}, 2)});

        QVERIFY(recording.manager.IsInExistingClientFolder(sub, -1, true));
        QVERIFY(!recording.manager.IsInExistingClientFolder(sub, 6, true));

        recording.answerRoots({rootRow(2, 5, sub + u'/', {}, 2)});
        recording.manager.ClearCaches();
        QVERIFY(!recording.manager.IsInExistingClientFolder(sub, -1, true));
    }

    void topLevelRootWithASlashHoldsAllBelow()
    {
        Recording recording;
        recording.answerRoots({rootRow(1, 5, u"/data/"_s, {}, 1)});

        QVERIFY(recording.manager.IsInExistingClientFolder(u"/data/sub/f.txt"_s, -1, true));
    }

    void scratchFolderIsDecidedWithoutTheDatabase()
    {
        Recording recording;

        QVERIFY(!recording.manager.IsInExistingClientFolder(u"/r/.{SyncTemp}"_s, -1, false));

        QCOMPARE(recording.factory->log(), QStringList());
    }

    void serverFolderOverlap_data()
    {
        QTest::addColumn<QString>("root");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("authenticationId");
        QTest::addColumn<bool>("overlaps");

        QTest::newRow("ancestor") << u"/Projects"_s << u"/Projects/A/"_s << 3 << true;
        QTest::newRow("descendant") << u"/Projects/A/B"_s << u"/Projects/A/"_s << 3 << true;
        QTest::newRow("same start") << u"/Projects/AB"_s << u"/Projects/A/"_s << 3 << false;
        QTest::newRow("same start, path longer")
            << u"/Projects/A"_s << u"/Projects/AB"_s << 3 << false;
        QTest::newRow("same, other case") << u"/projects/a"_s << u"/Projects/A"_s << 3 << true;
        QTest::newRow("same length") << u"/Projects/B"_s << u"/Projects/A"_s << 3 << false;
        QTest::newRow("below, other case") << u"/PROJECTS"_s << u"/projects/a"_s << 3 << true;
        QTest::newRow("root ends with a slash") << u"/Projects/"_s << u"/Projects/A"_s << 3 << true;
        QTest::newRow("root of the server") << u"/Projects"_s << u"/"_s << 3 << true;
        QTest::newRow("another sign-in") << u"/Projects"_s << u"/Projects"_s << 4 << false;
        QTest::newRow("no wildcard sign-in") << u"/Projects"_s << u"/Projects"_s << -1 << false;
        QTest::newRow("elsewhere") << u"/Other"_s << u"/Projects"_s << 3 << false;
    }

    void serverFolderOverlap()
    {
        QFETCH(QString, root);
        QFETCH(QString, path);
        QFETCH(int, authenticationId);
        QFETCH(bool, overlaps);
        Recording recording;
        recording.answerRoots({rootRow(1, 3, {}, u"elsewhere"_s, 2), rootRow(2, 3, {}, root, 2)});
        QString match = u"before"_s;

        const bool found = recording.manager.AncestorOrDescendantOfServerFolderExists(
            path, authenticationId, match);

        QCOMPARE(found, overlaps);
        QCOMPARE(match, overlaps ? root : QString());
        QCOMPARE(match.isNull(), !overlaps);
    }

    void emptyServerPathOverlapsNothing()
    {
        Recording recording;
        recording.answerRoots({rootRow(1, 3, {}, {}, 2)});
        QString match = u"before"_s;

        QVERIFY(!recording.manager.AncestorOrDescendantOfServerFolderExists({}, 3, match));

        QVERIFY(match.isNull());
        QCOMPARE(recording.factory->log(), QStringList());
    }

    void countsRunOneStatement()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {{0}, {9}}});
        recording.factory->answer(3, {.rows = {{1}}});
        recording.factory->answer(4, {.rows = {{1}}});
        recording.factory->answer(6, {.rows = {{12}}});

        QVERIFY(!recording.manager.IsInExistingAuthentication(5));
        QVERIFY(!recording.manager.IsAnyFolderConfigOutOfSync());
        QVERIFY(recording.manager.IsInExistingAuthentication(6));
        QVERIFY(recording.manager.IsAnyFolderConfigOutOfSync());
        QCOMPARE(recording.manager.GetRootFolderConfigurationCount(), 0);
        QCOMPARE(recording.manager.GetRootFolderConfigurationCount(), 12);

        QCOMPARE(
            recording.factory->log(),
            statementLog(CountBySignIn, {u":authenticationId int 5"_s}) +
                statementLog(CountOutOfSync) +
                statementLog(CountBySignIn, {u":authenticationId int 6"_s}) +
                statementLog(CountOutOfSync) + statementLog(CountRoots) + statementLog(CountRoots));
    }

    void failedCountsAnswerTrueAndMinusOne()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {{0}}, .fails = true});

        QVERIFY(recording.manager.IsInExistingAuthentication(5));
        QVERIFY(recording.manager.IsAnyFolderConfigOutOfSync());
        QCOMPARE(recording.manager.GetRootFolderConfigurationCount(), -1);
    }

    // The meta-object
    void invokablesWorkThroughTheMetaObject()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {sampleRow(12)}});
        FolderConfiguration folder;
        QVector<FolderConfiguration> folders;

        QVERIFY(QMetaObject::invokeMethod(
            &recording.manager, "GetFolderConfigurationById",
            Q_RETURN_ARG(sync::config::FolderConfiguration, folder), Q_ARG(int, 12)));
        QVERIFY(QMetaObject::invokeMethod(
            &recording.manager, "GetAll",
            Q_RETURN_ARG(QVector<sync::config::FolderConfiguration>, folders)));

        QCOMPARE(folder.getId(), 12);
        QCOMPARE(idsOf(folders), QList<int>({12}));
    }

    // Behaviour over real databases
    void emptyPropertiesGoThroughAnOverride_data() { test::addEngineRows(); }
    void emptyPropertiesGoThroughAnOverride()
    {
        QFETCH(QString, engine);
        Store store(engine);
        FolderConfiguration folder = sampleFolder();
        folder.setNameValueProperties({});
        QVERIFY(store.manager.Add(folder));
        test::ConvertingManager<FolderConfigManager> manager(store.factory, nullptr);

        const FolderConfiguration read = manager.GetFolderConfigurationById(folder.getId());

        QCOMPARE(read.getNameValueProperties().value(u"Read"_s), EmptyXml);
    }

    void storedFolderReadsBack_data() { test::addEngineRows(); }
    void storedFolderReadsBack()
    {
        QFETCH(QString, engine);
        Store store(engine);
        FolderConfiguration folder = sampleFolder();
        QVERIFY(store.manager.Add(folder));

        const QStringList expected =
            statementLog(UpdateById, QStringList{u":id int 1"_s} + SampleBinds, 1);
        QCOMPARE(columnsOf(store.manager.GetFolderConfigurationById(folder.getId())), expected);
        QCOMPARE(
            columnsOf(store.manager.GetFolderConfigurationByServerId(u"serverFolder"_s)), expected);
        QCOMPARE(
            columnsOf(store.manager.GetFolderConfigurationByClientPath(u"/client"_s)), expected);
        QCOMPARE(
            columnsOf(store.manager.GetFolderConfigurationByClientPathAndAuthenticationId(
                u"/client"_s, 2)),
            expected);
        QCOMPARE(
            idsOf(store.manager.GetFolderConfigurationsByAuthenticationId(2)), QList<int>({1}));
        QCOMPARE(idsOf(store.manager.GetFolderConfigurationsByAuthenticationId(3)), QList<int>());
    }

    void updatedFolderReadsBack_data() { test::addEngineRows(); }
    void updatedFolderReadsBack()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/first"_s);
        store.addFolder(0, -1, u"/second"_s);
        FolderConfiguration folder = store.manager.GetFolderConfigurationById(2);
        folder.setName(u"renamed"_s);
        folder.setFeatureName(u"feature"_s);

        QVERIFY(store.manager.Update(folder));

        QCOMPARE(columnsOf(store.manager.GetFolderConfigurationById(2)), columnsOf(folder));
        QCOMPARE(store.manager.GetFolderConfigurationById(2).getFeatureName(), u"feature"_s);
        QCOMPARE(store.manager.GetFolderConfigurationById(1).getName(), QString());
    }

    void textsArePassedThroughUnharmed_data() { test::addEngineRows(); }
    void textsArePassedThroughUnharmed()
    {
        QFETCH(QString, engine);
        Store store(engine);
        const QString odd = u"/a %1 '%2' \"b\" -- ; \u00e4\u03a9\U0001F600 :id ?"_s;

        store.addFolder(0, -1, odd, odd);

        QCOMPARE(store.manager.GetFolderConfigurationById(1).getName(), odd);
        QCOMPARE(store.manager.GetFolderConfigurationByClientPath(odd).getId(), 1);
    }

    void pathsCompareExactly_data() { test::addEngineRows(); }
    void pathsCompareExactly()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/a/b"_s);

        QCOMPARE(store.manager.GetFolderConfigurationByClientPath(u"/a/b"_s).getId(), 1);
        QCOMPARE(store.manager.GetFolderConfigurationByClientPath(u"/a/B"_s).getId(), -1);
        QCOMPARE(store.manager.GetFolderConfigurationByClientPath(u"/a/b/"_s).getId(), -1);
        QCOMPARE(store.manager.GetFolderConfigurationByClientPath(u"/a/b "_s).getId(), -1);
        QCOMPARE(store.manager.GetFolderConfigurationByServerId(u"SERVERFOLDER"_s).getId(), -1);
    }

    void rootsAreListedByName_data() { test::addEngineRows(); }
    void rootsAreListedByName()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/1"_s, u"b"_s);
        store.addFolder(0, -1, u"/2"_s, u"c"_s);
        store.addFolder(0, -1, u"/3"_s, u"a"_s);
        store.addFolder(1, 1, u"/1/4"_s, u"aa"_s);

        QCOMPARE(
            pathsOf(store.manager.GetFolderConfigurationByParentId(0)),
            QStringList({u"/3"_s, u"/1"_s, u"/2"_s}));
        QList<int> roots = idsOf(store.manager.GetAllRootFolders());
        std::sort(roots.begin(), roots.end());
        QCOMPARE(roots, QList<int>({1, 2, 3}));
        QCOMPARE(idsOf(store.manager.GetAll()), QList<int>({1, 2, 3, 4}));
    }

    void rootNamesItselfAsRoot_data() { test::addEngineRows(); }
    void rootNamesItselfAsRoot()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/first"_s);

        const int id = store.addFolder(0, -1, u"/second"_s);

        QCOMPARE(id, 2);
        QCOMPARE(store.manager.GetFolderConfigurationById(id).getRootId(), id);
        QCOMPARE(idsOf(store.manager.GetFolderConfigurationsByRootId(id)), QList<int>({id}));
    }

    void pathTwoLevelsBelowARootIsCreatedTopDown_data() { test::addEngineRows(); }
    void pathTwoLevelsBelowARootIsCreatedTopDown()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/c/root"_s);
        const FolderConfiguration root = store.manager.GetFolderConfigurationById(1);

        const FolderConfiguration folder = store.manager.AddFolderAndParent(u"/c/root/a/b"_s, root);
        const FolderConfiguration again = store.manager.AddFolderAndParent(u"/c/root/a/b"_s, root);

        const auto tree = store.manager.GetFolderConfigurationsByRootId(1);
        QCOMPARE(pathsOf(tree), QStringList({u"/c/root"_s, u"/c/root/a"_s, u"/c/root/a/b"_s}));
        QCOMPARE(tree.at(1).getParentId(), 1);
        QCOMPARE(tree.at(2).getParentId(), 2);
        QCOMPARE(tree.at(2).getRemoteLongKey(), u"/server/a/b"_s);
        QCOMPARE(tree.at(1).getSyncStatus(), FolderCreated);
        QCOMPARE(folder.getId(), 3);
        QCOMPARE(again.getId(), 3);
    }

    void cleanRemovesASubtreeWithItsFiles_data() { test::addEngineRows(); }
    void cleanRemovesASubtreeWithItsFiles()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/r"_s);
        store.addFolder(1, 1, u"/r/a"_s);
        store.addFolder(2, 1, u"/r/a/b"_s);
        store.addFolder(1, 1, u"/r/c"_s);
        for (int folder = 1; folder <= 4; ++folder)
            QVERIFY(store.addFile(folder, 1));

        QVERIFY(store.manager.Clean(2));

        QCOMPARE(pathsOf(store.manager.GetAll()), QStringList({u"/r"_s, u"/r/c"_s}));
        QCOMPARE(store.number(CountFiles), 2);
        QCOMPARE(store.number(CountFiles + u" WHERE folderConfigurationId IN (1, 4)"_s), 2);
    }

    void cleanRootFolderRemovesATreeWithItsFiles_data() { test::addEngineRows(); }
    void cleanRootFolderRemovesATreeWithItsFiles()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/r"_s);
        store.addFolder(0, -1, u"/other"_s);
        store.addFolder(1, 1, u"/r/a"_s);
        store.addFolder(3, 1, u"/r/a/b"_s);
        QVERIFY(store.addFile(4, 1));
        QVERIFY(store.addFile(2, 2));

        QVERIFY(store.manager.CleanRootFolder(1));

        QCOMPARE(pathsOf(store.manager.GetAll()), QStringList({u"/other"_s}));
        QCOMPARE(store.number(CountFiles), 1);
        QCOMPARE(store.number(CountFiles + u" WHERE rootFolderId = 2"_s), 1);
    }

    void failedCleanRootFolderKeepsWhatItRemoved_data() { test::addEngineRows(); }
    void failedCleanRootFolderKeepsWhatItRemoved()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/r"_s);
        store.addFolder(1, 1, u"/r/a"_s);
        QVERIFY(store.addFile(2, 1));
        const auto kept = test::refuseRemoval(engine, *store.factory, u"FileConfiguration"_s);

        QVERIFY(!store.manager.CleanRootFolder(1));

        QCOMPARE(pathsOf(store.manager.GetAll()), QStringList({u"/r/a"_s}));
        QCOMPARE(store.number(CountFiles), 1);
    }

    void listsShowForeignChangesWhenTheCachesAreCleared_data() { test::addEngineRows(); }
    void listsShowForeignChangesWhenTheCachesAreCleared()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/first"_s);
        store.manager.GetAll();
        store.manager.GetAllRootFolders();

        QVERIFY(store.run(u"DELETE FROM FolderConfiguration"_s));
        QCOMPARE(idsOf(store.manager.GetAll()), QList<int>({1}));
        QCOMPARE(idsOf(store.manager.GetAllRootFolders()), QList<int>({1}));
        store.manager.ClearCaches();

        QVERIFY(store.manager.GetAll().isEmpty());
        QVERIFY(store.manager.GetAllRootFolders().isEmpty());
    }

    void removeOfAnUnknownIdSucceeds_data() { test::addEngineRows(); }
    void removeOfAnUnknownIdSucceeds()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/r"_s);

        QVERIFY(store.manager.Remove(99));

        QCOMPARE(idsOf(store.manager.GetAll()), QList<int>({1}));
    }

    void listsShowAddsAndRemovalsAtOnceButNotUpdates_data() { test::addEngineRows(); }
    void listsShowAddsAndRemovalsAtOnceButNotUpdates()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/first"_s);
        QCOMPARE(pathsOf(store.manager.GetAll()), QStringList({u"/first"_s}));
        store.addFolder(0, -1, u"/second"_s);
        QCOMPARE(pathsOf(store.manager.GetAll()), QStringList({u"/first"_s, u"/second"_s}));

        FolderConfiguration folder = store.manager.GetFolderConfigurationById(2);
        folder.setClientPath(u"/moved"_s);
        QVERIFY(store.manager.Update(folder));
        QCOMPARE(pathsOf(store.manager.GetAll()), QStringList({u"/first"_s, u"/second"_s}));
        store.manager.ClearCaches();
        QCOMPARE(pathsOf(store.manager.GetAll()), QStringList({u"/first"_s, u"/moved"_s}));

        QVERIFY(store.manager.Remove(1));
        QCOMPARE(pathsOf(store.manager.GetAll()), QStringList({u"/moved"_s}));
        QCOMPARE(pathsOf(store.manager.GetAllRootFolders()), QStringList({u"/moved"_s}));
    }

    void withoutRootsEveryFolderMissesItsRoot_data() { test::addEngineRows(); }
    void withoutRootsEveryFolderMissesItsRoot()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(7, 8, u"/a"_s);
        store.addFolder(7, 9, u"/b"_s);

        const auto folders = store.manager.GetFolderConfigurationsOfNonExistingRootFolders();

        QCOMPARE(idsOf(folders), QList<int>({1, 2}));
    }

    void foldersWithoutTheirRootAreFound_data() { test::addEngineRows(); }
    void foldersWithoutTheirRootAreFound()
    {
        QFETCH(QString, engine);
        Store store(engine);
        store.addFolder(0, -1, u"/r"_s);
        store.addFolder(1, 1, u"/r/a"_s);
        store.addFolder(7, 9, u"/lost"_s);

        const auto folders = store.manager.GetFolderConfigurationsOfNonExistingRootFolders();

        QCOMPARE(idsOf(folders), QList<int>({3}));
    }

    void countsCount_data() { test::addEngineRows(); }
    void countsCount()
    {
        QFETCH(QString, engine);
        Store store(engine);
        QCOMPARE(store.manager.GetRootFolderConfigurationCount(), 0);
        QVERIFY(!store.manager.IsInExistingAuthentication(2));
        store.addFolder(0, -1, u"/r"_s);
        store.addFolder(1, 1, u"/r/a"_s);

        QCOMPARE(store.manager.GetRootFolderConfigurationCount(), 1);
        QVERIFY(store.manager.IsInExistingAuthentication(2));
        QVERIFY(!store.manager.IsInExistingAuthentication(3));
        QVERIFY(!store.manager.IsAnyFolderConfigOutOfSync());
        FolderConfiguration folder = store.manager.GetFolderConfigurationById(2);
        folder.setSyncStatus(FolderNotSynced);
        QVERIFY(store.manager.Update(folder));

        QVERIFY(store.manager.IsAnyFolderConfigOutOfSync());
    }

    void folderOfAnUnknownIdHasIdMinusOne_data() { test::addEngineRows(); }
    void folderOfAnUnknownIdHasIdMinusOne()
    {
        QFETCH(QString, engine);
        Store store(engine);

        QCOMPARE(columnsOf(store.manager.GetFolderConfigurationById(1)), columnsOf({}));
    }
};

} // namespace sync::config

QTEST_GUILESS_MAIN(sync::config::TestFolderConfigManager)
#include "TestFolderConfigManager.moc"
