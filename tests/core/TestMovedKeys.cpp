#include <support/FileBytes.h>
#include <support/SystemCalls.h>
#include <support/TemporaryPlace.h>

#include <core/FileKeyStore.h>

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <cstdarg>
#include <functional>
#include <memory>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;
using sync::test::readFile;
using sync::test::SystemCall;
using sync::test::SystemCallWatch;

namespace {

constexpr int KilledCode = 9;

std::function<void(const QByteArray& path)> beforeOpening;

KeyRing addKey(const KeyRing& ring)
{
    return ring.withNewKey();
}

QSet<KeyId> idsOf(const KeyRing& ring)
{
    const QList<KeyId> ids = ring.ids();
    return {ids.begin(), ids.end()};
}

/// The exit code of a process of its own.
int run(const std::function<int()>& action)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(action());
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Runs `action` in a process that is killed before its call number `step` (from 1). False if it
/// makes fewer calls.
bool isKilledAt(int step, const std::function<void()>& action)
{
    return run([&] {
               int calls = 0;
               const SystemCallWatch watch([&](const SystemCall&) {
                   if (++calls == step)
                       ::_exit(KilledCode);
                   return 0;
               });
               action();
               return 0;
           }) == KilledCode;
}

/// What a power cut would take away of all folders and files, if nothing is durable but what was
/// synced.
class Unsynced
{
public:
    void note(const SystemCall& call)
    {
        if (call.path.endsWith(".lock"))
            return;
        if (call.name == "mkdir" || call.name == "link" || call.name == "rename")
            entries.insert(call.path);
        if (call.name == "write")
            contents.insert(call.path);
        if (call.name != "fsync")
            return;
        contents.remove(call.path);
        entries.removeIf([&](const QByteArray& entry) {
            return entry.left(entry.lastIndexOf('/')) == call.path;
        });
    }

    bool isEmpty() const { return entries.isEmpty() && contents.isEmpty(); }

private:
    QSet<QByteArray> entries;
    QSet<QByteArray> contents;
};

} // namespace

// The library calls it, which passes the call on to the C library.
extern "C" Q_DECL_EXPORT int open(const char* path, int flags, ...)
{
    static const auto real = reinterpret_cast<decltype(::open)*>(::dlsym(RTLD_NEXT, "open"));
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    va_end(arguments);
    if (beforeOpening)
        beforeOpening(path);
    return real(path, flags, mode);
}

