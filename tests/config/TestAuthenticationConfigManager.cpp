#include <config/AuthenticationConfigManager.h>
#include <core/Crypto.h>
#include <core/FileKeyStore.h>
#include <core/HostKeyStore.h>
#include <database/TransactionalScope.h>
#include <interf/IQSqlQueryWrapper.h>

#include <support/CapturedWarnings.h>
#include <support/ConvertingManager.h>
#include <support/Engines.h>
#include <support/RecordingDatabaseFactory.h>

#include <QMetaMethod>
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

const QString SelectById =
    u"SELECT id, domain, domainId, userName, encryptedPassword, nameValueProperties, serverId FROM AuthenticationConfiguration WHERE id = :id"_s;
const QString SelectByDomainAndUser =
    u"SELECT id, domain, domainId, userName, encryptedPassword, nameValueProperties, serverId FROM AuthenticationConfiguration WHERE domain = :domain AND userName = :userName"_s;
const QString SelectAll =
    u"SELECT id, domain, domainId, userName, encryptedPassword, nameValueProperties, serverId FROM AuthenticationConfiguration"_s;
const QString SelectDistinct =
    u"SELECT DISTINCT domain, userName FROM AuthenticationConfiguration"_s;
const QString UpdateById =
    u"UPDATE AuthenticationConfiguration SET domain = :domain, domainId = :domainId, userName = :userName, encryptedPassword = :encryptedPassword, nameValueProperties = :nameValueProperties, serverId = :serverId WHERE id = :id"_s;
const QString UpdatePasswords =
    u"UPDATE AuthenticationConfiguration SET encryptedPassword = :encryptedPassword WHERE domain = :domain AND userName = :userName"_s;
const QString Insert =
    u"INSERT INTO AuthenticationConfiguration (domain, domainId, userName, encryptedPassword, nameValueProperties, serverId) VALUES (:domain, :domainId, :userName, :encryptedPassword, :nameValueProperties, :serverId);"_s;
const QString Delete = u"DELETE FROM AuthenticationConfiguration WHERE Id = :id;"_s;

const QString SampleXml =
    u"<!DOCTYPE NameValueXml>\n<NameValueXml>\n <Key><![CDATA[value]]></Key>\n</NameValueXml>\n"_s;
const QString EmptyXml = u"<!DOCTYPE NameValueXml>\n<NameValueXml/>\n"_s;

AuthenticationConfiguration sampleSignIn(const QString& password = u"pass word"_s)
{
    AuthenticationConfiguration signIn;
    signIn.setId(7);
    signIn.setDomain(u"domain"_s);
    signIn.setDomainId(u"domain id"_s);
    signIn.setUserName(u"user"_s);
    signIn.setPassword(password);
    signIn.setServerId(3);
    signIn.setNameValueProperties({{u"Key"_s, u"value"_s}});
    return signIn;
}

QVariantList sampleRow(int id = 7)
{
    return {id, u"domain"_s, u"domain id"_s, u"user"_s, Encrypt(u"pass word"_s), SampleXml, 3};
}

// Every field as text.
QStringList fieldsOf(const AuthenticationConfiguration& signIn)
{
    QStringList fields{
        QString::number(signIn.getId()),
        signIn.getDomain(),
        signIn.getDomainId(),
        signIn.getUserName(),
        signIn.getPassword(),
        QString::number(signIn.getServerId())};
    const QMap<QString, QString> properties = signIn.getNameValueProperties();
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry)
        fields.append(entry.key() + u'=' + entry.value());
    return fields;
}

const QStringList SampleFields{u"7"_s,         u"domain"_s, u"domain id"_s, u"user"_s,
                               u"pass word"_s, u"3"_s,      u"Key=value"_s};
const QStringList DefaultFields{u"-1"_s, {}, {}, {}, {}, u"0"_s};

// Encrypted passwords differ each time, so the log shows what they decipher to.
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

