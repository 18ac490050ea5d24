#include <config/ServerConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>
#include <support/ConvertingManager.h>
#include <support/Engines.h>
#include <support/RecordingDatabaseFactory.h>

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;
using sync::test::RecordingDatabaseFactory;
using sync::test::statementLog;

namespace sync::config {

namespace {

const QString Select =
    u"SELECT id, alias, davUrl, webServiceUrl, nameValueProperties, binaryDiffEncoder FROM "
    u"ServerConfiguration"_s;
const QString SelectById = Select + u" WHERE id = :id;"_s;
const QString SelectByServers =
    Select + u" WHERE davUrl = :davUrl AND webServiceUrl = :webServiceUrl;"_s;
const QString SelectBySignIn =
    u"SELECT SC.id, SC.alias, SC.davUrl, SC.webServiceUrl, SC.nameValueProperties, "
    u"SC.binaryDiffEncoder FROM ServerConfiguration AS SC JOIN AuthenticationConfiguration AS AC "
    u"ON SC.id = AC.ServerID WHERE AC.id = :id;"_s;
const QString SelectByFolder =
    u"SELECT SC.id, SC.alias, SC.davUrl, SC.webServiceUrl, SC.nameValueProperties, "
    u"SC.binaryDiffEncoder FROM ServerConfiguration AS SC JOIN AuthenticationConfiguration AS AC "
    u"ON SC.id = AC.ServerID JOIN FolderConfiguration AS FC ON FC.authenticationId = AC.id WHERE "
    u"FC.id = :id;"_s;
const QString SelectByFile =
    u"SELECT SC.id, SC.alias, SC.davUrl, SC.webServiceUrl, SC.nameValueProperties, "
    u"SC.binaryDiffEncoder FROM ServerConfiguration AS SC JOIN AuthenticationConfiguration AS AC "
    u"ON SC.id = AC.ServerID JOIN FolderConfiguration AS FC ON FC.authenticationId = AC.id JOIN "
    u"FileConfiguration AS FIC ON FIC.folderConfigurationId = FC.id WHERE FIC.id = :id;"_s;
const QString UpdateById =
    u"UPDATE ServerConfiguration SET alias = :alias, davUrl = :davUrl, webServiceUrl = "
    u":webServiceUrl, nameValueProperties = :nameValueProperties, binaryDiffEncoder = "
    u":binaryDiffEncoder WHERE id = :id;"_s;
const QString Insert =
    u"INSERT INTO ServerConfiguration (alias, davUrl, webServiceUrl, nameValueProperties, "
    u"binaryDiffEncoder) VALUES (:alias, :davUrl, :webServiceUrl, :nameValueProperties, "
    u":binaryDiffEncoder);"_s;
const QString Delete = u"DELETE FROM ServerConfiguration WHERE Id = :id;"_s;

const QString SampleXml =
    u"<!DOCTYPE NameValueXml>\n<NameValueXml>\n <Key><![CDATA[value]]></Key>\n</NameValueXml>\n"_s;

QVariantList sampleRow(int id = 1)
{
    return {id, u"alias"_s, u"dav"_s, u"web"_s, SampleXml, u"encoder"_s};
}

// A record that holds no alias, and URLs with slashes to chop.
ServerConfiguration sampleServer()
{
    ServerConfiguration server;
    server.setDavUrl(u"https://dav.example.com/%1/"_s);
    server.setWebServiceUrl(u"https://web.example.com//"_s);
    server.setBinaryDiffEncoder(u"encoder"_s);
    server.setNameValueProperties({{u"Key"_s, u"value"_s}});
    return server;
}

QStringList fieldsOf(const ServerConfiguration& server)
{
    return {
        QString::number(server.getId()),
        server.getAlias(),
        server.getDavUrl(),
        server.getWebServiceUrl(),
        server.getNameValueProperties().value(u"Key"_s),
        server.getBinaryDiffEncoder(),
    };
}

QStringList sampleFields(int id)
{
    return {QString::number(id), u"alias"_s, u"dav"_s, u"web"_s, u"value"_s, u"encoder"_s};
}

const QStringList DefaultFields{u"-1"_s, {}, {}, {}, {}, {}};

struct Recording
{
    std::shared_ptr<RecordingDatabaseFactory> factory =
        std::make_shared<RecordingDatabaseFactory>();
    ServerConfigManager manager{factory};
};

class OverridingManager : public ServerConfigManager
{
public:
    using ServerConfigManager::ServerConfigManager;
    ServerConfiguration GetServerConfigById(long long id) override
    {
        askedFor = id;
        return {};
    }
    long long askedFor = 0;
};

using Lookup = std::function<ServerConfiguration(ServerConfigManager&)>;

} // namespace

class TestServerConfigManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void lookupsRunOneStatement_data();
    void lookupsRunOneStatement();
    void failedLookupReadsAsDefaultRecord_data() { lookupsRunOneStatement_data(); }
    void failedLookupReadsAsDefaultRecord();
    void lookupWithoutRowReadsAsDefaultRecord_data() { lookupsRunOneStatement_data(); }
    void lookupWithoutRowReadsAsDefaultRecord();
    void lookupStepsOnceAndReadsEachColumnOnce();
    void listHoldsEveryRowInOrder();
    void failedListIsEmpty();
    void addStoresTheComputedAliasAndChoppedUrls();
    void failedAddLeavesTheIdUntouched();
    void updateStoresTheRecordAsItIs();
    void removeDeletesByIdInAScope();
    void failedWritesReturnFalse();
    void exceptionOfTheDatabaseEndsScopesAndQueries();
    void conversionsOfAnOverrideAreUsed();
    void castsNameTheManagerAndItsSecondBase();
    void metaObjectAddsNothing();

