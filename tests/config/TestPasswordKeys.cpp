#include <config/AuthenticationConfigManager.h>
#include <config/PasswordKeys.h>
#include <core/FileKeyStore.h>
#include <core/HostKeyStore.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <support/CapturedWarnings.h>
#include <support/Engines.h>
#include <support/RecordingDatabaseFactory.h>
#include <testkit/PassingFactory.h>

#include <QTemporaryDir>
#include <QTest>

#include <functional>

#include <sys/wait.h>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;
using sync::test::RecordingDatabaseFactory;
using sync::test::statementLog;

namespace sync::config {

namespace {

const QString SelectPasswords =
    u"SELECT id, encryptedPassword, domain, userName, serverId FROM AuthenticationConfiguration WHERE encryptedPassword IS NOT NULL"_s;
const QString UpdatePassword =
    u"UPDATE AuthenticationConfiguration SET encryptedPassword = :encryptedPassword WHERE id = :id AND encryptedPassword = :previousPassword"_s;

constexpr std::chrono::hours NoRest{0};
const QStringList Passwords{u"first"_s, u"second"_s, u"third"_s};

/// A query whose second row cannot be read.
class BreaksOff : public sync::test::PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool next() override { return ++rows == 1 && PassingQuery::next(); }
    QString lastError() const override { return rows > 1 ? u"disk I/O error"_s : QString(); }

private:
    int rows = 0;
};

/// Thrown by a step that has to fail.
struct StepException
{
};

/// Called with the number of each step, counted from 1; the step fails when it returns false.
using Step = std::function<bool(int step)>;

/// Passes calls on to another factory, and lets a test intervene before each exec() and each call
/// of the connection.
class SteppingFactory : public interf::factory::IDatabaseFactory
{
public:
    SteppingFactory(std::shared_ptr<IDatabaseFactory> real, Step onStep)
        : real(std::move(real))
        , onStep(std::move(onStep))
    {
    }

    std::shared_ptr<interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override;

    bool step() { return onStep(++steps); }

private:
    const std::shared_ptr<IDatabaseFactory> real;
    const Step onStep;
    int steps = 0;
};

class SteppingDatabase : public interf::IQSqlDatabaseWrapper
{
public:
    SteppingDatabase(std::shared_ptr<IQSqlDatabaseWrapper> real, SteppingFactory& factory)
        : real(std::move(real))
        , factory(factory)
    {
    }

    bool transaction() override { return factory.step() && real->transaction(); }
    bool commit() override { return factory.step() && real->commit(); }
    bool rollback() override { return real->rollback(); }

private:
    const std::shared_ptr<IQSqlDatabaseWrapper> real;
    SteppingFactory& factory;
};

class SteppingQuery : public interf::IQSqlQueryWrapper
{
public:
    SteppingQuery(std::shared_ptr<IQSqlQueryWrapper> real, SteppingFactory& factory)
        : real(std::move(real))
        , factory(factory)
    {
    }

    QString lastError() const override { return real->lastError(); }
    QString lastQuery() const override { return real->lastQuery(); }
    QVariant value(int index) const override { return real->value(index); }
    bool next() override { return real->next(); }
    bool isValid() const override { return real->isValid(); }
    bool prepare(const QString& sql) override { return real->prepare(sql); }
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        real->bindValue(placeholder, value);
    }
    QVariant boundValue(const QString& placeholder) const override
    {
        return real->boundValue(placeholder);
    }
    void setForwardOnly(bool forward) override { real->setForwardOnly(forward); }
    bool exec() override { return factory.step() && real->exec(); }
    QVariant lastInsertId() const override { return real->lastInsertId(); }
    int numRowsAffected() const override { return real->numRowsAffected(); }

private:
    const std::shared_ptr<IQSqlQueryWrapper> real;
    SteppingFactory& factory;
};

std::shared_ptr<interf::IQSqlDatabaseWrapper> SteppingFactory::GetDatabase()
{
    return std::make_shared<SteppingDatabase>(real->GetDatabase(), *this);
}

std::shared_ptr<interf::IQSqlQueryWrapper> SteppingFactory::CreateQuery()
{
    return std::make_shared<SteppingQuery>(real->CreateQuery(), *this);
}

AuthenticationConfiguration signInWith(const QString& password)
{
    AuthenticationConfiguration signIn;
    signIn.setDomain(u"domain"_s);
    signIn.setUserName(u"user of "_s + password);
    signIn.setPassword(password);
    return signIn;
}

