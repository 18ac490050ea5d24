#include <core/KeychainKeyStore.h>

#include <QFile>
#include <QStandardPaths>
#include <QTest>

#include <memory>
#include <optional>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;

namespace {

/// The content of the keychain, and how it answers.
struct KeychainState
{
    Keychain::Status readStatus = Keychain::Status::Done;
    Keychain::Status writeStatus = Keychain::Status::Done;
    QByteArray entry;
    int reads = 0;
    int lockedReads = 0; // while the lock file existed
    int writes = 0;
};

QString lockPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           u"/velmio/keychain.lock"_s;
}

class FakeKeychain : public Keychain
{
public:
    explicit FakeKeychain(std::shared_ptr<KeychainState> state)
        : state(std::move(state))
    {
    }

    Answer read() override
    {
        ++state->reads;
        state->lockedReads += QFile::exists(lockPath()) ? 1 : 0;
        if (state->readStatus != Status::Done)
            return {state->readStatus, {}, u"told so"_s};
        return {state->entry.isEmpty() ? Status::Empty : Status::Done, state->entry, {}};
    }

    Answer write(const QByteArray& entry) override
    {
        ++state->writes;
        if (state->writeStatus != Status::Done)
            return {state->writeStatus, {}, u"told so"_s};
        // A deep copy, because the store wipes its own.
        state->entry = QByteArray(entry.constData(), entry.size());
        return {Status::Done, {}, {}};
    }

private:
    const std::shared_ptr<KeychainState> state;
};

KeyRing addKey(const KeyRing& ring)
{
    return ring.withNewKey();
}

} // namespace

class TestKeychainKeyStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { state = std::make_shared<KeychainState>(); }

    void emptyKeychainReadsAsNoKeysAndIsNotWritten()
    {
        const auto store = makeStore();

        const KeyRing ring = store->read();

        QVERIFY(ring.isEmpty());
        QCOMPARE(state->writes, 0);
    }

    void lockedKeychainAndAbsentOneAreToldApart_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("cause");
        QTest::addColumn<QString>("text");
        QTest::newRow("locked")
            << int(Keychain::Status::Locked) << int(KeyError::Cause::Locked)
            << u"The system's keychain is locked, so the password keys cannot be read: told so. "
               "Unlock it and grant access."_s;
        QTest::newRow("absent")
            << int(Keychain::Status::Absent) << int(KeyError::Cause::Absent)
            << u"No system keychain is available for the password keys: told so. "
               "Start its service, or choose a key file."_s;
        QTest::newRow("failed")
            << int(Keychain::Status::Failed) << int(KeyError::Cause::Other)
            << u"The system's keychain did not return the password keys: told so. "
               "Try again."_s;
    }

    void lockedKeychainAndAbsentOneAreToldApart()
    {
        QFETCH(int, status);
        QFETCH(int, cause);
        QFETCH(QString, text);
        state->readStatus = Keychain::Status(status);
        const auto store = makeStore();

        try {
            store->read();
            QFAIL("nothing was thrown");
        } catch (const KeyError& error) {
            QCOMPARE(int(error.cause()), cause);
            QCOMPARE(error.text(), text);
        }
    }

    void lockedKeychainIsNotWritten()
    {
        state->readStatus = Keychain::Status::Locked;
        const auto store = makeStore();

        QCOMPARE(causeOf(*store), KeyError::Cause::Locked);

        QCOMPARE(state->writes, 0);
    }

    void firstUseStoresAKeyThatAnotherProcessReads()
    {
        const KeyRing made = makeStore()->readOrCreate();

        const KeyRing read = makeStore()->readOrCreate();

        QCOMPARE(made.ids().size(), 1);
        QCOMPARE(read.ids(), made.ids());
        QCOMPARE(state->writes, 1);
    }

    void keychainThatDoesNotTakeTheKeyGivesNone()
    {
        state->writeStatus = Keychain::Status::Locked;
        const auto store = makeStore();

        QCOMPARE(causeOf(*store), KeyError::Cause::Locked);

        QVERIFY(store->read().isEmpty());
    }

    void unlockedKeychainServesWithoutANewStore()
    {
        state->readStatus = Keychain::Status::Locked;
        const auto store = makeStore();
        QCOMPARE(causeOf(*store), KeyError::Cause::Locked);

        state->readStatus = Keychain::Status::Done;

        QCOMPARE(store->readOrCreate().ids().size(), 1);
    }

    void keychainIsAskedOnce()
    {
        makeStore()->readOrCreate();
        const auto store = makeStore();
        state->reads = 0;

        store->read();
        store->readOrCreate();

        QCOMPARE(state->reads, 1);
    }

    void newKeyOfAnotherProcessIsSeenAfterForget()
    {
        const auto store = makeStore();
        store->readOrCreate();
        const QList<KeyId> changed = makeStore()->change(addKey).ids();

        store->forget();

        QCOMPARE(store->read().ids(), changed);
    }

    void newKeyOfAnotherProcessIsNotOverwritten()
    {
        const auto store = makeStore();
        store->readOrCreate();
        const QList<KeyId> other = makeStore()->change(addKey).ids();

        const QList<KeyId> changed = store->change(addKey).ids();

        QCOMPARE(changed.mid(1), other);
        QCOMPARE(makeStore()->read().ids(), changed);
    }

    void promptIsShownBeforeOthersWaitForTheLock()
    {
        makeStore()->change(addKey);

        QCOMPARE(state->reads, 2);
        QCOMPARE(state->lockedReads, 1);
    }

    void damagedEntryIsRefusedAndKept()
    {
        state->entry = "no keys";
        const auto store = makeStore();

        QCOMPARE(causeOf(*store), KeyError::Cause::Damaged);

        QCOMPARE(state->entry, QByteArray("no keys"));
    }

    void buildWithoutKeychainHasNone()
    {
        const auto keychain = Keychain::system();

        const Keychain::Answer answer = keychain->read();

        // A test program without an application object has none in any build.
        QCOMPARE(answer.status, Keychain::Status::Absent);
        QCOMPARE(keychain->write("x").status, Keychain::Status::Absent);
    }

private:
    std::unique_ptr<KeychainKeyStore> makeStore() const
    {
        return std::make_unique<KeychainKeyStore>(std::make_unique<FakeKeychain>(state));
    }

    std::optional<KeyError::Cause> causeOf(KeyStore& store) const
    {
        try {
            store.readOrCreate();
        } catch (const KeyError& error) {
            return error.cause();
        }
        return std::nullopt;
    }

    std::shared_ptr<KeychainState> state;
};

QTEST_APPLESS_MAIN(TestKeychainKeyStore)
#include "TestKeychainKeyStore.moc"