struct Recording
{
    std::shared_ptr<RecordingDatabaseFactory> factory =
        std::make_shared<RecordingDatabaseFactory>();
    AuthenticationConfigManager manager{factory};
};

} // namespace

class TestAuthenticationConfigManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void lookupById();
    void lookupByDomainAndUser();
    void lookupWithoutRowReadsAsDefaultRecord();
    void failedLookupReadsAsDefaultRecord();
    void listHoldsAllRowsInTheirOrder();
    void failedListIsEmpty();
    void distinctSignInsHoldDomainAndUserOnly();
    void failedListOfDistinctSignInsIsEmpty();
    void updateBindsEveryFieldAndTheIdFirst();
    void failedUpdateReturnsFalse();
    void updatedPasswordReturnsTheNumberOfRows();
    void failedPasswordUpdateReturnsMinusOne();
    void addBindsEveryFieldAndSetsTheId();
    void failedAddLeavesTheRecordUnchanged();
    void removeDeletesById();
    void failedRemoveReturnsFalse();
    void nullPasswordIsStoredEncrypted();
    void rowWithoutPasswordReadsAsNull();
    void undecipherablePasswordReadsAsNullAndTheOtherFieldsStay();
    void withoutAKeyNothingIsExecutedAndTheScopeEnds_data();
    void withoutAKeyNothingIsExecutedAndTheScopeEnds();
    void conversionsOfAnOverrideAreUsed();
    void castsAndBasesAreThoseOfAManager();
    void invokablesAreDeclaredInOrder();
    void invokablesWorkThroughTheMetaObject();

    // Behaviour over real databases
    void unknownIdReadsAsIdMinusOneAndEmptyTexts_data() { test::addEngineRows(); }
    void unknownIdReadsAsIdMinusOneAndEmptyTexts();
    void addedPasswordReadsBackAndIsNeverStoredInClear_data() { test::addEngineRows(); }
    void addedPasswordReadsBackAndIsNeverStoredInClear();
    void everyFieldReadsBackAfterAnUpdate_data() { test::addEngineRows(); }
    void everyFieldReadsBackAfterAnUpdate();
    void passwordUpdateWithoutARowReturnsZero_data() { test::addEngineRows(); }
    void passwordUpdateWithoutARowReturnsZero();
    void passwordUpdateChangesBothRowsOfAUser_data() { test::addEngineRows(); }
    void passwordUpdateChangesBothRowsOfAUser();
    void twoRowsOfAUserAreOneDistinctSignInWithIdMinusOne_data() { test::addEngineRows(); }
    void twoRowsOfAUserAreOneDistinctSignInWithIdMinusOne();
    void emptyPropertiesAreStoredAsAnEmptyDocument_data() { test::addEngineRows(); }
    void emptyPropertiesAreStoredAsAnEmptyDocument();
    void domainAndUserCompareExactly_data() { test::addEngineRows(); }
    void domainAndUserCompareExactly();
    void removedSignInIsGoneAndRemovingItAgainSucceeds_data() { test::addEngineRows(); }
    void removedSignInIsGoneAndRemovingItAgainSucceeds();
    void withoutAKeyTheStoredPasswordStays_data() { test::addEngineRows(); }
    void withoutAKeyTheStoredPasswordStays();

private:
    std::shared_ptr<interf::factory::IDatabaseFactory> openDatabase();

    std::unique_ptr<QTemporaryDir> folder;
};

void TestAuthenticationConfigManager::initTestCase()
{
    init();
}

void TestAuthenticationConfigManager::init()
{
    folder = std::make_unique<QTemporaryDir>();
    core::crypto::setKeyStore(
        std::make_shared<core::crypto::FileKeyStore>(folder->filePath(u"password.key"_s)));
}

void TestAuthenticationConfigManager::cleanup()
{
    core::crypto::setKeyStore(nullptr);
}

