#include <config/AuthenticationConfigManager.h>
#include <config/PasswordContexts.h>
#include <config/PasswordKeys.h>
#include <config/ServerConfigManager.h>
#include <core/Cipher.h>
#include <core/FileKeyStore.h>
#include <core/HostKeyStore.h>
#include <core/KeychainKeyStore.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/TransactionalScope.h>
#include <interf/IQSqlQueryWrapper.h>

#include <support/CapturedWarnings.h>
#include <testkit/PassingFactory.h>

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;
using sync::database::SqliteDatabaseFactory;

namespace sync::config {

namespace {

/// A store that has no key to give.
class LockedKeyStore : public KeyStore
{
public:
    KeyBackend backend() const override { return KeyBackend::File; }
    KeyRing read() override
    {
        throw KeyError(KeyError::Cause::Locked, u"The keychain is locked. Unlock it."_s);
    }
    KeyRing change(const Change&) override { return read(); }
};

/// A query that cannot replace a password.
class ReplacesNoPassword : public test::PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool exec() override
    {
        return !lastQuery().contains(u"SET encryptedPassword"_s) && PassingQuery::exec();
    }
};

/// A query that cannot read the addresses of a server once.
class ReadsNoServerOnce : public test::PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    inline static bool fails = false;

    bool exec() override
    {
        const bool isRead = lastQuery().startsWith(u"SELECT davUrl, webServiceUrl"_s);
        return !(isRead && std::exchange(fails, false)) && PassingQuery::exec();
    }
};

/// Says which store it passes calls on to.
template <typename Query>
class IdentifiedFactory : public test::PassingFactory<Query>,
                          public database::IdentitySource
{
public:
    explicit IdentifiedFactory(const std::shared_ptr<SqliteDatabaseFactory>& store)
        : test::PassingFactory<Query>(store)
        , id(store->storeId())
    {
    }

    QString storeId() const override { return id; }

private:
    const QString id;
};

} // namespace

