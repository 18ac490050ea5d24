#include <support/FileBytes.h>

#include <core/Crypto.h>
#include <core/KeychainKeyStore.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>

#include <csignal>
#include <sys/prctl.h>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;

namespace {

const QString KeychainService = u"org.freedesktop.secrets"_s;

// Starts no service by itself, so that a keychain is absent until the test starts one.
constexpr char BusConfiguration[] =
    "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><auth>EXTERNAL</auth>"
    "<policy context='default'><allow send_destination='*'/><allow receive_sender='*'/>"
    "<allow own='*'/></policy></busconfig>";

/// Ends a program with its scope.
class Program
{
public:
    Program(
        const QString& name, const QStringList& arguments, const QProcessEnvironment& environment,
        const QByteArray& input = {})
    {
        process.setProcessEnvironment(environment);
        // Also if the test crashes.
        process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
        process.setStandardErrorFile(QProcess::nullDevice());
        process.start(name, arguments);
        process.write(input);
        process.closeWriteChannel();
    }
    ~Program()
    {
        process.terminate();
        process.waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(Program)

    QByteArray firstLine()
    {
        while (!process.canReadLine() && process.waitForReadyRead())
            continue;
        return process.readLine().trimmed();
    }

private:
    QProcess process;
};

KeyRing addKey(const KeyRing& ring)
{
    return ring.withNewKey();
}

} // namespace

/// Stands for a user who cancels each question of the keychain for its password.
class CancellingUser : public QObject,
                       protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gnome.keyring.internal.Prompter")

public:
    CancellingUser()
    {
        auto bus = QDBusConnection::sessionBus();
        bus.registerObject(u"/org/gnome/keyring/Prompter"_s, this, QDBusConnection::ExportAllSlots);
        bus.registerService(u"org.gnome.keyring.SystemPrompter"_s);
    }
    ~CancellingUser() override
    {
        auto bus = QDBusConnection::sessionBus();
        bus.unregisterService(u"org.gnome.keyring.SystemPrompter"_s);
        bus.unregisterObject(u"/org/gnome/keyring/Prompter"_s);
    }
    Q_DISABLE_COPY_MOVE(CancellingUser)

    int questions = 0;

public Q_SLOTS:
    void BeginPrompting(const QDBusObjectPath& prompt) { answer(prompt, QString()); }

    void PerformPrompt(
        const QDBusObjectPath& prompt, const QString& /*kind*/, const QVariantMap& /*properties*/,
        const QString& /*exchange*/)
    {
        ++questions;
        answer(prompt, u"no"_s);
    }

    void StopPrompting(const QDBusObjectPath& prompt) { call(prompt, u"PromptDone"_s, {}); }

private:
    void answer(const QDBusObjectPath& prompt, const QString& reply)
    {
        call(prompt, u"PromptReady"_s, {reply, QVariantMap(), QString()});
    }

    void call(const QDBusObjectPath& prompt, const QString& method, const QVariantList& arguments)
    {
        auto ready = QDBusMessage::createMethodCall(
            message().service(), prompt.path(), u"org.gnome.keyring.internal.Prompter.Callback"_s,
            method);
        ready.setArguments(arguments);
        // After the reply to the present call, which the keychain waits for.
        QMetaObject::invokeMethod(
            this, [ready] { QDBusConnection::sessionBus().asyncCall(ready); },
            Qt::QueuedConnection);
    }
};

