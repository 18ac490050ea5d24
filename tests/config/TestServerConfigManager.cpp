#include "RecordFields.h"
#include "Stores.h"

#include <config/ServerConfigManager.h>

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::test::RecordingDatabaseFactory;
using sync::test::statementLog;

namespace sync::config {

namespace {

const QString SelectById =
    u"SELECT id, alias, davUrl, webServiceUrl, nameValueProperties, binaryDiffEncoder FROM "
    u"ServerConfiguration WHERE id = :id;"_s;

// A record without an alias, and URLs with slashes to chop.
ServerConfiguration sampleServer()
{
    auto server = test::sampleOf<ServerConfiguration>();
    server.setAlias({});
    server.setDavUrl(u"https://dav.example.com/%1/"_s);
    server.setWebServiceUrl(u"https://web.example.com//"_s);
    return server;
}

using Recording = test::Recording<ServerConfigManager>;
using Store = test::Store<ServerConfigManager>;

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

} // namespace

class TestServerConfigManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settingsDirectory.path());
    }

    void init() { QSettings(QSettings::UserScope, u"Corvanta"_s, u"Corvanta Sync"_s).clear(); }

    void defaultServerFollowsTheUserSetting()
    {
        Recording recording;
        QSettings settings(QSettings::UserScope, u"Corvanta"_s, u"Corvanta Sync"_s);
        settings.setValue(u"Velmio/DefaultServerConfigurationId"_s, u"8589934592"_s);
        settings.setValue(u"DefaultServerConfigurationId"_s, 3);
        settings.sync();

        recording.manager.GetDefaultServerConfig();

        QCOMPARE(
            recording.factory->log(), statementLog(SelectById, {u":id qlonglong 8589934592"_s}));
    }

    void settingThatIsNoNumberReadsAsZero()
    {
        Recording recording;
        QSettings settings(QSettings::UserScope, u"Corvanta"_s, u"Corvanta Sync"_s);
        settings.setValue(u"Velmio/DefaultServerConfigurationId"_s, u"first"_s);
        settings.sync();

        recording.manager.GetDefaultServerConfig();

        QCOMPARE(recording.factory->log(), statementLog(SelectById, {u":id qlonglong 0"_s}));
    }

    void defaultServerIsLookedUpThroughOverrides()
    {
        auto factory = std::make_shared<RecordingDatabaseFactory>();
        OverridingManager manager(factory);

        manager.GetDefaultServerConfig();

        QCOMPARE(manager.askedFor, 1LL);
        QCOMPARE(factory->log(), QStringList());
    }

    void readingTheSettingWritesNothing()
    {
        Recording recording;
        const QSettings settings(QSettings::UserScope, u"Corvanta"_s, u"Corvanta Sync"_s);
        QVERIFY(settings.fileName().startsWith(settingsDirectory.path()));

        recording.manager.GetDefaultServerConfig();

        QCOMPARE(settings.allKeys(), QStringList());
    }

    void addedServerReadsBackWithoutSlashesAndUpdatedWithThem_data() { test::addEngineRows(); }
    void addedServerReadsBackWithoutSlashesAndUpdatedWithThem()
    {
        Store store;
        ServerConfiguration server = sampleServer();

        QVERIFY(store.manager.Add(server));
        QCOMPARE(
            test::linesOf(store.manager.GetServerConfigById(server.getId())),
            test::linesOf(
                sampleServer(), {{u"Id"_s, 1},
                                 {u"Alias"_s, u"web"_s},
                                 {u"DavUrl"_s, u"https://dav.example.com/%1"_s},
                                 {u"WebServiceUrl"_s, u"https://web.example.com/"_s}}));

        server.setAlias(u"mine"_s);
        QVERIFY(store.manager.Update(server));
        QCOMPARE(
            test::linesOf(store.manager.GetDefaultServerConfig()),
            test::linesOf(sampleServer(), {{u"Id"_s, 1}, {u"Alias"_s, u"mine"_s}}));
        QCOMPARE(store.manager.GetAll().size(), std::size_t(1));
    }

    void serversAreFoundWithAndWithoutASlash_data() { test::addEngineRows(); }
    void serversAreFoundWithAndWithoutASlash()
    {
        Store store;
        ServerConfiguration server;
        server.setDavUrl(u"https://d/"_s);
        server.setWebServiceUrl(u"https://w/"_s);
        QVERIFY(store.manager.Add(server));

        QCOMPARE(
            store.manager.GetServerConfigByServers(u"https://d/"_s, u"https://w"_s).getId(), 1);
        QCOMPARE(
            store.manager.GetServerConfigByServers(u"https://d"_s, u"https://x"_s).getId(), -1);
        QVERIFY(store.manager.Update(server));

        QCOMPARE(
            store.manager.GetServerConfigByServers(u"https://d/"_s, u"https://w/"_s).getId(), -1);
    }

    void serverIsFoundBehindSignInFolderAndFile_data() { test::addEngineRows(); }
    void serverIsFoundBehindSignInFolderAndFile()
    {
        Store store;
        ServerConfiguration other;
        ServerConfiguration server;
        QVERIFY(store.manager.Add(other));
        QVERIFY(store.manager.Add(server));
        store.run(u"INSERT INTO AuthenticationConfiguration (id, serverId) VALUES (11, 2)"_s);
        store.run(u"INSERT INTO FolderConfiguration (id, authenticationId) VALUES (21, 11)"_s);
        store.run(u"INSERT INTO FileConfiguration (id, folderConfigurationId) VALUES (31, 21)"_s);

        QCOMPARE(store.manager.GetServerConfigByAuthenticationId(11).getId(), 2);
        QCOMPARE(store.manager.GetServerConfigByFolderId(21).getId(), 2);
        QCOMPARE(store.manager.GetServerConfigByFileId(31).getId(), 2);
        QCOMPARE(store.manager.GetServerConfigByAuthenticationId(12).getId(), -1);
        QCOMPARE(store.manager.GetServerConfigByFolderId(22).getId(), -1);
        QCOMPARE(store.manager.GetServerConfigByFileId(32).getId(), -1);
    }

    void removeOfAnUnknownIdSucceeds_data() { test::addEngineRows(); }
    void removeOfAnUnknownIdSucceeds()
    {
        Store store;
        ServerConfiguration server;
        QVERIFY(store.manager.Add(server));

        QVERIFY(store.manager.Remove(99));
        QCOMPARE(store.manager.GetAll().size(), std::size_t(1));
        QVERIFY(store.manager.Remove(1));

        QVERIFY(store.manager.GetAll().empty());
        QCOMPARE(store.manager.GetDefaultServerConfig().getId(), -1);
    }

private:
    QTemporaryDir settingsDirectory;
};

} // namespace sync::config

QTEST_GUILESS_MAIN(sync::config::TestServerConfigManager)
#include "TestServerConfigManager.moc"