/// A store with the server "good", the sign-in kim there, the server "evil" and the sign-in eve
/// there. What is not done by a manager is done by somebody who has no key.
class TestBoundPasswords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder = std::make_unique<QTemporaryDir>();
        setKeyStore(std::make_shared<FileKeyStore>(folder->filePath(u"password.key"_s)));
        store = openFilled(u"configuration.db"_s);
    }

    void cleanup()
    {
        store.reset();
        setKeyStore(nullptr);
    }

    void passwordIsReadWhereItWasStored()
    {
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
        QCOMPARE(passwordOf(eve), u"secret of eve"_s);
        QVERIFY(unseal(valueOf(kim), {}).bound);
    }

    void passwordCopiedToAnotherSignInIsNotRead()
    {
        runSql(
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = (SELECT encryptedPassword"
            u" FROM AuthenticationConfiguration WHERE id = 1) WHERE id = 2"_s);

        expectUnreadable(eve, u"for another record"_s);
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
    }

    void passwordCopiedToAnotherStoreIsNotRead()
    {
        const QByteArray value = valueOf(kim);
        store = openFilled(u"other.db"_s);

        setValue(kim, value);

        expectUnreadable(kim, u"from another store"_s);
    }

    void passwordWhoseSignInOrServerIsChangedUnderItIsNotRead_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("cause");
        const QString record = u"for another record"_s;
        const QString server = u"the address of its server"_s;

        QTest::newRow("DAV URL")
            << u"UPDATE ServerConfiguration SET davUrl = 'https://evil.example' WHERE id = 1"_s
            << server;
        QTest::newRow("web service URL")
            << u"UPDATE ServerConfiguration SET webServiceUrl = 'https://evil.example'"_s << server;
        QTest::newRow("no more encryption")
            << u"UPDATE ServerConfiguration SET davUrl = 'http://dav.good.example' WHERE id = 1"_s
            << server;
        QTest::newRow("port") << u"UPDATE ServerConfiguration SET davUrl ="
                                 " 'https://dav.good.example:8443' WHERE id = 1"_s
                              << server;
        QTest::newRow("host after user info")
            << u"UPDATE ServerConfiguration SET davUrl ="
               " 'https://dav.good.example@evil.example' WHERE id = 1"_s
            << server;
        QTest::newRow("what parsers read differently")
            << u"UPDATE ServerConfiguration SET davUrl ="
               " 'https://dav.good.example\\@evil.example' WHERE id = 1"_s
            << server;
        QTest::newRow("server") << u"UPDATE AuthenticationConfiguration SET serverId = 2"_s
                                << server;
        QTest::newRow("server removed")
            << u"DELETE FROM ServerConfiguration WHERE id = 1"_s << server;
        QTest::newRow("user")
            << u"UPDATE AuthenticationConfiguration SET userName = 'eve' WHERE id = 1"_s << record;
        QTest::newRow("domain")
            << u"UPDATE AuthenticationConfiguration SET domain = 'south' WHERE id = 1"_s << record;
        QTest::newRow("text that moves from domain to user")
            << u"UPDATE AuthenticationConfiguration SET domain = 'nort', userName = 'hkim'"
               " WHERE id = 1"_s
            << record;
    }

    void passwordWhoseSignInOrServerIsChangedUnderItIsNotRead()
    {
        QFETCH(QString, change);
        QFETCH(QString, cause);

        runSql(change);

        expectUnreadable(kim, cause);
    }

    void changesThatLeadToTheSamePlaceDoNotCount_data()
    {
        QTest::addColumn<QString>("url");
        QTest::newRow("path") << u"https://dav.good.example/other/path"_s;
        QTest::newRow("usual port") << u"https://dav.good.example:443/dav"_s;
        QTest::newRow("upper case") << u"HTTPS://DAV.Good.Example/dav"_s;
    }

    void changesThatLeadToTheSamePlaceDoNotCount()
    {
        QFETCH(QString, url);

        runSql(u"UPDATE ServerConfiguration SET davUrl = '%1' WHERE id = 1"_s.arg(url));

        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
    }

    void addressThatIsSetBackMakesThePasswordReadableAgain()
    {
        const QString change = u"UPDATE ServerConfiguration SET davUrl = '%1' WHERE id = 1"_s;
        runSql(change.arg(u"https://evil.example"_s));
        expectUnreadable(kim, u"the address of its server"_s);

        runSql(change.arg(u"https://dav.good.example/dav"_s));

        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
    }

    void managerThatChangesAServerTakesItsPasswordsAlong()
    {
        ServerConfigManager servers(store);
        ServerConfiguration server = servers.GetServerConfigById(1);
        server.setDavUrl(u"https://dav.new.example"_s);

        QVERIFY(servers.Update(server));

        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
        runSql(u"UPDATE ServerConfiguration SET davUrl = 'https://dav.good.example/dav'"_s);
        expectUnreadable(kim, u"the address of its server"_s);
    }

    void managerThatRemovesOrAddsAServerTakesItsPasswordsAlong()
    {
        ServerConfigManager servers(store);
        AuthenticationConfiguration early = signIn(u"early"_s, 3);
        QVERIFY(AuthenticationConfigManager(store).Add(early));

        QVERIFY(servers.Remove(1));
        ServerConfiguration third = serverNamed(u"third"_s);
        QVERIFY(servers.Add(third));

        QCOMPARE(third.getId(), 3);
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
        QCOMPARE(passwordOf(early.getId()), u"secret of early"_s);
    }

    void managerDoesNotTakeAlongWhatCannotBeRead()
    {
        runSql(u"UPDATE ServerConfiguration SET davUrl = 'https://evil.example' WHERE id = 1"_s);
        const QByteArray value = valueOf(kim);
        ServerConfigManager servers(store);
        ServerConfiguration server = servers.GetServerConfigById(1);
        server.setDavUrl(u"https://more.evil.example"_s);

        QVERIFY(servers.Update(server));

        QCOMPARE(valueOf(kim), value);
        expectUnreadable(kim, u"the address of its server"_s);
    }

    void serverStaysWhereItsPasswordsCannotBeTakenAlong()
    {
        const auto failing = std::make_shared<IdentifiedFactory<ReplacesNoPassword>>(store);
        ServerConfigManager servers(failing);
        ServerConfiguration server = servers.GetServerConfigById(1);
        server.setDavUrl(u"https://dav.new.example"_s);

        QVERIFY(!servers.Update(server));

        QCOMPARE(servers.GetServerConfigById(1).getDavUrl(), u"https://dav.good.example/dav"_s);
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
    }

    void serverStaysWhereTheKeysOfItsPasswordsCannotBeRead()
    {
        const auto keys = keyStore();
        ServerConfigManager servers(store);
        ServerConfiguration server = servers.GetServerConfigById(1);
        server.setDavUrl(u"https://dav.new.example"_s);
        server.setAlias(u"renamed"_s);
        setKeyStore(std::make_shared<LockedKeyStore>());

        QVERIFY(!servers.Update(server));
        QVERIFY(!servers.Remove(1));
        server.setDavUrl(u"https://dav.good.example/elsewhere"_s);
        QVERIFY(servers.Update(server)); // The same origin needs no key.

        setKeyStore(keys);
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
        QCOMPARE(servers.GetServerConfigById(1).getAlias(), u"renamed"_s);
    }

    void nothingIsStoredForAServerThatCannotBeRead()
    {
        const auto failing = std::make_shared<IdentifiedFactory<ReadsNoServerOnce>>(store);
        AuthenticationConfigManager signIns(failing);
        ServerConfigManager servers(failing);
        PasswordKeys keys(failing);
        const auto without = [](auto&& operation) {
            ReadsNoServerOnce::fails = true;
            return operation();
        };
        AuthenticationConfiguration added = signIn(u"added"_s, 1);
        const AuthenticationConfiguration updated = signIns.GetAuthenticationConfigurationById(kim);
        ServerConfiguration server = servers.GetServerConfigById(1);
        server.setDavUrl(u"https://dav.new.example"_s);

        QVERIFY(!without([&] { return signIns.Add(added); }));
        QVERIFY(!without([&] { return signIns.Update(updated); }));
        QCOMPARE(without([&] { return signIns.UpdatePassword(u"north"_s, u"kim"_s, u"x"_s); }), -1);
        QVERIFY(!without([&] { return servers.Update(server); }));
        QVERIFY(!without([&] { return keys.changeKey().succeeded; }));
        QVERIFY(
            !without([&] { return keys.useCurrentKey(PasswordKeys::Accept::Moved).succeeded; }));
        QVERIFY(!without([&] { return keys.putBackIds().has_value(); }));

        QCOMPARE(signIns.GetAll().size(), 2);
        QCOMPARE(servers.GetServerConfigById(1).getDavUrl(), u"https://dav.good.example/dav"_s);
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
        QCOMPARE(passwordOf(eve), u"secret of eve"_s);
    }

    void updatedSignInIsBoundToWhatItIs()
    {
        AuthenticationConfigManager manager(store);
        AuthenticationConfiguration changed = manager.GetAuthenticationConfigurationById(kim);
        changed.setUserName(u"kim two"_s);
        changed.setServerId(2);

        QVERIFY(manager.Update(changed));

        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
    }

    void passwordOfAUserIsReadAtEachOfItsServers()
    {
        AuthenticationConfigManager manager(store);
        AuthenticationConfiguration second = signIn(u"kim"_s, 2);
        QVERIFY(manager.Add(second));

        QCOMPARE(manager.UpdatePassword(u"north"_s, u"kim"_s, u"new"_s), 2);

        QCOMPARE(valueOf(kim), valueOf(second.getId()));
        QCOMPARE(passwordOf(kim), u"new"_s);
        QCOMPARE(passwordOf(second.getId()), u"new"_s);
        runSql(
            u"UPDATE ServerConfiguration SET davUrl = 'https://more.evil.example' WHERE id = 2"_s);
        QCOMPARE(passwordOf(kim), u"new"_s);
        expectUnreadable(second.getId(), u"the address of its server"_s);
    }

    void anyTextIdentifiesASignIn_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("null") << QString();
        QTest::newRow("empty") << u""_s;
        QTest::newRow("NUL inside") << u"a\0b"_s;
        QTest::newRow("half a surrogate pair") << u"a"_s + QChar(0xD800) + u"b"_s;
        QTest::newRow("not normalised") << u"e\u0301"_s;
        QTest::newRow("number") << u"0042"_s;
    }

    void anyTextIdentifiesASignIn()
    {
        QFETCH(QString, text);
        AuthenticationConfigManager manager(store);
        AuthenticationConfiguration odd = signIn(u"odd"_s, 1);
        odd.setDomain(text);
        odd.setUserName(text);

        QVERIFY(manager.Add(odd));
        QCOMPARE(passwordOf(odd.getId()), u"secret of odd"_s);
        manager.UpdatePassword(text, text, u"new"_s);

        const QString read = passwordOf(odd.getId());
        QVERIFY(read == u"new"_s || (text.isNull() && read == u"secret of odd"_s));
    }

    void passwordOfAnEarlierVersionIsReadAndBoundByTheNextWrite()
    {
        setValue(kim, Encrypt(u"secret of kim"_s).toByteArray());
        AuthenticationConfigManager manager(store);

        const AuthenticationConfiguration read = manager.GetAuthenticationConfigurationById(kim);
        QVERIFY(manager.Update(read));

        QCOMPARE(read.getPassword(), u"secret of kim"_s);
        QVERIFY(unseal(valueOf(kim), {}).bound);
    }

    void changeOfTheKeyBindsPasswordsOfAnEarlierVersionAndThenRefusesThem()
    {
        const QByteArray earlier = Encrypt(u"secret of kim"_s).toByteArray();
        setValue(kim, earlier);

        const auto outcome = PasswordKeys(store).changeKey();

        QVERIFY(outcome.succeeded);
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
        QVERIFY(unseal(valueOf(kim), {}).bound);
        setValue(kim, earlier);
        expectUnreadable(kim, u"put back"_s);
        // Also under the current key, which the host's other database may use without binding.
        setValue(kim, Encrypt(u"unbound"_s).toByteArray());
        expectUnreadable(kim, u"put back"_s);
    }

    void passwordPutBackAfterAChangeAndAChangeOfTheKeyIsNotRead()
    {
        const QByteArray earlier = valueOf(kim);
        AuthenticationConfigManager(store).UpdatePassword(u"north"_s, u"kim"_s, u"new"_s);
        QVERIFY(PasswordKeys(store).changeKey().succeeded);

        setValue(kim, earlier);

        expectUnreadable(kim, u"put back"_s);
        QCOMPARE(PasswordKeys(store).putBackIds(), QVector<int>{kim});
        QCOMPARE(PasswordKeys(store).changeKey().unreadableIds, QVector<int>{kim});
        QCOMPARE(valueOf(kim), earlier);
    }

    void putBackPasswordsAreTakenOverWhenThatIsAccepted()
    {
        const QByteArray kimBefore = valueOf(kim);
        const QByteArray eveBefore = valueOf(eve);
        PasswordKeys keys(store);
        QVERIFY(keys.changeKey().succeeded);
        setValue(kim, kimBefore);
        setValue(eve, eveBefore);

        const auto outcome = keys.useCurrentKey(PasswordKeys::Accept::Earlier);

        QVERIFY(outcome.succeeded);
        QCOMPARE(outcome.encrypted, 2);
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
        QCOMPARE(keys.putBackIds(), QVector<int>());
    }

    void movedPasswordIsTakenOverOnlyWhenThatIsAccepted()
    {
        setValue(eve, valueOf(kim));
        PasswordKeys keys(store);

        const auto refused = keys.useCurrentKey(PasswordKeys::Accept::Earlier);
        const auto accepted = keys.useCurrentKey(PasswordKeys::Accept::Moved);

        QCOMPARE(refused.unreadableIds, QVector<int>{eve});
        QCOMPARE(accepted.unreadableIds, QVector<int>());
        QCOMPARE(passwordOf(eve), u"secret of kim"_s);
    }

    // Otherwise those that are left could never be read.
    void storeIsNotedOnlyWhenAllPasswordsWereEncrypted()
    {
        const QByteArray value = valueOf(kim);
        setValue(eve, value);
        PasswordKeys keys(store);

        QCOMPARE(keys.changeKey().unreadableIds, QVector<int>{eve});

        setValue(kim, value);
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
    }

    // Values of the process that still has the earlier key in memory stay readable.
    void keysInAKeychainAreNotOutdatedByAChange()
    {
        setKeyStore(std::make_shared<KeychainKeyStore>(std::make_unique<Remembering>()));
        store = openFilled(u"keychain.db"_s);
        const QByteArray earlier = valueOf(kim);
        const QByteArray unbound = Encrypt(u"secret of kim"_s).toByteArray();

        QVERIFY(PasswordKeys(store).changeKey().succeeded);

        setValue(kim, earlier);
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
        setValue(kim, unbound);
        expectUnreadable(kim, u"put back"_s);
    }

    void keyThatAnotherNotedStoreUsesIsNotDropped()
    {
        QVERIFY(PasswordKeys(store).changeKey().succeeded);
        const auto other = openFilled(u"other.db"_s);
        PasswordKeys keys(other);
        QVERIFY(keys.changeKey().succeeded);
        constexpr std::chrono::hours NoRest{0};

        QCOMPARE(keys.dropUnusedKeys(NoRest), 1); // The first key, which neither store uses.
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
        QCOMPARE(keys.dropUnusedKeys(NoRest, {}, PasswordKeys::OtherStores::Ignore), 1);
        expectUnreadable(kim, u"another key"_s);
    }

    void keyToKeepIsNotDropped()
    {
        const KeyId first = keyStore()->read().current().id();
        PasswordKeys keys(store);
        QVERIFY(keys.changeKey().succeeded);
        constexpr std::chrono::hours NoRest{0};

        QVERIFY(!keys.usedKeys()->contains(first));
        QCOMPARE(keys.dropUnusedKeys(NoRest, {first}), 0);
        QCOMPARE(keys.dropUnusedKeys(NoRest), 1);
    }

    // A factory of a host says nothing about the store unless it offers it.
    void hostsFactoryStoresAndReadsAsEver()
    {
        const auto passing = std::make_shared<test::PassingFactory<test::PassingQuery>>(store);
        AuthenticationConfigManager manager(passing);
        AuthenticationConfiguration added = signIn(u"host"_s, 1);

        QVERIFY(manager.Add(added));

        QVERIFY(!unseal(valueOf(added.getId()), {}).bound);
        QCOMPARE(passwordOf(added.getId()), u"secret of host"_s);
        QCOMPARE(manager.GetAuthenticationConfigurationById(kim).getPassword(), u"secret of kim"_s);
        QVERIFY(!PasswordContexts(*passing).areKnown());
    }

    void writesInAHostsTransactionJoinIt()
    {
        const auto database = store->GetDatabase();
        QVERIFY(database->transaction());
        AuthenticationConfiguration added = signIn(u"undone"_s, 1);
        QVERIFY(AuthenticationConfigManager(store).Add(added));
        ServerConfiguration server = ServerConfigManager(store).GetServerConfigById(1);
        server.setDavUrl(u"https://undone.example"_s);
        QVERIFY(ServerConfigManager(store).Update(server));
        QVERIFY(database->rollback());

        QCOMPARE(AuthenticationConfigManager(store).GetAll().size(), 2);
        QCOMPARE(passwordOf(kim), u"secret of kim"_s);
    }

    void writesInAHostsScopeJoinIt()
    {
        {
            const database::TransactionalScope scope;
            AuthenticationConfiguration added = signIn(u"added"_s, 1);
            QVERIFY(AuthenticationConfigManager(store).Add(added));
            QCOMPARE(passwordOf(added.getId()), u"secret of added"_s);
        }

        QCOMPARE(AuthenticationConfigManager(store).GetAll().size(), 3);
    }