    void defaultServerIsTheOneWithIdOne();
    void defaultServerFollowsTheUserSetting();
    void settingThatIsNoNumberReadsAsZero();
    void defaultServerIsLookedUpThroughOverrides();
    void readingTheSettingWritesNothing();

    void addedServerReadsBackWithoutSlashesAndUpdatedWithThem_data() { test::addEngineRows(); }
    void addedServerReadsBackWithoutSlashesAndUpdatedWithThem();
    void serversAreFoundWithAndWithoutASlash_data() { test::addEngineRows(); }
    void serversAreFoundWithAndWithoutASlash();
    void serverIsFoundBehindSignInFolderAndFile_data() { test::addEngineRows(); }
    void serverIsFoundBehindSignInFolderAndFile();
    void removeOfAnUnknownIdSucceeds_data() { test::addEngineRows(); }
    void removeOfAnUnknownIdSucceeds();

private:
    QTemporaryDir settingsDirectory;
};

void TestServerConfigManager::initTestCase()
{
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settingsDirectory.path());
}

void TestServerConfigManager::init()
{
    QSettings(QSettings::UserScope, u"Corvanta"_s, u"Corvanta Sync"_s).clear();
}

void TestServerConfigManager::lookupsRunOneStatement_data()
{
    QTest::addColumn<Lookup>("lookup");
    QTest::addColumn<QStringList>("log");

    const QStringList bigId{u":id qlonglong 8589934592"_s};
    constexpr long long id = 8589934592;
    QTest::newRow("id") << Lookup([](auto& manager) { return manager.GetServerConfigById(id); })
                        << statementLog(SelectById, bigId);
    QTest::newRow("sign-in") << Lookup([](auto& manager) {
        return manager.GetServerConfigByAuthenticationId(id);
    }) << statementLog(SelectBySignIn, bigId);
    QTest::newRow("folder") << Lookup([](auto& manager) {
        return manager.GetServerConfigByFolderId(id);
    }) << statementLog(SelectByFolder, bigId);
    QTest::newRow("file") << Lookup([](auto& manager) {
        return manager.GetServerConfigByFileId(id);
    }) << statementLog(SelectByFile, bigId);
    QTest::newRow("URLs") << Lookup([](auto& manager) {
        return manager.GetServerConfigByServers(u"d%1//"_s, u"w%2"_s);
    })
                          << statementLog(
                                 SelectByServers,
                                 {u":davUrl QString 'd%1/'"_s, u":webServiceUrl QString 'w%2'"_s});
    QTest::newRow("default") << Lookup([](auto& manager) {
        return manager.GetDefaultServerConfig();
    }) << statementLog(SelectById, {u":id qlonglong 1"_s});
}