bool runSql(
    interf::factory::IDatabaseFactory& database, const QString& sql, const QVariant& value = {})
{
    const auto query = database.CreateQuery();
    query->prepare(sql);
    if (value.isValid())
        query->bindValue(u":value"_s, value);
    return query->exec();
}

QStringList passwordsIn(const std::shared_ptr<interf::factory::IDatabaseFactory>& database)
{
    QStringList passwords;
    const auto signIns = AuthenticationConfigManager(database).GetAll();
    for (const AuthenticationConfiguration& signIn : signIns)
        passwords.append(signIn.getPassword());
    return passwords;
}

} // namespace

class TestPasswordKeys : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data() { test::addEngineRows(); }
    void init() { startAnew(); }

    void cleanup() { setKeyStore(nullptr); }

    void statementsRunInOneTransaction()
    {
        const auto factory = std::make_shared<RecordingDatabaseFactory>();
        const QByteArray value = Encrypt(u"password"_s).toByteArray();
        factory->answer(SelectPasswords, {.rows = {{7, value}}});
        factory->answer(UpdatePassword, {.numRowsAffected = 1});

        const PasswordKeys::Outcome outcome = PasswordKeys(factory).changeKey();

        QVERIFY(outcome.succeeded);
        QCOMPARE(outcome.encrypted, 1);
        QStringList log = factory->log();
        const qsizetype bind = log.indexOf(u"bind :id int 7"_s) + 1;
        const QString prefix = u"bind :encryptedPassword QByteArray "_s;
        QVERIFY(log.at(bind).startsWith(prefix));
        const auto stored = QByteArray::fromHex(log.at(bind).mid(prefix.size()).toLatin1());
        QVERIFY(stored != value);
        QCOMPARE(Decrypt(stored), u"password"_s);
        log[bind] = u"bind encrypted"_s;
        const QStringList update = statementLog(
            UpdatePassword,
            {u":id int 7"_s, u"encrypted"_s,
             u":previousPassword QByteArray "_s + QString::fromLatin1(value.toHex())});
        QCOMPARE(
            log, statementLog(SelectPasswords) +
                     QStringList({u"get database"_s, u"transaction"_s}) +
                     statementLog(SelectPasswords) + update + QStringList(u"commit"_s));
    }

    void failedReadChangesNoKey()
    {
        const auto factory = std::make_shared<RecordingDatabaseFactory>();
        factory->answerOthers({.fails = true});
        keyStore()->readOrCreate();

        const PasswordKeys::Outcome outcome = PasswordKeys(factory).changeKey();

        QVERIFY(!outcome.succeeded);
        QCOMPARE(storedKeys().size(), 1);
        QCOMPARE(PasswordKeys(factory).dropUnusedKeys(NoRest), -1);
    }

    void refusedTransactionChangesNoPassword()
    {
        const auto factory = std::make_shared<RecordingDatabaseFactory>();
        factory->answer(SelectPasswords, {.rows = {{7, Encrypt(u"password"_s)}}});
        factory->setTransactionResult(false);

        const PasswordKeys::Outcome outcome = PasswordKeys(factory).changeKey();

        QVERIFY(!outcome.succeeded);
        QCOMPARE(
            factory->log(),
            statementLog(SelectPasswords) + QStringList({u"get database"_s, u"transaction"_s}));
    }

    void changedKeyEncryptsEveryPasswordAnew()
    {
        const Factory database = openFilledDatabase();
        const KeyId earlier = storedKeys().first();
        PasswordKeys keys(database);

        const PasswordKeys::Outcome outcome = keys.changeKey();
        const int dropped = keys.dropUnusedKeys(NoRest);

        QVERIFY(outcome.succeeded);
        QCOMPARE(outcome.encrypted, 3);
        QCOMPARE(outcome.unreadableIds, QVector<int>());
        QCOMPARE(dropped, 1);
        QCOMPARE(storedKeys().size(), 1);
        QVERIFY(!storedKeys().contains(earlier));
        QCOMPARE(passwordsIn(database), Passwords);
    }

    void rowWithoutPasswordStaysWithout()
    {
        const Factory database = openFilledDatabase();
        QVERIFY(runSql(
            *database,
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = NULL WHERE id = 2"_s));

        const PasswordKeys::Outcome outcome = PasswordKeys(database).changeKey();

        QCOMPARE(outcome.encrypted, 2);
        QCOMPARE(outcome.unreadableIds, QVector<int>());
        QCOMPARE(passwordsIn(database), QStringList({u"first"_s, {}, u"third"_s}));
    }

    void undecipherablePasswordIsReportedAndLeftAndItsKeyKept()
    {
        const Factory database = openFilledDatabase();
        QByteArray damaged = Encrypt(u"second"_s).toByteArray();
        damaged.back() = static_cast<char>(damaged.back() ^ 1);
        const KeyId earlier = storedKeys().first();
        QVERIFY(runSql(
            *database,
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = :value WHERE id = 2"_s,
            damaged));
        PasswordKeys keys(database);

        const PasswordKeys::Outcome outcome = keys.changeKey();
        const int dropped = keys.dropUnusedKeys(NoRest);

        QVERIFY(outcome.succeeded);
        QCOMPARE(outcome.encrypted, 2);
        QCOMPARE(outcome.unreadableIds, QVector<int>{2});
        QCOMPARE(dropped, 0);
        QVERIFY(storedKeys().contains(earlier));
        const auto query = database->CreateQuery();
        query->prepare(u"SELECT encryptedPassword FROM AuthenticationConfiguration WHERE id = 2"_s);
        QVERIFY(query->exec() && query->next());
        QCOMPARE(query->value(0).toByteArray(), damaged);
    }

    void valueThatTellsNoKeyKeepsAllKeys()
    {
        const Factory database = openFilledDatabase();
        PasswordKeys keys(database);
        keys.changeKey();
        QVERIFY(runSql(
            *database,
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = :value WHERE id = 2"_s,
            QByteArray("damaged")));

        const int dropped = keys.dropUnusedKeys(NoRest);

        QCOMPARE(dropped, 0);
        QCOMPARE(storedKeys().size(), 2);
    }

    void passwordStoredMeanwhileIsNotSetBack()
    {
        const Factory database = openFilledDatabase();
        const QVariant meanwhile = Encrypt(u"meanwhile"_s);
        // The update of the first sign-in follows the second read.
        const auto stepping = std::make_shared<SteppingFactory>(database, [&](int step) {
            return step != 4 ||
                   runSql(
                       *database,
                       u"UPDATE AuthenticationConfiguration SET encryptedPassword = :value "
                       "WHERE id = 1"_s,
                       meanwhile);
        });

        const PasswordKeys::Outcome outcome = PasswordKeys(stepping).changeKey();

        QVERIFY(outcome.succeeded);
        QCOMPARE(outcome.encrypted, 2);
        QCOMPARE(passwordsIn(database), QStringList({u"meanwhile"_s, u"second"_s, u"third"_s}));
    }

    void replacedKeyRestsBeforeItIsDropped()
    {
        const Factory database = openFilledDatabase();
        PasswordKeys keys(database);
        keys.changeKey();

        QCOMPARE(keys.dropUnusedKeys(), 0);
        QCOMPARE(storedKeys().size(), 2);
        QCOMPARE(keys.dropUnusedKeys(NoRest), 1);
        QCOMPARE(storedKeys().size(), 1);
    }

    void keyInUseIsNotDropped()
    {
        const Factory database = openFilledDatabase();
        keyStore()->change([](const KeyRing& ring) { return ring.withNewKey(); });

        const int dropped = PasswordKeys(database).dropUnusedKeys(NoRest);

        QCOMPARE(dropped, 0);
        QCOMPARE(storedKeys().size(), 2);
        QCOMPARE(passwordsIn(database), Passwords);
    }

    void keyInUseStaysWhenAnotherIsDropped()
    {
        const Factory database = openFilledDatabase();
        const KeyId used = storedKeys().first();
        for (int change = 0; change < 2; ++change)
            keyStore()->change([](const KeyRing& ring) { return ring.withNewKey(); });

        const int dropped = PasswordKeys(database).dropUnusedKeys(NoRest);

        QCOMPARE(dropped, 1);
        QCOMPARE(storedKeys().size(), 2);
        QVERIFY(storedKeys().contains(used));
        QCOMPARE(passwordsIn(database), Passwords);
    }

    void changeThatFailedLeavesNoTransactionOpen()
    {
        const Factory database = openFilledDatabase();
        const int secondUpdate = 5;
        const auto failing = std::make_shared<SteppingFactory>(
            database, [](int step) { return step != secondUpdate; });

        QVERIFY(!PasswordKeys(failing).changeKey().succeeded);

        QVERIFY(database->GetDatabase()->transaction());
        QVERIFY(database->GetDatabase()->rollback());
    }

    // The passwords after the break may need any of the keys.
    void listThatBreaksOffDropsNoKey()
    {
        const Factory database = openFilledDatabase();
        keyStore()->change([](const KeyRing& ring) { return ring.withNewKey(); });
        PasswordKeys keys(std::make_shared<sync::test::PassingFactory<BreaksOff>>(database));

        const int dropped = keys.dropUnusedKeys(NoRest);
        const auto outcome = keys.changeKey();

        QCOMPARE(dropped, -1);
        QVERIFY(!outcome.succeeded);
        QCOMPARE(passwordsIn(database), Passwords);
    }

    void changeThatFailsAtAnyStepLosesNothingAndCanBeFinished()
    {
        interruptAtEveryStep([](const Factory& database, int lastStep) {
            const auto stepping = std::make_shared<SteppingFactory>(
                database, [lastStep](int step) { return step < lastStep; });
            return PasswordKeys(stepping).changeKey().succeeded;
        });
    }

    void changeThatThrowsAtAnyStepLosesNothingAndCanBeFinished()
    {
        interruptAtEveryStep([](const Factory& database, int lastStep) {
            const auto stepping = std::make_shared<SteppingFactory>(database, [lastStep](int step) {
                if (step == lastStep)
                    throw StepException();
                return true;
            });
            try {
                return PasswordKeys(stepping).changeKey().succeeded;
            } catch (const StepException&) {
                return false;
            }
        });
    }

    void changeKilledAtAnyStepLosesNothingAndCanBeFinished()
    {
        interruptAtEveryStep([this](Factory database, int lastStep) {
            database.reset(); // The child opens its own: connections do not survive a fork.
            const pid_t child = ::fork();
            if (child == 0) {
                const auto stepping =
                    std::make_shared<SteppingFactory>(openDatabase(), [lastStep](int step) {
                        if (step == lastStep)
                            ::_exit(1); // No destructor runs, so nothing is rolled back by us.
                        return true;
                    });
                ::_exit(PasswordKeys(stepping).changeKey().succeeded ? 0 : 2);
            }
            int status = -1;
            return ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
                   WEXITSTATUS(status) == 0;
        });
    }

    void cutShortChangeIsFinishedWithItsOwnKey()
    {
        const Factory database = openFilledDatabase();
        // The key is made between the first step and the second.
        const auto stepping =
            std::make_shared<SteppingFactory>(database, [](int step) { return step < 2; });
        PasswordKeys(stepping).changeKey();
        const QList<KeyId> cutShort = storedKeys();

        const PasswordKeys::Outcome outcome = PasswordKeys(database).changeKey();

        QCOMPARE(cutShort.size(), 2);
        QCOMPARE(outcome.encrypted, 3);
        QCOMPARE(storedKeys(), cutShort);
    }

    void storeOfAnotherKindIsRefusedWhilePasswordsNeedTheirOwn()
    {
        const Factory database = openFilledDatabase();
        const auto present = keyStore();

        try {
            PasswordKeys(database).use(std::make_shared<HostKeyStore>(QByteArray(32, 'h')));
            QFAIL("nothing was thrown");
        } catch (const KeyError& error) {
            QCOMPARE(error.cause(), KeyError::Cause::OtherBackend);
            QCOMPARE(
                error.text(), u"The stored passwords use keys of the key file, not of the host "
                              "program. Use the key file again, or move the passwords."_s);
        }

        QCOMPARE(keyStore(), present);
    }

    void storeOfAnotherKindIsUsedWhenThatIsAccepted()
    {
        const Factory database = openFilledDatabase();
        const auto store = std::make_shared<HostKeyStore>(QByteArray(32, 'h'));

        const bool used = PasswordKeys(database).use(store, OtherBackend::Accept);

        test::CapturedWarnings warnings;
        QVERIFY(used);
        QCOMPARE(keyStore(), store);
        QCOMPARE(passwordsIn(database), QStringList({{}, {}, {}}));
        QVERIFY(Encrypt(u"password"_s).isValid());
    }

    void storeIsUsedWhenThereAreNoPasswords()
    {
        const auto store = std::make_shared<HostKeyStore>(QByteArray(32, 'h'));

        const bool used = PasswordKeys(openDatabase()).use(store);

        QVERIFY(used);
        QCOMPARE(keyStore(), store);
    }

    void failedReadUsesNoStore()
    {
        const auto factory = std::make_shared<RecordingDatabaseFactory>();
        factory->answerOthers({.fails = true});
        const auto present = keyStore();

        const bool used =
            PasswordKeys(factory).use(std::make_shared<HostKeyStore>(QByteArray(32, 'h')));

        QVERIFY(!used);
        QCOMPARE(keyStore(), present);
    }

    void movedPasswordsAreReadWithTheOtherStoreAlone()
    {
        const Factory database = openFilledDatabase();
        const auto store = std::make_shared<HostKeyStore>(QByteArray(32, 'h'));

        const PasswordKeys::Outcome outcome = PasswordKeys(database).moveTo(store);

        QVERIFY(outcome.succeeded);
        QCOMPARE(outcome.encrypted, 3);
        QCOMPARE(keyStore(), store);
        QVERIFY(QFile::remove(folder->filePath(u"password.key"_s)));
        QCOMPARE(passwordsIn(database), Passwords);
        QVERIFY(PasswordKeys(database).use(store));
    }

    void failedMoveKeepsTheStore()
    {
        const auto factory = std::make_shared<RecordingDatabaseFactory>();
        factory->setTransactionResult(false);
        const auto present = keyStore();

        const PasswordKeys::Outcome outcome =
            PasswordKeys(factory).moveTo(std::make_shared<HostKeyStore>(QByteArray(32, 'h')));

        QVERIFY(!outcome.succeeded);
        QCOMPARE(keyStore(), present);
    }

    void keyOfTheHostIsChangedByHandingOverANewOne()
    {
        const QByteArray oldKey(32, 'o');
        const QByteArray newKey(32, 'n');
        setKeyStore(std::make_shared<HostKeyStore>(oldKey));
        const Factory database = openFilledDatabase();
        PasswordKeys keys(database);
        QVERIFY_THROWS_EXCEPTION(KeyError, keys.changeKey());

        QVERIFY(keys.use(std::make_shared<HostKeyStore>(newKey, QList<QByteArray>{oldKey})));
        const PasswordKeys::Outcome outcome = keys.changeKey();

        QVERIFY(outcome.succeeded);
        QCOMPARE(outcome.encrypted, 3);
        setKeyStore(std::make_shared<HostKeyStore>(newKey));
        QCOMPARE(passwordsIn(database), Passwords);
    }

private:
    using Factory = std::shared_ptr<interf::factory::IDatabaseFactory>;

    Factory openDatabase()
    {
        QFETCH_GLOBAL(QString, engine);
        return test::openEngine(engine, folder->filePath(u"configuration.db"_s));
    }

    Factory openFilledDatabase()
    {
        auto database = openDatabase();
        AuthenticationConfigManager manager(database);
        for (const QString& password : Passwords) {
            AuthenticationConfiguration signIn = signInWith(password);
            manager.Add(signIn);
        }
        return database;
    }

    void startAnew()
    {
        folder = std::make_unique<QTemporaryDir>();
        setKeyStore(std::make_shared<FileKeyStore>(folder->filePath(u"password.key"_s)));
    }

    /// Finishes a change that was cut short: all passwords under one key, and only that key left.
    bool finishes()
    {
        // As a new process would start.
        setKeyStore(std::make_shared<FileKeyStore>(folder->filePath(u"password.key"_s)));
        const Factory database = openDatabase();
        PasswordKeys keys(database);
        const bool intact = passwordsIn(database) == Passwords;
        const PasswordKeys::Outcome outcome = keys.changeKey();
        const bool dropped = keys.dropUnusedKeys(NoRest) >= 0;
        return intact && outcome.succeeded && outcome.unreadableIds.isEmpty() && dropped &&
               storedKeys().size() == 1 && passwordsIn(database) == Passwords;
    }

    // What is in the file, whatever a store in this process remembers.
    QList<KeyId> storedKeys() const
    {
        return FileKeyStore(folder->filePath(u"password.key"_s)).read().ids();
    }

    /// Runs a change of the key that ends at its first step, then one that ends at its second,
    /// until one completes; `run` returns whether it did.
    void interruptAtEveryStep(const std::function<bool(const Factory& database, int step)>& run)
    {
        // Read, transaction, read, an update for each password, commit.
        const int steps = 3 + int(Passwords.size()) + 1;
        for (int step = 1; step <= steps + 1; ++step) {
            startAnew();
            const bool ranThrough = run(openFilledDatabase(), step);

            QCOMPARE(ranThrough, step > steps);
            QVERIFY(finishes());
        }
    }

    std::unique_ptr<QTemporaryDir> folder;
};

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestPasswordKeys)
#include "TestPasswordKeys.moc"