std::shared_ptr<interf::factory::IDatabaseFactory> TestAuthenticationConfigManager::openDatabase()
{
    const QString engine = *static_cast<QString*>(QTest::qData("engine", QMetaType::QString));
    return test::openEngine(engine, folder->filePath(u"configuration.db"_s));
}

void TestAuthenticationConfigManager::lookupById()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow(), sampleRow(8)}});

    const AuthenticationConfiguration signIn =
        recording.manager.GetAuthenticationConfigurationById(7);

    QCOMPARE(recording.factory->log(), statementLog(SelectById, {u":id int 7"_s}));
    QCOMPARE(fieldsOf(signIn), SampleFields);
}

void TestAuthenticationConfigManager::lookupByDomainAndUser()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow(), sampleRow(8)}});

    const AuthenticationConfiguration signIn =
        recording.manager.GetAuthenticationConfigurationByDomainAndUser(u" d%1 "_s, u"U"_s);

    QCOMPARE(
        recording.factory->log(),
        statementLog(
            SelectByDomainAndUser, {u":domain QString ' d%1 '"_s, u":userName QString 'U'"_s}));
    QCOMPARE(fieldsOf(signIn), SampleFields);
}

void TestAuthenticationConfigManager::lookupWithoutRowReadsAsDefaultRecord()
{
    Recording recording;

    QCOMPARE(fieldsOf(recording.manager.GetAuthenticationConfigurationById(7)), DefaultFields);
    QCOMPARE(
        fieldsOf(recording.manager.GetAuthenticationConfigurationByDomainAndUser(u"d"_s, u"u"_s)),
        DefaultFields);
}

void TestAuthenticationConfigManager::failedLookupReadsAsDefaultRecord()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow()}, .fails = true});

    QCOMPARE(fieldsOf(recording.manager.GetAuthenticationConfigurationById(7)), DefaultFields);
    QCOMPARE(
        fieldsOf(recording.manager.GetAuthenticationConfigurationByDomainAndUser(u"d"_s, u"u"_s)),
        DefaultFields);
}

void TestAuthenticationConfigManager::listHoldsAllRowsInTheirOrder()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow(9), sampleRow(7)}});

    const QVector<AuthenticationConfiguration> signIns = recording.manager.GetAll();

    QCOMPARE(recording.factory->log(), statementLog(SelectAll));
    QCOMPARE(signIns.size(), 2);
    QCOMPARE(signIns.at(0).getId(), 9);
    QCOMPARE(fieldsOf(signIns.at(1)), SampleFields);
}

void TestAuthenticationConfigManager::failedListIsEmpty()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {sampleRow()}, .fails = true});

    const QVector<AuthenticationConfiguration> signIns = recording.manager.GetAll();

    QVERIFY(signIns.isEmpty());
}

void TestAuthenticationConfigManager::distinctSignInsHoldDomainAndUserOnly()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {{u"d1"_s, u"u1"_s}, {u"d2"_s, u"u2"_s}}});

    const auto signIns = recording.manager.GetDistinctAuthenticationConfigurations();

    QCOMPARE(recording.factory->log(), statementLog(SelectDistinct));
    QCOMPARE(signIns.size(), 2);
    QCOMPARE(fieldsOf(signIns.at(0)), QStringList({u"-1"_s, u"d1"_s, {}, u"u1"_s, {}, u"0"_s}));
    QCOMPARE(fieldsOf(signIns.at(1)), QStringList({u"-1"_s, u"d2"_s, {}, u"u2"_s, {}, u"0"_s}));
}

void TestAuthenticationConfigManager::failedListOfDistinctSignInsIsEmpty()
{
    Recording recording;
    recording.factory->answerOthers({.rows = {{u"d1"_s, u"u1"_s}}, .fails = true});

    const auto signIns = recording.manager.GetDistinctAuthenticationConfigurations();

    QVERIFY(signIns.isEmpty());
}