void TestServerConfigManager::lookupsRunOneStatement()
{
    QFETCH(Lookup, lookup);
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow(42), sampleRow(43)}});

    const ServerConfiguration server = lookup(recording.manager);

    QTEST(recording.factory->log(), "log");
    QCOMPARE(fieldsOf(server), sampleFields(42));
}

void TestServerConfigManager::failedLookupReadsAsDefaultRecord()
{
    QFETCH(Lookup, lookup);
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow()}, .fails = true});

    const ServerConfiguration server = lookup(recording.manager);

    QTEST(recording.factory->log(), "log");
    QCOMPARE(fieldsOf(server), DefaultFields);
}

void TestServerConfigManager::lookupWithoutRowReadsAsDefaultRecord()
{
    QFETCH(Lookup, lookup);
    Recording recording;

    const ServerConfiguration server = lookup(recording.manager);

    QTEST(recording.factory->log(), "log");
    QCOMPARE(fieldsOf(server), DefaultFields);
}

void TestServerConfigManager::lookupStepsOnceAndReadsEachColumnOnce()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow()}});
    recording.factory->noteRowCalls();

    recording.manager.GetServerConfigById(1);

    QCOMPARE(
        recording.factory->log().mid(4),
        QStringList(
            {u"next true"_s, u"isValid true"_s, u"value 0"_s, u"value 1"_s, u"value 2"_s,
             u"value 3"_s, u"value 4"_s, u"value 5"_s, u"release"_s}));
}

void TestServerConfigManager::listHoldsEveryRowInOrder()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow(3), sampleRow(1)}});

    const std::vector<ServerConfiguration> servers = recording.manager.GetAll();

    QCOMPARE(recording.factory->log(), statementLog(Select + u';'));
    QCOMPARE(servers.size(), std::size_t(2));
    QCOMPARE(fieldsOf(servers.at(0)), sampleFields(3));
    QCOMPARE(fieldsOf(servers.at(1)), sampleFields(1));
}

void TestServerConfigManager::failedListIsEmpty()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow()}, .fails = true});

    QVERIFY(recording.manager.GetAll().empty());
}

void TestServerConfigManager::addStoresTheComputedAliasAndChoppedUrls()
{
    Recording recording;
    recording.factory->answer(Insert, {.lastInsertId = 77});
    ServerConfiguration server = sampleServer();

    QVERIFY(recording.manager.Add(server));

    QCOMPARE(
        recording.factory->log(),
        statementLog(
            Insert,
            {u":alias QString 'web'"_s, u":davUrl QString 'https://dav.example.com/%1'"_s,
             u":webServiceUrl QString 'https://web.example.com/'"_s,
             u":nameValueProperties QString '"_s + SampleXml + u'\'',
             u":binaryDiffEncoder QString 'encoder'"_s},
            1));
    QCOMPARE(server.getId(), 77);
    QCOMPARE(server.getDavUrl(), u"https://dav.example.com/%1/"_s);
}

void TestServerConfigManager::failedAddLeavesTheIdUntouched()
{
    Recording recording;
    recording.factory->answerOthers({.fails = true, .lastInsertId = 77});
    ServerConfiguration server = sampleServer();

    QVERIFY(!recording.manager.Add(server));

    QCOMPARE(server.getId(), -1);
}

void TestServerConfigManager::updateStoresTheRecordAsItIs()
{
    Recording recording;

    QVERIFY(recording.manager.Update(sampleServer()));

    QCOMPARE(
        recording.factory->log(), statementLog(
                                      UpdateById,
                                      {u":id int -1"_s, u":alias QString null"_s,
                                       u":davUrl QString 'https://dav.example.com/%1/'"_s,
                                       u":webServiceUrl QString 'https://web.example.com//'"_s,
                                       u":nameValueProperties QString '"_s + SampleXml + u'\'',
                                       u":binaryDiffEncoder QString 'encoder'"_s},
                                      1));
}

void TestServerConfigManager::removeDeletesByIdInAScope()
{
    Recording recording;

    QVERIFY(recording.manager.Remove(7));

    QCOMPARE(recording.factory->log(), statementLog(Delete, {u":id int 7"_s}, 1));
}

void TestServerConfigManager::failedWritesReturnFalse()
{
    Recording recording;
    recording.factory->answerOthers({.fails = true});

    QVERIFY(!recording.manager.Update(sampleServer()));
    QVERIFY(!recording.manager.Remove(7));
}