/// Keys that earlier versions kept beside the database.
class TestMovedKeys : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder = std::make_unique<QTemporaryDir>(sync::test::temporaryPlaceInMemory());
        QVERIFY(folder->isValid());
        qputenv("XDG_DATA_HOME", QFile::encodeName(folder->filePath(u"data"_s)));
        qputenv("XDG_STATE_HOME", QFile::encodeName(folder->filePath(u"state"_s)));
        former = folder->filePath(u"data/velmio/password.key"_s);
        present = folder->filePath(u"state/velmio/password.key"_s);
    }

    void defaultPlaceIsTheStateFolder()
    {
        QCOMPARE(FileKeyStore::defaultPath(), present);
        qputenv("XDG_STATE_HOME", "relative");
        QCOMPARE(
            FileKeyStore::defaultPath(), QDir::homePath() + u"/.local/state/velmio/password.key"_s);
        qunsetenv("XDG_STATE_HOME");
        QCOMPARE(
            FileKeyStore::defaultPath(), QDir::homePath() + u"/.local/state/velmio/password.key"_s);
        QStandardPaths::setTestModeEnabled(true);
        QCOMPARE(
            FileKeyStore::defaultPath(),
            QDir::homePath() + u"/.qttest/state/velmio/password.key"_s);
        QStandardPaths::setTestModeEnabled(false);
    }

    void keysMove()
    {
        earlierVersion().readOrCreate();
        const QList<KeyId> ids = earlierVersion().change(addKey).ids();

        QCOMPARE(FileKeyStore().read().ids(), ids);

        QCOMPARE(filesIn(former), QStringList());
        QCOMPARE(filesIn(present), QStringList{u"password.key"_s});
        struct stat status = {};
        QCOMPARE(::stat(QFile::encodeName(present).constData(), &status), 0);
        QCOMPARE(status.st_mode, mode_t(S_IFREG | 0600));
        QCOMPARE(FileKeyStore().read().ids(), ids);
    }

    void processKilledAtAnyStepLosesNoKey_data() { addStarts(); }

    void processKilledAtAnyStepLosesNoKey()
    {
        int step = 0;
        for (bool isKilled = true; isKilled;) {
            init();
            const QSet<KeyId> ids = start();
            isKilled = isKilledAt(++step, [] { FileKeyStore().read(); });
            removeEmptyLocks();

            QCOMPARE(idsOf(FileKeyStore().read()), ids);
            QVERIFY(!QFile::exists(former));
            QCOMPARE(idsOf(FileKeyStore(present).read()), ids);
        }
        QVERIFY2(step > 5, qPrintable(QString::number(step)));
    }

    void formerFileIsRemovedWhenItsKeysAreDurable_data() { addStarts(); }

    void formerFileIsRemovedWhenItsKeysAreDurable()
    {
        start();
        Unsynced unsynced;
        QList<bool> durable;
        const SystemCallWatch watch([&](const SystemCall& call) {
            if (call.name == "unlink" && call.path == QFile::encodeName(former))
                durable.append(unsynced.isEmpty());
            unsynced.note(call);
            return 0;
        });
        // As a process leaves them that is killed before it has synced anything.
        for (const QString& path : {QFileInfo(present).path(), present})
            unsynced.note({"link", QFile::encodeName(path)});

        FileKeyStore().read();

        QCOMPARE(durable, QList<bool>{true});
    }

    void anyFailureLosesNoKey_data() { addStarts(); }

    void anyFailureLosesNoKey()
    {
        for (const int error : {ENOSPC, EROFS, EIO, EACCES}) {
            int step = 0;
            for (bool hasFailed = true; hasFailed;) {
                init();
                const QSet<KeyId> ids = start();
                hasFailed = false;
                {
                    int calls = 0;
                    ++step;
                    const SystemCallWatch watch([&](const SystemCall& call) {
                        // A lock that stays would belong to this process, which lives on.
                        if (call.name == "unlink" && call.path.endsWith(".lock"))
                            return 0;
                        hasFailed = ++calls >= step;
                        return hasFailed ? error : 0;
                    });
                    FileKeyStore store;
                    QCOMPARE(idsOf(store.read()), ids);
                    QCOMPARE(idsOf(store.read()), ids);
                }

                QCOMPARE(idsOf(FileKeyStore().read()), ids);
                QVERIFY(!QFile::exists(former));
            }
            QVERIFY2(step > 5, qPrintable(QString::number(step)));
        }
    }

    void keysThatCannotMoveEncryptAndChange_data()
    {
        QTest::addColumn<QString>("place");
        QTest::newRow("read-only folder of the former file") << u"data"_s;
        QTest::newRow("no room for the present file") << u"state"_s;
    }

    void keysThatCannotMoveEncryptAndChange()
    {
        QFETCH(const QString, place);
        const KeyId id = earlierVersion().readOrCreate().current().id();
        const QByteArray failing = QFile::encodeName(folder->filePath(place));
        FileKeyStore store;
        bool isChanged = false;
        {
            const SystemCallWatch watch([&](const SystemCall& call) {
                return call.path.startsWith(failing) && !call.path.endsWith(".lock") &&
                               call.name != "fsync"
                           ? ENOSPC
                           : 0;
            });
            QCOMPARE(store.readOrCreate().current().id(), id);
            try {
                isChanged = store.change(addKey).find(id) != nullptr;
            } catch (const KeyError& error) {
                QCOMPARE(error.cause(), KeyError::Cause::NotWritable);
            }
        }

        QCOMPARE(isChanged, place == u"data");
        QCOMPARE(FileKeyStore().read().ids().size(), isChanged ? 2 : 1);
        QVERIFY(FileKeyStore().read().find(id));
    }

    // As a folder of another user, which this one may not enter.
    void keysAreReadWhereTheyAreIfTheStateFolderIsOutOfReach()
    {
        const QList<KeyId> ids = earlierVersion().readOrCreate().ids();
        QFile obstacle(folder->filePath(u"state"_s));
        QVERIFY(obstacle.open(QIODevice::WriteOnly));
        FileKeyStore store;

        QCOMPARE(store.read().ids(), ids);
        QCOMPARE(store.readOrCreate().ids(), ids);
        QVERIFY_THROWS_EXCEPTION(KeyError, store.change(addKey));
        QCOMPARE(earlierVersion().read().ids(), ids);

        QVERIFY(obstacle.remove());
        QCOMPARE(FileKeyStore().read().ids(), ids);
        QVERIFY(!QFile::exists(former));
    }

    void damageOfThePresentFileIsNotHidden()
    {
        FileKeyStore().readOrCreate();
        earlierVersion().readOrCreate();
        QFile file(present);
        QVERIFY(file.open(QIODevice::ReadWrite) && file.resize(9));

        QVERIFY_THROWS_EXCEPTION(KeyError, FileKeyStore().read());
        QVERIFY_THROWS_EXCEPTION(KeyError, FileKeyStore().change(addKey));

        QCOMPARE(readFile(present).size(), 9);
        QVERIFY(QFile::exists(former));
    }

    void processesMoveTheKeysTogether()
    {
        for (int round = 0; round < 10; ++round) {
            init();
            const KeyId id = earlierVersion().readOrCreate().current().id();

            const int failures = run([&] {
                // The children of this process read at once; none may miss the key.
                for (int reader = 0; reader < 8; ++reader) {
                    if (::fork() == 0)
                        ::_exit(FileKeyStore().read().ids() == QList<KeyId>{id} ? 0 : 1);
                }
                int missed = 0;
                for (int status = 0; ::wait(&status) > 0;)
                    missed += status == 0 ? 0 : 1;
                return missed;
            });

            QCOMPARE(failures, 0);
            QCOMPARE(FileKeyStore().read().ids(), QList<KeyId>{id});
            QVERIFY(!QFile::exists(former));
        }
    }

    // Each time between two steps of the reader.
    void readerMissesNoKeyThatAnotherProcessMoves()
    {
        int step = 0;
        for (bool isMoved = true; isMoved;) {
            init();
            const KeyId id = earlierVersion().readOrCreate().current().id();
            int calls = 0;
            ++step;
            isMoved = false;
            beforeOpening = [&](const QByteArray&) {
                if (++calls != step)
                    return;
                isMoved = true;
                QCOMPARE(run([] { return FileKeyStore().read().ids().size() == 1 ? 0 : 1; }), 0);
            };
            const KeyRing ring = FileKeyStore().read();
            beforeOpening = nullptr;

            QCOMPARE(ring.ids(), QList<KeyId>{id});
        }
        QVERIFY2(step > 5, qPrintable(QString::number(step)));
    }

    void keyThatAnEarlierVersionMakesAfterwardsIsAdded()
    {
        earlierVersion().readOrCreate();
        FileKeyStore store;
        const KeyId first = store.read().current().id();

        const KeyId second = earlierVersion().readOrCreate().current().id();

        QCOMPARE(store.read().ids(), QList<KeyId>({first, second}));
        QVERIFY(!QFile::exists(former));
        QCOMPARE(FileKeyStore(present).read().ids(), QList<KeyId>({first, second}));
        // Not dropped before it has rested like any other key that was replaced.
        const QDateTime now = QDateTime::currentDateTimeUtc();
        QCOMPARE(store.read().retiredUntil(now), QSet<KeyId>{second});
        QCOMPARE(store.read().retiredUntil(now.addSecs(-3600)), QSet<KeyId>());
    }

    void backupOfTheFormerFolderBringsItsKeysBack()
    {
        earlierVersion().readOrCreate();
        const QByteArray backup = readFile(former);
        FileKeyStore store;
        const KeyId dropped = store.read().current().id();
        store.change(addKey);
        const KeyId current =
            store.change([&](const KeyRing& ring) { return ring.without({dropped}); })
                .current()
                .id();

        QFile file(former);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(backup), backup.size());
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner));
        file.close();

        QCOMPARE(store.read().ids(), QList<KeyId>({current, dropped}));
        QVERIFY(!QFile::exists(former));
    }

    void uselessFormerFileKeepsNobodyFromTheKeys_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("mode");
        QTest::newRow("damaged") << QByteArray("half a ke") << 0600;
        QTest::newRow("others may read it") << QByteArray() << 0644;
    }

    void uselessFormerFileKeepsNobodyFromTheKeys()
    {
        QFETCH(const QByteArray, content);
        QFETCH(const int, mode);
        const QList<KeyId> ids = FileKeyStore().readOrCreate().ids();
        earlierVersion().readOrCreate();
        QFile file(former);
        QVERIFY(file.open(QIODevice::ReadWrite));
        if (!content.isEmpty())
            QVERIFY(file.resize(0) && file.write(content) == content.size());
        file.close();
        QCOMPARE(::chmod(QFile::encodeName(former).constData(), mode_t(mode)), 0);
        const QByteArray before = readFile(former);

        QCOMPARE(FileKeyStore().read().ids(), ids);
        QCOMPARE(FileKeyStore().change(addKey).ids().mid(1), ids);

        QCOMPARE(readFile(former), before);
        // Without other keys, it is told, and no key is made in its place.
        QVERIFY(QFile::remove(present));
        QVERIFY_THROWS_EXCEPTION(KeyError, FileKeyStore().readOrCreate());
        QVERIFY(!QFile::exists(present));
    }

    void oneFileInBothPlacesIsLeftAlone_data()
    {
        QTest::addColumn<bool>("isLink");
        QTest::newRow("the same folder") << false;
        QTest::newRow("a link to the folder") << true;
    }

    void oneFileInBothPlacesIsLeftAlone()
    {
        QFETCH(const bool, isLink);
        const QList<KeyId> ids = earlierVersion().readOrCreate().ids();
        if (isLink)
            QVERIFY(QFile::link(folder->filePath(u"data"_s), folder->filePath(u"state"_s)));
        else
            qputenv("XDG_STATE_HOME", qgetenv("XDG_DATA_HOME"));

        QCOMPARE(FileKeyStore().read().ids(), ids);
        QCOMPARE(FileKeyStore().change(addKey).ids().mid(1), ids);

        QVERIFY(QFile::exists(former));
        QCOMPARE(FileKeyStore().read().ids().mid(1), ids);
    }

    void fileAtAPlaceOfTheHostTakesNoOtherKeys()
    {
        earlierVersion().readOrCreate();

        QVERIFY(FileKeyStore(folder->filePath(u"own.key"_s)).read().isEmpty());

        QVERIFY(QFile::exists(former));
    }

    void changeOfAnEarlierVersionDelaysTheMove()
    {
        const QList<KeyId> ids = earlierVersion().readOrCreate().ids();
        QLockFile lock(former + u".lock"_s);
        QVERIFY(lock.lock());
        FileKeyStore store;

        QCOMPARE(store.read().ids(), ids);
        QVERIFY(QFile::exists(former));

        lock.unlock();
        QCOMPARE(store.change(addKey).ids().mid(1), ids);
        QVERIFY(!QFile::exists(former));
    }

    void moreKeysThanAFileTakesStayInBoth()
    {
        FileKeyStore(present).readOrCreate();
        earlierVersion().readOrCreate();
        earlierVersion().change([](KeyRing ring) {
            while (ring.ids().size() < 255)
                ring = ring.withNewKey();
            return ring;
        });

        QCOMPARE(FileKeyStore().read().ids().size(), 256);

        QCOMPARE(earlierVersion().read().ids().size(), 255);
    }