void TestAuthenticationConfigManager::updateBindsEveryFieldAndTheIdFirst()
{
    Recording recording;

    const bool updated = recording.manager.Update(sampleSignIn());

    QVERIFY(updated);
    QCOMPARE(
        deciphered(recording.factory->log()),
        statementLog(
            UpdateById,
            {u":id int 7"_s, u":domain QString 'domain'"_s, u":domainId QString 'domain id'"_s,
             u":userName QString 'user'"_s, u"encrypted pass word"_s,
             u":nameValueProperties QString '"_s + SampleXml + u'\'', u":serverId int 3"_s},
            1));
}

void TestAuthenticationConfigManager::failedUpdateReturnsFalse()
{
    Recording recording;
    recording.factory->answerOthers({.fails = true});

    QVERIFY(!recording.manager.Update(sampleSignIn()));
}

void TestAuthenticationConfigManager::updatedPasswordReturnsTheNumberOfRows()
{
    Recording recording;
    recording.factory->answerOthers({.numRowsAffected = 5});

    const int rows = recording.manager.UpdatePassword(u"domain"_s, u"user"_s, u"new one"_s);

    QCOMPARE(rows, 5);
    QCOMPARE(
        deciphered(recording.factory->log()),
        statementLog(
            UpdatePasswords,
            {u":domain QString 'domain'"_s, u":userName QString 'user'"_s, u"encrypted new one"_s},
            1));
}

void TestAuthenticationConfigManager::failedPasswordUpdateReturnsMinusOne()
{
    Recording recording;
    recording.factory->answerOthers({.fails = true, .numRowsAffected = 5});

    QCOMPARE(recording.manager.UpdatePassword(u"domain"_s, u"user"_s, u"new one"_s), -1);
}

void TestAuthenticationConfigManager::addBindsEveryFieldAndSetsTheId()
{
    Recording recording;
    recording.factory->answerOthers({.lastInsertId = 12});
    AuthenticationConfiguration signIn = sampleSignIn();

    const bool added = recording.manager.Add(signIn);

    QVERIFY(added);
    QCOMPARE(signIn.getId(), 12);
    QCOMPARE(
        deciphered(recording.factory->log()),
        statementLog(
            Insert,
            {u":domain QString 'domain'"_s, u":domainId QString 'domain id'"_s,
             u":userName QString 'user'"_s, u"encrypted pass word"_s,
             u":nameValueProperties QString '"_s + SampleXml + u'\'', u":serverId int 3"_s},
            1));
}

void TestAuthenticationConfigManager::failedAddLeavesTheRecordUnchanged()
{
    Recording recording;
    recording.factory->answerOthers({.fails = true, .lastInsertId = 12});
    AuthenticationConfiguration signIn = sampleSignIn();

    const bool added = recording.manager.Add(signIn);

    QVERIFY(!added);
    QCOMPARE(fieldsOf(signIn), SampleFields);
}

void TestAuthenticationConfigManager::removeDeletesById()
{
    Recording recording;

    const bool removed = recording.manager.Remove(7);

    QVERIFY(removed);
    QCOMPARE(recording.factory->log(), statementLog(Delete, {u":id int 7"_s}, 1));
}

void TestAuthenticationConfigManager::failedRemoveReturnsFalse()
{
    Recording recording;
    recording.factory->answerOthers({.fails = true});

    QVERIFY(!recording.manager.Remove(7));
}

void TestAuthenticationConfigManager::nullPasswordIsStoredEncrypted()
{
    const auto database = test::openEngine(u"qtsql"_s, folder->filePath(u"null.db"_s));
    AuthenticationConfigManager manager(database);
    AuthenticationConfiguration withNull = sampleSignIn({});
    AuthenticationConfiguration withEmpty = sampleSignIn(u""_s);

    QVERIFY(manager.Add(withNull));
    QVERIFY(manager.Add(withEmpty));

    QVERIFY(!columnOf(*database, u"encryptedPassword"_s, withNull.getId()).isNull());
    QVERIFY(manager.GetAuthenticationConfigurationById(withNull.getId()).getPassword().isNull());
    const QString empty =
        manager.GetAuthenticationConfigurationById(withEmpty.getId()).getPassword();
    QVERIFY(empty.isEmpty() && !empty.isNull());
}

