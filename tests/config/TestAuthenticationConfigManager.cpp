#include "RecordFields.h"
#include "Stores.h"

#include <config/AuthenticationConfigManager.h>
#include <core/Crypto.h>
#include <core/FileKeyStore.h>
#include <core/HostKeyStore.h>
#include <database/TransactionalScope.h>
#include <interf/IQSqlQueryWrapper.h>

#include <support/CapturedWarnings.h>
#include <support/Engines.h>
#include <support/RecordingDatabaseFactory.h>

#include <QMetaObject>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::core::crypto::Decrypt;
using sync::core::crypto::Encrypt;
using sync::core::crypto::KeyError;
using sync::test::RecordingDatabaseFactory;
using sync::test::statementLog;

namespace sync::config {

namespace {

const QString SelectDistinct =
    u"SELECT DISTINCT domain, userName FROM AuthenticationConfiguration"_s;
const QString UpdatePasswords =
    u"UPDATE AuthenticationConfiguration SET encryptedPassword = :encryptedPassword WHERE domain = :domain AND userName = :userName"_s;
const QString SampleXml =
    u"<!DOCTYPE NameValueXml>\n<NameValueXml>\n <Key><![CDATA[value]]></Key>\n</NameValueXml>\n"_s;
const QString EmptyXml = u"<!DOCTYPE NameValueXml>\n<NameValueXml/>\n"_s;

AuthenticationConfiguration sampleSignIn(const QString& password = u"pass word"_s)
{
    auto signIn = test::sampleOf<AuthenticationConfiguration>();
    signIn.setPassword(password);
    return signIn;
}

QVariantList sampleRow(int id = 7)
{
    return {id, u"domain"_s, u"domain id"_s, u"user"_s, Encrypt(u"pass word"_s), SampleXml, 3};
}

// Encrypted passwords differ each time, so the log shows the decrypted texts.
QStringList deciphered(QStringList log)
{
    const QString bind = u"bind :encryptedPassword QByteArray "_s;
    for (QString& line : log) {
        if (line.startsWith(bind))
            line = u"bind encrypted "_s +
                   Decrypt(QByteArray::fromHex(line.mid(bind.size()).toLatin1()));
    }
    return log;
}

QVariant columnOf(interf::factory::IDatabaseFactory& factory, const QString& column, int id)
{
    const auto query = factory.CreateQuery();
    query->prepare(u"SELECT "_s + column + u" FROM AuthenticationConfiguration WHERE id = :id"_s);
    query->bindValue(u":id"_s, id);
    query->exec();
    query->next();
    return query->value(0);
}

/// A store that has no key to give.
class LockedKeyStore : public core::crypto::KeyStore
{
public:
    core::crypto::KeyBackend backend() const override { return core::crypto::KeyBackend::Keychain; }
    core::crypto::KeyRing read() override
    {
        throw KeyError(KeyError::Cause::Locked, u"The keychain is locked. Unlock it."_s);
    }
    core::crypto::KeyRing change(const Change&) override { return read(); }
};

using Recording = test::Recording<AuthenticationConfigManager>;
using Write = std::function<void(AuthenticationConfigManager&)>;

} // namespace

class TestAuthenticationConfigManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { init(); }

    void init()
    {
        folder = std::make_unique<QTemporaryDir>();
        core::crypto::setKeyStore(
            std::make_shared<core::crypto::FileKeyStore>(folder->filePath(u"password.key"_s)));
    }

    void cleanup() { core::crypto::setKeyStore(nullptr); }