private:
    static void addStarts()
    {
        QTest::addColumn<bool>("hasPresent");
        QTest::addColumn<bool>("isCopied");
        QTest::newRow("first move") << false << false;
        QTest::newRow("other keys in the present file") << true << false;
        QTest::newRow("copied but not removed") << false << true;
    }

    /// Creates the files of the row of addStarts(), and returns the keys in them.
    QSet<KeyId> start() const
    {
        const bool hasPresent = *static_cast<bool*>(QTest::qData("hasPresent", QMetaType::Bool));
        const bool isCopied = *static_cast<bool*>(QTest::qData("isCopied", QMetaType::Bool));
        QSet<KeyId> ids = idsOf(earlierVersion().readOrCreate());
        if (hasPresent)
            ids += idsOf(FileKeyStore(present + u".x"_s).readOrCreate());
        if (hasPresent && !QFile::rename(present + u".x"_s, present))
            qFatal("The present file cannot be made.");
        if (isCopied &&
            (!QDir().mkpath(QFileInfo(present).path()) || !QFile::copy(former, present)))
            qFatal("The present file cannot be made.");
        return ids;
    }

    // A process that is killed while it makes one leaves it without a name; a person removes it.
    void removeEmptyLocks() const
    {
        for (const QString& lock : {former + u".lock"_s, present + u".lock"_s}) {
            if (QFileInfo(lock).size() == 0)
                QFile::remove(lock);
        }
    }

    // Its default place was the former one, and it knew no other.
    FileKeyStore earlierVersion() const { return FileKeyStore(former); }

    static QStringList filesIn(const QString& path)
    {
        return QDir(QFileInfo(path).path()).entryList(QDir::Files | QDir::Hidden);
    }

    std::unique_ptr<QTemporaryDir> folder;
    QString former;
    QString present;
};

QTEST_APPLESS_MAIN(TestMovedKeys)
#include "TestMovedKeys.moc"