void TestAuthenticationConfigManager::rowWithoutPasswordReadsAsNull()
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

void TestAuthenticationConfigManager::undecipherablePasswordReadsAsNullAndTheOtherFieldsStay()
{
    Recording recording;
    QVariantList row = sampleRow();
    row[4] = QByteArray("nothing that was encrypted");
    recording.factory->answerOthers({.rows = {row}});
    test::CapturedWarnings warnings;

    const auto signIn = recording.manager.GetAuthenticationConfigurationById(7);

    QVERIFY(signIn.getPassword().isNull());
    QStringList expected = SampleFields;
    expected[4].clear();
    QCOMPARE(fieldsOf(signIn), expected);
    QCOMPARE(warnings.texts().size(), 1);
}

namespace {

using Write = std::function<void(AuthenticationConfigManager&)>;

} // namespace

void TestAuthenticationConfigManager::withoutAKeyNothingIsExecutedAndTheScopeEnds_data()
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

void TestAuthenticationConfigManager::withoutAKeyNothingIsExecutedAndTheScopeEnds()
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

void TestAuthenticationConfigManager::conversionsOfAnOverrideAreUsed()
{
    const auto factory = std::make_shared<RecordingDatabaseFactory>();
    factory->answerOthers({.rows = {sampleRow()}});
    test::ConvertingManager<AuthenticationConfigManager> manager(factory);
    AuthenticationConfiguration signIn = sampleSignIn();

    const AuthenticationConfiguration read = manager.GetAuthenticationConfigurationById(7);
    factory->takeLog();
    manager.Update(signIn);
    manager.Add(signIn);

    QCOMPARE(read.getNameValueProperties().value(u"Read"_s), SampleXml);
    QCOMPARE(factory->log().filter(test::ConvertedBind).size(), 2);
}

void TestAuthenticationConfigManager::castsAndBasesAreThoseOfAManager()
{
    Recording recording;
    AuthenticationConfigManager& manager = recording.manager;

    QCOMPARE(manager.qt_metacast("sync::config::AuthenticationConfigManager"), &manager);
    QCOMPARE(
        manager.qt_metacast("DatabaseConfigurationManager"),
        static_cast<DatabaseConfigurationManager*>(&manager));
    QCOMPARE(
        manager.qt_metacast("sync::interf::IAuthenticationConfigManager"),
        static_cast<interf::IAuthenticationConfigManager*>(&manager));
    QCOMPARE(
        manager.metaObject()->superClass(),
        &interf::IAuthenticationConfigManager::staticMetaObject);
    QVERIFY(!manager.parent());
}

void TestAuthenticationConfigManager::invokablesAreDeclaredInOrder()
{
    const QMetaObject& metaObject = AuthenticationConfigManager::staticMetaObject;
    QStringList methods;
    for (int i = metaObject.methodOffset(); i < metaObject.methodCount(); ++i) {
        const QMetaMethod method = metaObject.method(i);
        const QByteArrayList text{
            method.typeName(), method.methodSignature(), method.parameterNames().join(',')};
        methods.append(QString::fromLatin1(text.join(' ')).trimmed());
        QCOMPARE(method.access(), QMetaMethod::Public);
        QCOMPARE(method.methodType(), QMetaMethod::Method);
    }

    // Qt 6 names a QVector as what it is an alias of.
    QCOMPARE(
        methods,
        QStringList({
            u"sync::config::AuthenticationConfiguration GetAuthenticationConfigurationById(int) "
            u"authenticationConfigurationId"_s,
            u"sync::config::AuthenticationConfiguration "
            u"GetAuthenticationConfigurationByDomainAndUser(QString,QString) domain,userName"_s,
            u"QList<sync::config::AuthenticationConfiguration> GetAll()"_s,
        }));
}