void TestServerConfigManager::exceptionOfTheDatabaseEndsScopesAndQueries()
{
    Recording recording;
    recording.factory->answer(1, {.throws = true});

    QVERIFY_THROWS_EXCEPTION(test::ExecException, recording.manager.Remove(7));
    QVERIFY(recording.manager.Remove(7));

    const QStringList once = statementLog(Delete, {u":id int 7"_s}, 1);
    QCOMPARE(recording.factory->log(), once + once);
}

void TestServerConfigManager::conversionsOfAnOverrideAreUsed()
{
    auto factory = std::make_shared<RecordingDatabaseFactory>();
    factory->answer(SelectById, {.rows = {sampleRow()}});
    test::ConvertingManager<ServerConfigManager> manager(factory);
    ServerConfiguration server = sampleServer();

    const ServerConfiguration read = manager.GetServerConfigById(1);
    factory->takeLog();
    manager.Update(server);
    manager.Add(server);

    QCOMPARE(read.getNameValueProperties().value(u"Read"_s), SampleXml);
    QCOMPARE(factory->log().filter(test::ConvertedBind).size(), 2);
}

void TestServerConfigManager::castsNameTheManagerAndItsSecondBase()
{
    Recording recording;
    ServerConfigManager& manager = recording.manager;

    QCOMPARE(manager.qt_metacast("sync::config::ServerConfigManager"), &manager);
    QCOMPARE(
        manager.qt_metacast("DatabaseConfigurationManager"),
        static_cast<DatabaseConfigurationManager*>(&manager));
    QCOMPARE(
        manager.qt_metacast("sync::interf::IServerConfigManager"),
        static_cast<interf::IServerConfigManager*>(&manager));
    QCOMPARE(manager.qt_metacast("sync::config::DatabaseConfigurationManager"), nullptr);
}

void TestServerConfigManager::metaObjectAddsNothing()
{
    const QMetaObject& metaObject = ServerConfigManager::staticMetaObject;

    QCOMPARE(metaObject.superClass(), &interf::IServerConfigManager::staticMetaObject);
    QCOMPARE(metaObject.methodCount(), metaObject.methodOffset());
    QCOMPARE(metaObject.propertyCount(), metaObject.propertyOffset());
}

void TestServerConfigManager::defaultServerIsTheOneWithIdOne()
{
    Recording recording;

    recording.manager.GetDefaultServerConfig();

    QCOMPARE(recording.factory->log(), statementLog(SelectById, {u":id qlonglong 1"_s}));
}

void TestServerConfigManager::defaultServerFollowsTheUserSetting()
{
    Recording recording;
    QSettings settings(QSettings::UserScope, u"Corvanta"_s, u"Corvanta Sync"_s);
    settings.setValue(u"Velmio/DefaultServerConfigurationId"_s, u"8589934592"_s);
    settings.setValue(u"DefaultServerConfigurationId"_s, 3);
    settings.sync();

    recording.manager.GetDefaultServerConfig();

    QCOMPARE(recording.factory->log(), statementLog(SelectById, {u":id qlonglong 8589934592"_s}));
}

void TestServerConfigManager::settingThatIsNoNumberReadsAsZero()
{
    Recording recording;
    QSettings settings(QSettings::UserScope, u"Corvanta"_s, u"Corvanta Sync"_s);
    settings.setValue(u"Velmio/DefaultServerConfigurationId"_s, u"first"_s);
    settings.sync();

    recording.manager.GetDefaultServerConfig();

    QCOMPARE(recording.factory->log(), statementLog(SelectById, {u":id qlonglong 0"_s}));
}

void TestServerConfigManager::defaultServerIsLookedUpThroughOverrides()
{
    auto factory = std::make_shared<RecordingDatabaseFactory>();
    OverridingManager manager(factory);

    manager.GetDefaultServerConfig();

    QCOMPARE(manager.askedFor, 1LL);
    QCOMPARE(factory->log(), QStringList());
}

void TestServerConfigManager::readingTheSettingWritesNothing()
{
    Recording recording;
    const QSettings settings(QSettings::UserScope, u"Corvanta"_s, u"Corvanta Sync"_s);
    QVERIFY(settings.fileName().startsWith(settingsDirectory.path()));

    recording.manager.GetDefaultServerConfig();

    QCOMPARE(settings.allKeys(), QStringList());
}