private:
    using Factory = std::shared_ptr<SqliteDatabaseFactory>;

    /// A keychain that is always open.
    class Remembering : public Keychain
    {
    public:
        Answer read() override
        {
            return {entry.isEmpty() ? Status::Empty : Status::Done, entry, {}};
        }
        Answer write(const QByteArray& written) override
        {
            // A deep copy: the caller wipes its own.
            entry = QByteArray(written.constData(), written.size());
            return {Status::Done, {}, {}};
        }

    private:
        QByteArray entry;
    };

    ServerConfiguration serverNamed(const QString& name)
    {
        ServerConfiguration server;
        server.setDavUrl(u"https://dav.%1.example/dav"_s.arg(name));
        server.setWebServiceUrl(u"https://ws.%1.example"_s.arg(name));
        return server;
    }

    AuthenticationConfiguration signIn(const QString& user, int serverId)
    {
        AuthenticationConfiguration signIn;
        signIn.setDomain(u"north"_s);
        signIn.setUserName(user);
        signIn.setPassword(u"secret of "_s + user);
        signIn.setServerId(serverId);
        return signIn;
    }

    Factory openFilled(const QString& name)
    {
        const Factory opened = SqliteDatabaseFactory::open(folder->filePath(name));
        for (const QString& server : {u"good"_s, u"evil"_s}) {
            ServerConfiguration added = serverNamed(server);
            ServerConfigManager(opened).Add(added);
        }
        AuthenticationConfiguration first = signIn(u"kim"_s, 1);
        AuthenticationConfiguration second = signIn(u"eve"_s, 2);
        AuthenticationConfigManager(opened).Add(first);
        AuthenticationConfigManager(opened).Add(second);
        return opened;
    }

    QString passwordOf(int id)
    {
        return AuthenticationConfigManager(store)
            .GetAuthenticationConfigurationById(id)
            .getPassword();
    }

    void expectUnreadable(int id, const QString& cause)
    {
        const test::CapturedWarnings warnings;

        QVERIFY(passwordOf(id).isNull());

        QCOMPARE(warnings.texts().size(), 1);
        QVERIFY2(
            warnings.texts().constFirst().contains(cause),
            qPrintable(warnings.texts().constFirst()));
    }

    void runSql(const QString& sql, const QVariant& value = {})
    {
        const auto query = store->CreateQuery();
        QVERIFY(query->prepare(sql));
        if (value.isValid())
            query->bindValue(u":value"_s, value);
        QVERIFY(query->exec());
    }

    void setValue(int id, const QByteArray& value)
    {
        runSql(
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = :value WHERE id = %1"_s
                .arg(id),
            value);
    }

    QByteArray valueOf(int id)
    {
        const auto query = store->CreateQuery();
        query->prepare(
            u"SELECT encryptedPassword FROM AuthenticationConfiguration WHERE id = %1"_s.arg(id));
        return query->exec() && query->next() ? query->value(0).toByteArray() : QByteArray();
    }

    static constexpr int kim = 1;
    static constexpr int eve = 2;

    std::unique_ptr<QTemporaryDir> folder;
    Factory store;
};

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestBoundPasswords)
#include "TestBoundPasswords.moc"