/// The keychain of a real desktop session, on a bus of its own. The functions run in their order
/// over one keychain, because a process does not find the one that takes its place.
class TestSystemKeychain : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        QFile configuration(folder.filePath(u"bus.conf"_s));
        QVERIFY(configuration.open(QIODevice::WriteOnly));
        QVERIFY(configuration.write(BusConfiguration) > 0);
        configuration.close();
        bus = std::make_unique<Program>(
            u"dbus-daemon"_s,
            QStringList{
                u"--nofork"_s, u"--print-address"_s,
                u"--config-file="_s + configuration.fileName()},
            QProcessEnvironment::systemEnvironment());
        const QByteArray address = bus->firstLine();
        QVERIFY2(!address.isEmpty(), "Install dbus-daemon and gnome-keyring: './dev setup'.");
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        QVERIFY(QDBusConnection::sessionBus().isConnected());
    }

    void cleanup() { setKeyStore(nullptr); }

    void keychainIsAbsent()
    {
        KeychainKeyStore store;

        QCOMPARE(causeOf(store), KeyError::Cause::Absent);
        QCOMPARE(causeOf(store, true), KeyError::Cause::Absent);
    }

    void emptyKeychainHasNoKeys()
    {
        startKeychain();
        KeychainKeyStore store;

        QVERIFY(store.read().isEmpty());
    }

    void keysAreStoredAndRead()
    {
        KeychainKeyStore store;
        store.readOrCreate();
        const QList<KeyId> ids = store.change(addKey).ids();

        QCOMPARE(ids.size(), 2);
        QCOMPARE(KeychainKeyStore().read().ids(), ids);
    }

    void passwordIsEncryptedWithAKeyOfTheKeychain()
    {
        setKeyStore(std::make_shared<KeychainKeyStore>());

        const QVariant stored = Encrypt(u"a password"_s);

        setKeyStore(std::make_shared<KeychainKeyStore>());
        QCOMPARE(Decrypt(stored), u"a password"_s);
    }

    void lockedKeychainIsNotTakenForAnEmptyOne()
    {
        const QByteArray stored = storedBytes();
        lockKeychain();
        KeychainKeyStore store;

        QCOMPARE(causeOf(store), KeyError::Cause::Locked);
        QCOMPARE(causeOf(store, true), KeyError::Cause::Locked);

        QVERIFY(!stored.isEmpty());
        QCOMPARE(storedBytes(), stored);
    }

    void deniedAccessIsNotTakenForAnEmptyKeychain()
    {
        const QByteArray stored = storedBytes();
        lockKeychain();
        KeychainKeyStore store;
        const CancellingUser user;

        QCOMPARE(causeOf(store), KeyError::Cause::Locked);
        QVERIFY(user.questions > 0);
        QCOMPARE(causeOf(store, true), KeyError::Cause::Locked);

        QCOMPARE(storedBytes(), stored);
    }

private:
    void startKeychain()
    {
        auto environment = QProcessEnvironment::systemEnvironment();
        for (const QString& name : {u"HOME"_s, u"XDG_DATA_HOME"_s, u"XDG_RUNTIME_DIR"_s})
            environment.insert(name, folder.path());
        keychain = std::make_unique<Program>(
            u"gnome-keyring-daemon"_s,
            QStringList{u"--foreground"_s, u"--components=secrets"_s, u"--unlock"_s}, environment,
            "phrase\n");
        QTRY_VERIFY(
            QDBusConnection::sessionBus().interface()->isServiceRegistered(KeychainService));
    }

    static void lockKeychain()
    {
        auto find = callOfKeychain(u"ReadAlias"_s);
        find << u"default"_s;
        const QDBusReply<QDBusObjectPath> collection = QDBusConnection::sessionBus().call(find);
        QVERIFY(collection.isValid());
        auto lock = callOfKeychain(u"Lock"_s);
        lock << QVariant::fromValue(QList<QDBusObjectPath>{collection.value()});
        QCOMPARE(QDBusConnection::sessionBus().call(lock).type(), QDBusMessage::ReplyMessage);
    }

    static QDBusMessage callOfKeychain(const QString& method)
    {
        return QDBusMessage::createMethodCall(
            KeychainService, u"/org/freedesktop/secrets"_s, u"org.freedesktop.Secret.Service"_s,
            method);
    }

    QByteArray storedBytes() const
    {
        return sync::test::readFile(folder.filePath(u"keyrings/login.keyring"_s));
    }

    /// The cause with which the first use fails, or only reading; nothing if it succeeds.
    static std::optional<KeyError::Cause> causeOf(KeychainKeyStore& store, bool isFirstUse = false)
    {
        try {
            isFirstUse ? store.readOrCreate() : store.read();
        } catch (const KeyError& error) {
            return error.cause();
        }
        return std::nullopt;
    }

    QTemporaryDir folder;
    std::unique_ptr<Program> bus;
    std::unique_ptr<Program> keychain;
};

QTEST_GUILESS_MAIN(TestSystemKeychain)
#include "TestSystemKeychain.moc"