namespace {

// A new database file of its own for each test, over the engine of the test's row.
struct Store
{
    explicit Store(const QString& engine)
        : factory(test::openEngine(engine, directory.filePath(u"configuration.db"_s)))
    {
    }

    bool run(const QString& sql)
    {
        const auto query = factory->CreateQuery();
        query->prepare(sql);
        return query->exec();
    }

    QTemporaryDir directory;
    std::shared_ptr<interf::factory::IDatabaseFactory> factory;
    ServerConfigManager manager{factory};
};

} // namespace

void TestServerConfigManager::addedServerReadsBackWithoutSlashesAndUpdatedWithThem()
{
    QFETCH(QString, engine);
    Store store(engine);
    ServerConfiguration server = sampleServer();

    QVERIFY(store.manager.Add(server));
    QCOMPARE(
        fieldsOf(store.manager.GetServerConfigById(server.getId())),
        QStringList(
            {u"1"_s, u"web"_s, u"https://dav.example.com/%1"_s, u"https://web.example.com/"_s,
             u"value"_s, u"encoder"_s}));

    server.setAlias(u"mine"_s);
    QVERIFY(store.manager.Update(server));
    QCOMPARE(
        fieldsOf(store.manager.GetDefaultServerConfig()),
        QStringList(
            {u"1"_s, u"mine"_s, u"https://dav.example.com/%1/"_s, u"https://web.example.com//"_s,
             u"value"_s, u"encoder"_s}));
    QCOMPARE(store.manager.GetAll().size(), std::size_t(1));
}

void TestServerConfigManager::serversAreFoundWithAndWithoutASlash()
{
    QFETCH(QString, engine);
    Store store(engine);
    ServerConfiguration server;
    server.setDavUrl(u"https://d/"_s);
    server.setWebServiceUrl(u"https://w/"_s);
    QVERIFY(store.manager.Add(server));

    QCOMPARE(store.manager.GetServerConfigByServers(u"https://d/"_s, u"https://w"_s).getId(), 1);
    QCOMPARE(store.manager.GetServerConfigByServers(u"https://d"_s, u"https://x"_s).getId(), -1);
    QVERIFY(store.manager.Update(server));

    QCOMPARE(store.manager.GetServerConfigByServers(u"https://d/"_s, u"https://w/"_s).getId(), -1);
}

void TestServerConfigManager::serverIsFoundBehindSignInFolderAndFile()
{
    QFETCH(QString, engine);
    Store store(engine);
    ServerConfiguration other;
    ServerConfiguration server;
    QVERIFY(store.manager.Add(other));
    QVERIFY(store.manager.Add(server));
    QVERIFY(store.run(u"INSERT INTO AuthenticationConfiguration (id, serverId) VALUES (11, 2)"_s));
    QVERIFY(store.run(u"INSERT INTO FolderConfiguration (id, authenticationId) VALUES (21, 11)"_s));
    QVERIFY(
        store.run(u"INSERT INTO FileConfiguration (id, folderConfigurationId) VALUES (31, 21)"_s));

    QCOMPARE(store.manager.GetServerConfigByAuthenticationId(11).getId(), 2);
    QCOMPARE(store.manager.GetServerConfigByFolderId(21).getId(), 2);
    QCOMPARE(store.manager.GetServerConfigByFileId(31).getId(), 2);
    QCOMPARE(store.manager.GetServerConfigByAuthenticationId(12).getId(), -1);
    QCOMPARE(store.manager.GetServerConfigByFolderId(22).getId(), -1);
    QCOMPARE(store.manager.GetServerConfigByFileId(32).getId(), -1);
}

void TestServerConfigManager::removeOfAnUnknownIdSucceeds()
{
    QFETCH(QString, engine);
    Store store(engine);
    ServerConfiguration server;
    QVERIFY(store.manager.Add(server));

    QVERIFY(store.manager.Remove(99));
    QCOMPARE(store.manager.GetAll().size(), std::size_t(1));
    QVERIFY(store.manager.Remove(1));

    QVERIFY(store.manager.GetAll().empty());
    QCOMPARE(store.manager.GetDefaultServerConfig().getId(), -1);
}

} // namespace sync::config

QTEST_GUILESS_MAIN(sync::config::TestServerConfigManager)
#include "TestServerConfigManager.moc"