    void distinctSignInsHoldDomainAndUserOnly()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {{u"d1"_s, u"u1"_s}, {u"d2"_s, u"u2"_s}}});

        const auto signIns = recording.manager.GetDistinctAuthenticationConfigurations();

        QCOMPARE(recording.factory->log(), statementLog(SelectDistinct));
        QCOMPARE(signIns.size(), 2);
        QCOMPARE(
            test::linesOf(signIns.at(0)),
            test::linesOf(
                AuthenticationConfiguration(), {{u"Domain"_s, u"d1"_s}, {u"UserName"_s, u"u1"_s}}));
        QCOMPARE(
            test::linesOf(signIns.at(1)),
            test::linesOf(
                AuthenticationConfiguration(), {{u"Domain"_s, u"d2"_s}, {u"UserName"_s, u"u2"_s}}));
    }

    void failedListOfDistinctSignInsIsEmpty()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {{u"d1"_s, u"u1"_s}}, .fails = true});

        const auto signIns = recording.manager.GetDistinctAuthenticationConfigurations();

        QVERIFY(signIns.isEmpty());
    }

    void updatedPasswordReturnsTheNumberOfRows()
    {
        Recording recording;
        recording.factory->answerOthers({.numRowsAffected = 5});

        const int rows = recording.manager.UpdatePassword(u"domain"_s, u"user"_s, u"new one"_s);

        QCOMPARE(rows, 5);
        QCOMPARE(
            deciphered(recording.factory->log()),
            statementLog(
                UpdatePasswords,
                {u":domain QString 'domain'"_s, u":userName QString 'user'"_s,
                 u"encrypted new one"_s},
                1));
    }

    void failedPasswordUpdateReturnsMinusOne()
    {
        Recording recording;
        recording.factory->answerOthers({.fails = true, .numRowsAffected = 5});

        QCOMPARE(recording.manager.UpdatePassword(u"domain"_s, u"user"_s, u"new one"_s), -1);
    }

    void nullPasswordIsStoredEncrypted()
    {
        const auto database = test::openEngine(u"qtsql"_s, folder->filePath(u"null.db"_s));
        AuthenticationConfigManager manager(database);
        AuthenticationConfiguration withNull = sampleSignIn({});
        AuthenticationConfiguration withEmpty = sampleSignIn(u""_s);

        QVERIFY(manager.Add(withNull));
        QVERIFY(manager.Add(withEmpty));

        QVERIFY(!columnOf(*database, u"encryptedPassword"_s, withNull.getId()).isNull());
        QVERIFY(
            manager.GetAuthenticationConfigurationById(withNull.getId()).getPassword().isNull());
        const QString empty =
            manager.GetAuthenticationConfigurationById(withEmpty.getId()).getPassword();
        QVERIFY(empty.isEmpty() && !empty.isNull());
    }

    void rowWithoutPasswordReadsAsNull()
    {
        Recording recording;
        QVariantList row = sampleRow();
        row[4] = QVariant();
        recording.factory->answerOthers({.rows = {row}});
        test::CapturedWarnings warnings;

        const auto signIn = recording.manager.GetAuthenticationConfigurationById(7);

        QVERIFY(signIn.getPassword().isNull());
        QCOMPARE(signIn.getUserName(), u"user"_s);
        QCOMPARE(warnings.texts(), QStringList());
    }

    void undecipherablePasswordReadsAsNullAndTheOtherFieldsStay()
    {
        Recording recording;
        QVariantList row = sampleRow();
        row[4] = QByteArray("nothing that was encrypted");
        recording.factory->answerOthers({.rows = {row}});
        test::CapturedWarnings warnings;

        const auto signIn = recording.manager.GetAuthenticationConfigurationById(7);

        QVERIFY(signIn.getPassword().isNull());
        QCOMPARE(
            test::linesOf(signIn), test::linesOf(sampleSignIn(), {{u"Password"_s, QString()}}));
        QCOMPARE(warnings.texts().size(), 1);
    }

    void withoutAKeyNothingIsExecutedAndTheScopeEnds_data()
    {
        QTest::addColumn<Write>("write");
        QTest::newRow("add") << Write([](auto& manager) {
            AuthenticationConfiguration signIn = sampleSignIn();
            manager.Add(signIn);
        });
        QTest::newRow("update") << Write([](auto& manager) { manager.Update(sampleSignIn()); });
        QTest::newRow("update of a password") << Write(
            [](auto& manager) { manager.UpdatePassword(u"domain"_s, u"user"_s, u"new one"_s); });
    }

    void withoutAKeyNothingIsExecutedAndTheScopeEnds()
    {
        QFETCH(Write, write);
        Recording recording;
        core::crypto::setKeyStore(std::make_shared<LockedKeyStore>());

        QVERIFY_THROWS_EXCEPTION(KeyError, write(recording.manager));

        const QStringList log = recording.factory->log();
        QCOMPARE(log.first(), u"create query, depth 1"_s);
        QCOMPARE(log.last(), u"release"_s);
        QVERIFY(log.filter(u"exec"_s).isEmpty());
        QVERIFY(log.filter(u"bind :encryptedPassword"_s).isEmpty());
        QCOMPARE(database::TransactionalScope::depth(), 0);
    }

    void invokablesWorkThroughTheMetaObject()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {sampleRow()}});
        AuthenticationConfiguration byId;
        AuthenticationConfiguration byUser;
        QVector<AuthenticationConfiguration> all;

        QVERIFY(QMetaObject::invokeMethod(
            &recording.manager, "GetAuthenticationConfigurationById",
            Q_RETURN_ARG(sync::config::AuthenticationConfiguration, byId), Q_ARG(int, 7)));
        QVERIFY(QMetaObject::invokeMethod(
            &recording.manager, "GetAuthenticationConfigurationByDomainAndUser",
            Q_RETURN_ARG(sync::config::AuthenticationConfiguration, byUser),
            Q_ARG(QString, u"domain"_s), Q_ARG(QString, u"user"_s)));
        QVERIFY(QMetaObject::invokeMethod(
            &recording.manager, "GetAll",
            Q_RETURN_ARG(QVector<sync::config::AuthenticationConfiguration>, all)));

        QCOMPARE(test::linesOf(byId), test::linesOf(sampleSignIn()));
        QCOMPARE(test::linesOf(byUser), test::linesOf(sampleSignIn()));
        QCOMPARE(all.size(), 1);
    }

    // Behaviour over real databases
    void unknownIdReadsAsIdMinusOneAndEmptyTexts_data() { test::addEngineRows(); }
    void unknownIdReadsAsIdMinusOneAndEmptyTexts()
    {
        AuthenticationConfigManager manager(openDatabase());

        const AuthenticationConfiguration signIn = manager.GetAuthenticationConfigurationById(99);

        QCOMPARE(test::linesOf(signIn), test::linesOf(AuthenticationConfiguration()));
    }

    void addedPasswordReadsBackAndIsNeverStoredInClear_data() { test::addEngineRows(); }
    void addedPasswordReadsBackAndIsNeverStoredInClear()
    {
        const auto database = openDatabase();
        AuthenticationConfigManager manager(database);
        AuthenticationConfiguration signIn = sampleSignIn(u"pässword"_s);

        QVERIFY(manager.Add(signIn));

        const AuthenticationConfiguration read =
            manager.GetAuthenticationConfigurationById(signIn.getId());
        const QByteArray stored =
            columnOf(*database, u"encryptedPassword"_s, signIn.getId()).toByteArray();
        QCOMPARE(read.getPassword(), u"pässword"_s);
        QVERIFY(!stored.isEmpty());
        QVERIFY(!stored.contains("ssword"));
        QVERIFY(!stored.contains(QByteArray("s\0s\0w\0o\0r\0d", 11)));
    }

    void everyFieldReadsBackAfterAnUpdate_data() { test::addEngineRows(); }
    void everyFieldReadsBackAfterAnUpdate()
    {
        AuthenticationConfigManager manager(openDatabase());
        AuthenticationConfiguration signIn = sampleSignIn();
        QVERIFY(manager.Add(signIn));
        signIn.setDomain(u"other domain"_s);
        signIn.setDomainId(u"other id"_s);
        signIn.setUserName(u"other user"_s);
        signIn.setPassword(u"other password"_s);
        signIn.setServerId(33);
        signIn.setNameValueProperties({{u"Other"_s, u"other value"_s}});

        QVERIFY(manager.Update(signIn));

        const auto read = manager.GetAuthenticationConfigurationByDomainAndUser(
            u"other domain"_s, u"other user"_s);
        QCOMPARE(test::linesOf(read), test::linesOf(signIn));
    }

    void passwordUpdateWithoutARowReturnsZero_data() { test::addEngineRows(); }
    void passwordUpdateWithoutARowReturnsZero()
    {
        AuthenticationConfigManager manager(openDatabase());

        QCOMPARE(manager.UpdatePassword(u"domain"_s, u"user"_s, u"new one"_s), 0);
    }

    void passwordUpdateChangesBothRowsOfAUser_data() { test::addEngineRows(); }
    void passwordUpdateChangesBothRowsOfAUser()
    {
        AuthenticationConfigManager manager(openDatabase());
        AuthenticationConfiguration first = sampleSignIn();
        AuthenticationConfiguration second = sampleSignIn();
        AuthenticationConfiguration other = sampleSignIn();
        other.setUserName(u"other"_s);
        QVERIFY(manager.Add(first) && manager.Add(second) && manager.Add(other));

        const int rows = manager.UpdatePassword(u"domain"_s, u"user"_s, u"new one"_s);

        QCOMPARE(rows, 2);
        QStringList passwords;
        const auto signIns = manager.GetAll();
        for (const AuthenticationConfiguration& signIn : signIns)
            passwords.append(signIn.getUserName() + u' ' + signIn.getPassword());
        QCOMPARE(
            passwords, QStringList({u"user new one"_s, u"user new one"_s, u"other pass word"_s}));
    }

    void twoRowsOfAUserAreOneDistinctSignInWithIdMinusOne_data() { test::addEngineRows(); }
    void twoRowsOfAUserAreOneDistinctSignInWithIdMinusOne()
    {
        AuthenticationConfigManager manager(openDatabase());
        AuthenticationConfiguration first = sampleSignIn();
        AuthenticationConfiguration second = sampleSignIn(u"another"_s);
        QVERIFY(manager.Add(first) && manager.Add(second));

        const auto signIns = manager.GetDistinctAuthenticationConfigurations();

        QCOMPARE(signIns.size(), 1);
        QCOMPARE(
            test::linesOf(signIns.first()),
            test::linesOf(
                AuthenticationConfiguration(),
                {{u"Domain"_s, u"domain"_s}, {u"UserName"_s, u"user"_s}}));
    }

    void emptyPropertiesAreStoredAsAnEmptyDocument_data() { test::addEngineRows(); }
    void emptyPropertiesAreStoredAsAnEmptyDocument()
    {
        const auto database = openDatabase();
        AuthenticationConfigManager manager(database);
        AuthenticationConfiguration signIn = sampleSignIn();
        signIn.setNameValueProperties({});

        QVERIFY(manager.Add(signIn));

        QCOMPARE(
            columnOf(*database, u"nameValueProperties"_s, signIn.getId()).toString(), EmptyXml);
        QVERIFY(manager.GetAuthenticationConfigurationById(signIn.getId())
                    .getNameValueProperties()
                    .isEmpty());
    }

    void domainAndUserCompareExactly_data() { test::addEngineRows(); }
    void domainAndUserCompareExactly()
    {
        AuthenticationConfigManager manager(openDatabase());
        AuthenticationConfiguration signIn = sampleSignIn();
        QVERIFY(manager.Add(signIn));

        const auto other =
            manager.GetAuthenticationConfigurationByDomainAndUser(u"Domain"_s, u"user"_s);

        QCOMPARE(other.getId(), -1);
    }

    void removedSignInIsGoneAndRemovingItAgainSucceeds_data() { test::addEngineRows(); }
    void removedSignInIsGoneAndRemovingItAgainSucceeds()
    {
        AuthenticationConfigManager manager(openDatabase());
        AuthenticationConfiguration signIn = sampleSignIn();
        QVERIFY(manager.Add(signIn));

        QVERIFY(manager.Remove(signIn.getId()));

        QVERIFY(manager.GetAll().isEmpty());
        QVERIFY(manager.Remove(signIn.getId()));
    }

    void withoutAKeyTheStoredPasswordStays_data() { test::addEngineRows(); }
    void withoutAKeyTheStoredPasswordStays()
    {
        const auto keys = core::crypto::keyStore();
        AuthenticationConfigManager manager(openDatabase());
        AuthenticationConfiguration signIn = sampleSignIn();
        QVERIFY(manager.Add(signIn));
        core::crypto::setKeyStore(std::make_shared<LockedKeyStore>());

        AuthenticationConfiguration another = sampleSignIn();
        QVERIFY_THROWS_EXCEPTION(KeyError, manager.Add(another));
        QVERIFY_THROWS_EXCEPTION(
            KeyError, manager.UpdatePassword(u"domain"_s, u"user"_s, u"new one"_s));

        core::crypto::setKeyStore(keys);
        const auto signIns = manager.GetAll();
        QCOMPARE(signIns.size(), 1);
        QCOMPARE(signIns.first().getPassword(), u"pass word"_s);
    }

private:
    std::shared_ptr<interf::factory::IDatabaseFactory> openDatabase()
    {
        const QString engine = *static_cast<QString*>(QTest::qData("engine", QMetaType::QString));
        return test::openEngine(engine, folder->filePath(u"configuration.db"_s));
    }

    std::unique_ptr<QTemporaryDir> folder;
};

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestAuthenticationConfigManager)
#include "TestAuthenticationConfigManager.moc"