void TestAuthenticationConfigManager::invokablesWorkThroughTheMetaObject()
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

    QCOMPARE(fieldsOf(byId), SampleFields);
    QCOMPARE(fieldsOf(byUser), SampleFields);
    QCOMPARE(all.size(), 1);
}

void TestAuthenticationConfigManager::unknownIdReadsAsIdMinusOneAndEmptyTexts()
{
    AuthenticationConfigManager manager(openDatabase());

    const AuthenticationConfiguration signIn = manager.GetAuthenticationConfigurationById(99);

    QCOMPARE(fieldsOf(signIn), DefaultFields);
}

void TestAuthenticationConfigManager::addedPasswordReadsBackAndIsNeverStoredInClear()
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

void TestAuthenticationConfigManager::everyFieldReadsBackAfterAnUpdate()
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

    const auto read =
        manager.GetAuthenticationConfigurationByDomainAndUser(u"other domain"_s, u"other user"_s);
    QCOMPARE(fieldsOf(read), fieldsOf(signIn));
}

void TestAuthenticationConfigManager::passwordUpdateWithoutARowReturnsZero()
{
    AuthenticationConfigManager manager(openDatabase());

    QCOMPARE(manager.UpdatePassword(u"domain"_s, u"user"_s, u"new one"_s), 0);
}

void TestAuthenticationConfigManager::passwordUpdateChangesBothRowsOfAUser()
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
    QCOMPARE(passwords, QStringList({u"user new one"_s, u"user new one"_s, u"other pass word"_s}));
}

void TestAuthenticationConfigManager::twoRowsOfAUserAreOneDistinctSignInWithIdMinusOne()
{
    AuthenticationConfigManager manager(openDatabase());
    AuthenticationConfiguration first = sampleSignIn();
    AuthenticationConfiguration second = sampleSignIn(u"another"_s);
    QVERIFY(manager.Add(first) && manager.Add(second));

    const auto signIns = manager.GetDistinctAuthenticationConfigurations();

    QCOMPARE(signIns.size(), 1);
    QCOMPARE(
        fieldsOf(signIns.first()), QStringList({u"-1"_s, u"domain"_s, {}, u"user"_s, {}, u"0"_s}));
}

void TestAuthenticationConfigManager::emptyPropertiesAreStoredAsAnEmptyDocument()
{
    const auto database = openDatabase();
    AuthenticationConfigManager manager(database);
    AuthenticationConfiguration signIn = sampleSignIn();
    signIn.setNameValueProperties({});

    QVERIFY(manager.Add(signIn));

    QCOMPARE(columnOf(*database, u"nameValueProperties"_s, signIn.getId()).toString(), EmptyXml);
    QVERIFY(manager.GetAuthenticationConfigurationById(signIn.getId())
                .getNameValueProperties()
                .isEmpty());
}

void TestAuthenticationConfigManager::domainAndUserCompareExactly()
{
    AuthenticationConfigManager manager(openDatabase());
    AuthenticationConfiguration signIn = sampleSignIn();
    QVERIFY(manager.Add(signIn));

    const auto other =
        manager.GetAuthenticationConfigurationByDomainAndUser(u"Domain"_s, u"user"_s);

    QCOMPARE(other.getId(), -1);
}

void TestAuthenticationConfigManager::removedSignInIsGoneAndRemovingItAgainSucceeds()
{
    AuthenticationConfigManager manager(openDatabase());
    AuthenticationConfiguration signIn = sampleSignIn();
    QVERIFY(manager.Add(signIn));

    QVERIFY(manager.Remove(signIn.getId()));

    QVERIFY(manager.GetAll().isEmpty());
    QVERIFY(manager.Remove(signIn.getId()));
}

void TestAuthenticationConfigManager::withoutAKeyTheStoredPasswordStays()
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

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestAuthenticationConfigManager)
#include "TestAuthenticationConfigManager.moc"
