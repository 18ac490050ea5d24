#include <support/FileBytes.h>
#include <support/SystemCalls.h>

#include <core/FileKeyStore.h>
#include <core/HostKeyStore.h>
#include <core/keys/KeyLock.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLockFile>
#include <QScopeGuard>
#include <QSet>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <sys/wait.h>

using namespace Qt::StringLiterals;
using sync::test::readFile;
using namespace std::chrono_literals;
using namespace sync::core::crypto;

namespace {

constexpr mode_t OwnerOnly = 0600;

KeyRing addKey(const KeyRing& ring)
{
    return ring.withNewKey();
}

QByteArray nameOf(const QString& path)
{
    return QFile::encodeName(path);
}

mode_t modeOf(const QString& path)
{
    struct stat status = {};
    ::stat(nameOf(path).constData(), &status);
    return status.st_mode & 07777;
}

void writeFile(const QString& path, const QByteArray& content, mode_t mode = OwnerOnly)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
    file.close();
    QCOMPARE(::chmod(nameOf(path).constData(), mode), 0);
}

/// The cause with which `action` fails; nothing if it succeeds.
std::optional<KeyError::Cause> causeOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const KeyError& error) {
        return error.cause();
    }
    return std::nullopt;
}

/// The text with which `action` fails; empty if it succeeds.
QString textOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const KeyError& error) {
        return error.text();
    }
    return {};
}

/// Runs `action` in several processes that start it together, and collects what they return.
QList<QByteArray> race(int processes, const std::function<QByteArray()>& action)
{
    int start[2] = {};
    int results[2] = {};
    if (::pipe(start) != 0 || ::pipe(results) != 0)
        return {};
    for (int i = 0; i < processes; ++i) {
        if (::fork() != 0)
            continue;
        ::close(start[1]);
        char none = 0;
        // Returns when the parent closes its end, in all processes at once.
        const bool started = ::read(start[0], &none, 1) == 0;
        const QByteArray result = action();
        const bool told = ::write(results[1], result.constData(), uint(result.size())) > 0;
        ::_exit(started && told ? 0 : 1);
    }
    ::close(start[0]);
    ::close(start[1]);
    ::close(results[1]);

    QFile reader;
    QByteArray all;
    if (reader.open(results[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        all = reader.readAll();
    QList<QByteArray> collected;
    for (int i = 0; i < processes; ++i) {
        int status = -1;
        if (::wait(&status) > 0 && status == 0)
            collected.append(all.mid(i * 16, 16));
    }
    return collected;
}

} // namespace

class TestKeyStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder = std::make_unique<QTemporaryDir>();
        QVERIFY(folder->isValid());
        path = folder->filePath(u"password.key"_s);
    }

    void readingMakesNoFile()
    {
        FileKeyStore store(path);

        const KeyRing ring = store.read();

        QVERIFY(ring.isEmpty());
        QCOMPARE(
            QDir(folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }

    void firstUseMakesAFileForTheOwnerOnly()
    {
        const auto before = ::umask(0);
        const auto restore = qScopeGuard([before] { ::umask(before); });
        FileKeyStore store(path);

        const KeyRing ring = store.readOrCreate();

        QCOMPARE(ring.ids().size(), 1);
        QCOMPARE(modeOf(path), OwnerOnly);
    }

    void foldersAreMadeForTheOwnerOnly()
    {
        FileKeyStore store(folder->filePath(u"new/velmio/password.key"_s));

        store.readOrCreate();

        QVERIFY(QFile::exists(store.path()));
        QCOMPARE(modeOf(folder->filePath(u"new/velmio"_s)), mode_t(0700));
    }

    void umaskTakesNoRightFromTheOwner()
    {
        const auto before = ::umask(0777);
        const auto restore = qScopeGuard([before] { ::umask(before); });
        FileKeyStore store(folder->filePath(u"new/velmio/password.key"_s));

        store.readOrCreate();

        QCOMPARE(modeOf(folder->filePath(u"new"_s)), mode_t(0700));
        QCOMPARE(modeOf(folder->filePath(u"new/velmio"_s)), mode_t(0700));
        QCOMPARE(modeOf(store.path()), OwnerOnly);
    }

    // The process that created it was killed before it synced the folder, or has not come so far.
    void keyOfAnotherProcessIsDurableBeforeItEncrypts()
    {
        FileKeyStore(path).readOrCreate();
        QList<QByteArray> synced;
        const sync::test::SystemCallWatch watch([&](const sync::test::SystemCall& call) {
            if (call.name == "fsync")
                synced.append(call.path);
            return 0;
        });
        FileKeyStore store(path);

        store.read();
        QCOMPARE(synced, QList<QByteArray>());
        store.readOrCreate();
        store.readOrCreate();

        QCOMPARE(synced, QList<QByteArray>({nameOf(path), nameOf(folder->path())}));
    }

    void newKeyIsDurableWithItsFolders_data()
    {
        QTest::addColumn<bool>("folderExists");
        QTest::newRow("no folder") << false;
        // As a process leaves it that is killed before it has synced anything.
        QTest::newRow("a folder that was not synced") << true;
    }

    // On a file system that keeps nothing of a folder but what was synced.
    void newKeyIsDurableWithItsFolders()
    {
        QFETCH(const bool, folderExists);
        QSet<QByteArray> unsynced;
        const sync::test::SystemCallWatch watch([&](const sync::test::SystemCall& call) {
            if (call.name == "mkdir" || call.name == "link" || call.name == "rename")
                unsynced.insert(call.path);
            if (call.name == "fsync")
                unsynced.removeIf([&](const QByteArray& entry) {
                    return entry.left(entry.lastIndexOf('/')) == call.path;
                });
            return 0;
        });
        if (folderExists)
            QCOMPARE(::mkdir(nameOf(folder->filePath(u"new"_s)).constData(), 0700), 0);

        FileKeyStore(folder->filePath(u"new/velmio/password.key"_s)).readOrCreate();

        QCOMPARE(unsynced, QSet<QByteArray>());
    }

    void anotherStoreReadsTheSameKeys()
    {
        const KeyRing made = FileKeyStore(path).readOrCreate();

        const KeyRing read = FileKeyStore(path).readOrCreate();

        QCOMPARE(read.ids(), made.ids());
    }

    void addedKeyIsTheCurrentOneAndTheEarlierStays()
    {
        FileKeyStore store(path);
        const KeyId earlier = store.readOrCreate().current().id();

        store.change(addKey);

        const QList<KeyId> ids = FileKeyStore(path).read().ids();
        QCOMPARE(ids.size(), 2);
        QVERIFY(ids.at(0) != earlier);
        QCOMPARE(ids.at(1), earlier);
        QCOMPARE(modeOf(path), OwnerOnly);
    }

    void droppedKeyIsGoneFromTheFile()
    {
        FileKeyStore store(path);
        const KeyId earlier = store.readOrCreate().current().id();
        store.change(addKey);

        store.change([&earlier](const KeyRing& ring) { return ring.without({earlier}); });

        const KeyRing read = FileKeyStore(path).read();
        QCOMPARE(read.ids().size(), 1);
        QVERIFY(!read.find(earlier));
    }

    void changeThatThrowsLeavesTheFileAsItIs()
    {
        FileKeyStore store(path);
        store.readOrCreate();
        const QByteArray before = readFile(path);

        QVERIFY_THROWS_EXCEPTION(std::logic_error, store.change([](const KeyRing&) -> KeyRing {
            throw std::logic_error("stop");
        }));

        QCOMPARE(readFile(path), before);
        QCOMPARE(store.change(addKey).ids().size(), 2); // The lock was given back.
    }

    void changeToTheSameKeysDoesNotTouchTheFile()
    {
        FileKeyStore store(path);
        store.readOrCreate();
        struct stat before = {};
        QCOMPARE(::stat(nameOf(path).constData(), &before), 0);

        store.change([](const KeyRing& ring) { return ring; });

        struct stat after = {};
        QCOMPARE(::stat(nameOf(path).constData(), &after), 0);
        QCOMPARE(after.st_ino, before.st_ino);
    }

    void changeOfAnotherStoreIsSeen()
    {
        FileKeyStore store(path);
        store.readOrCreate();

        // Several, because the file system may reuse the number of a deleted file.
        for (int i = 0; i < 5; ++i) {
            const QList<KeyId> changed = FileKeyStore(path).change(addKey).ids();

            QCOMPARE(store.read().ids(), changed);
        }
    }

    void restoredFileIsSeen()
    {
        FileKeyStore store(path);
        const QList<KeyId> first = store.readOrCreate().ids();
        const QByteArray backup = readFile(path);
        store.change(addKey);

        writeFile(path, backup);

        QCOMPARE(store.read().ids(), first);
    }

    void noTemporaryFileStays()
    {
        FileKeyStore store(path);

        store.readOrCreate();
        store.change(addKey);

        const QStringList files = QDir(folder->path()).entryList(QDir::Files);
        QCOMPARE(files, QStringList{u"password.key"_s});
    }

    void leftTemporaryFileOfAKilledProcessIsIgnored()
    {
        writeFile(path + u".aBcDeF"_s, "half a ke");
        FileKeyStore store(path);

        const KeyRing ring = store.readOrCreate();

        QCOMPARE(FileKeyStore(path).read().ids(), ring.ids());
    }

    void fileThatOthersMayUseIsRefused_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("group reads") << 0640;
        QTest::newRow("group writes") << 0620;
        QTest::newRow("group runs") << 0610;
        QTest::newRow("others read") << 0604;
        QTest::newRow("others write") << 0602;
        QTest::newRow("others run") << 0601;
    }

    void fileThatOthersMayUseIsRefused()
    {
        QFETCH(int, mode);
        FileKeyStore store(path);
        store.readOrCreate();

        QCOMPARE(::chmod(nameOf(path).constData(), mode_t(mode)), 0);

        QCOMPARE(causeOf([&] { store.read(); }), KeyError::Cause::Unsafe);
        QCOMPARE(causeOf([&] { FileKeyStore(path).readOrCreate(); }), KeyError::Cause::Unsafe);
    }

    void symbolicLinkIsRefused()
    {
        const QString target = folder->filePath(u"elsewhere.key"_s);
        FileKeyStore(target).readOrCreate();
        QVERIFY(QFile::link(target, path));

        QCOMPARE(causeOf([&] { FileKeyStore(path).readOrCreate(); }), KeyError::Cause::Unsafe);
    }

    void danglingSymbolicLinkIsRefused()
    {
        const QString target = folder->filePath(u"elsewhere.key"_s);
        QVERIFY(QFile::link(target, path));

        QCOMPARE(causeOf([&] { FileKeyStore(path).readOrCreate(); }), KeyError::Cause::Unsafe);
        QVERIFY(!QFile::exists(target));
    }

    void directoryInPlaceOfTheFileIsRefused()
    {
        QVERIFY(QDir().mkpath(path));

        QCOMPARE(causeOf([&] { FileKeyStore(path).readOrCreate(); }), KeyError::Cause::Unsafe);
    }

    void pipeInPlaceOfTheFileIsRefused()
    {
        QCOMPARE(::mkfifo(nameOf(path).constData(), OwnerOnly), 0);

        QCOMPARE(causeOf([&] { FileKeyStore(path).readOrCreate(); }), KeyError::Cause::Unsafe);
    }

    void fileOfAnotherUserIsRefused()
    {
        // A process that may give files away creates one; all others use one of root's.
        QString foreign = u"/etc/passwd"_s;
        if (::geteuid() == 0) {
            FileKeyStore(path).readOrCreate();
            QCOMPARE(::chown(nameOf(path).constData(), 1, gid_t(-1)), 0);
            foreign = path;
        }

        QCOMPARE(causeOf([&] { FileKeyStore(foreign).read(); }), KeyError::Cause::Unsafe);
    }

    void folderThatOthersMayWriteToIsRefused_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("everybody") << 0777;
        QTest::newRow("everybody, sticky") << 01777;
    }

    void folderThatOthersMayWriteToIsRefused()
    {
        QFETCH(int, mode);
        const QString other = folder->filePath(u"other.key"_s);
        FileKeyStore(path).readOrCreate();
        QCOMPARE(::chmod(nameOf(folder->path()).constData(), mode_t(mode)), 0);

        QCOMPARE(
            textOf([&] { FileKeyStore(path).read(); }),
            u"The password key file \"%1\" is not used, because another user could exchange it: "
            "others may write to %2. Take that right away, or use a folder of your own."_s.arg(
                path, folder->path()));
        QCOMPARE(causeOf([&] { FileKeyStore(other).readOrCreate(); }), KeyError::Cause::Unsafe);
        QVERIFY(!QFile::exists(other));
    }

    void folderOfAnotherUserIsRefused()
    {
        FileKeyStore(path).readOrCreate();
        // Only root can give a folder away; anybody else owns it here.
        const bool given = ::chown(nameOf(folder->path()).constData(), 1, gid_t(-1)) == 0;

        const auto cause = causeOf([&] { FileKeyStore(path).read(); });

        QCOMPARE(cause == KeyError::Cause::Unsafe, given);
    }

    void fileOfTheWrongSizeIsDamaged_data()
    {
        QTest::addColumn<int>("removed");
        QTest::addColumn<QByteArray>("added");
        QTest::newRow("empty") << 1'000 << QByteArray();
        QTest::newRow("one byte less") << 1 << QByteArray();
        QTest::newRow("one byte more") << 0 << QByteArray("x");
        QTest::newRow("room for another key") << 0 << QByteArray(40, 'x');
        QTest::newRow("a megabyte more") << 0 << QByteArray(1 << 20, 'x');
    }

    void fileOfTheWrongSizeIsDamaged()
    {
        QFETCH(int, removed);
        QFETCH(QByteArray, added);
        FileKeyStore store(path);
        store.readOrCreate();
        const QByteArray content = readFile(path);

        writeFile(path, content.chopped(qMin(content.size(), qsizetype(removed))) + added);

        QCOMPARE(causeOf([&] { store.read(); }), KeyError::Cause::Damaged);
    }

    void everyFlippedBitOfTheFileIsDamage()
    {
        FileKeyStore(path).readOrCreate();
        const QByteArray content = readFile(path);

        for (qsizetype bit = 0; bit < content.size() * 8; ++bit) {
            QByteArray flipped = content;
            flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
            writeFile(path, flipped);

            QCOMPARE(causeOf([&] { FileKeyStore(path).read(); }), KeyError::Cause::Damaged);
        }
    }

    void refusedFileIsNotReplaced()
    {
        writeFile(path, "not a key");

        QCOMPARE(causeOf([&] { FileKeyStore(path).change(addKey); }), KeyError::Cause::Damaged);

        QCOMPARE(readFile(path), QByteArray("not a key"));
    }

    void fileThatCannotBeReadIsTold()
    {
        // A file where a folder should be: nobody can look below it, root included.
        writeFile(folder->filePath(u"file"_s), "x");
        FileKeyStore store(folder->filePath(u"file/password.key"_s));

        QCOMPARE(causeOf([&] { store.read(); }), KeyError::Cause::Other);
    }

    void placeThatCannotBeWrittenIsTold_data()
    {
        QTest::addColumn<QString>("place");
        QTest::newRow("a file in place of the folder") << u"%1/file/password.key"_s;
        QTest::newRow("a place that takes no folders") << u"/proc/velmio/password.key"_s;
        QTest::newRow("a place that takes no files") << u"/proc/self/fdinfo/password.key"_s;
    }

    void placeThatCannotBeWrittenIsTold()
    {
        QFETCH(QString, place);
        writeFile(folder->filePath(u"file"_s), "x");
        FileKeyStore store(place.arg(folder->path()));

        QCOMPARE(causeOf([&] { store.change(addKey); }), KeyError::Cause::NotWritable);
    }

    void errorsNameTheFileTheCauseAndTheRemedy()
    {
        writeFile(path, "not a key");

        try {
            FileKeyStore(path).read();
            QFAIL("nothing was thrown");
        } catch (const KeyError& error) {
            QCOMPARE(
                error.text(),
                u"The password key file \"%1\" is damaged. Restore it from a backup, or "
                "remove it and enter the passwords again."_s.arg(path));
        }
    }

    void eightRacingProcessesUseOneKey()
    {
        for (int round = 0; round < 10; ++round) {
            const QString fresh = folder->filePath(u"%1/password.key"_s.arg(round));

            const QList<QByteArray> ids =
                race(8, [&] { return FileKeyStore(fresh).readOrCreate().current().id(); });

            const KeyId winner = FileKeyStore(fresh).read().current().id();
            QCOMPARE(ids, QList<QByteArray>(8, winner));
        }
    }

    void eightRacingThreadsUseOneKey()
    {
        FileKeyStore store(path);
        QList<QByteArray> ids(8);
        std::vector<std::thread> threads;

        for (QByteArray& id : ids)
            threads.emplace_back([&store, &id] { id = store.readOrCreate().current().id(); });
        for (std::thread& thread : threads)
            thread.join();

        QCOMPARE(ids, QList<QByteArray>(8, FileKeyStore(path).read().current().id()));
    }

    void eightRacingProcessesAddTheirKeysOneAfterTheOther()
    {
        const KeyId first = FileKeyStore(path).readOrCreate().current().id();

        QList<QByteArray> added =
            race(8, [&] { return FileKeyStore(path).change(addKey).current().id(); });

        QList<QByteArray> expected = added << first;
        QList<QByteArray> stored = FileKeyStore(path).read().ids();
        std::sort(expected.begin(), expected.end());
        std::sort(stored.begin(), stored.end());
        QCOMPARE(stored, expected);
    }

    void lockOfALivingProcessIsWaitedForForFiveSeconds()
    {
        QLockFile other(path + u".lock"_s);
        QVERIFY(other.lock());
        QElapsedTimer timer;
        timer.start();

        const QString text = textOf([&] { FileKeyStore(path).readOrCreate(); });

        QVERIFY2(timer.elapsed() >= 5'000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(
            text, lockedText(::getpid(), u"TestKeyStore"_s, QSysInfo::machineHostName(), 5'000));
        other.unlock();
        QCOMPARE(FileKeyStore(path).readOrCreate().ids().size(), 1);
    }

    void lockOfAKilledProcessIsIgnored()
    {
        const QString lockPath = path + u".lock"_s;
        if (const pid_t child = ::fork(); child != 0) {
            QCOMPARE(::waitpid(child, nullptr, 0), child);
        } else {
            QLockFile lock(lockPath);
            lock.lock();
            ::_exit(0);
        }
        QVERIFY(QFile::exists(lockPath));

        QCOMPARE(FileKeyStore(path).readOrCreate().ids().size(), 1);
    }

    // Its process cannot be seen from here, or does not exist since the host got another name.
    void lockOfAnotherHostIsNamedWithTheRemedy()
    {
        writeFile(path + u".lock"_s, "4711\nclient\nelsewhere\nanother machine's id\n\n");
        QLockFile lock(path + u".lock"_s);

        const QString text = textOf([&] { lockKeys(lock, 0s); });

        QCOMPARE(text, lockedText(4711, u"client"_s, u"elsewhere"_s, 0));
    }

    // Another process of the same program has the id of one that was killed.
    void lockWithAReusedProcessIdIsNamedWithTheRemedy()
    {
        const QByteArray host = QSysInfo::machineHostName().toLocal8Bit();
        writeFile(
            path + u".lock"_s, QByteArray::number(::getpid()) + "\nTestKeyStore\n" + host + '\n' +
                                   QSysInfo::machineUniqueId() + '\n' + QSysInfo::bootUniqueId() +
                                   '\n');
        QLockFile lock(path + u".lock"_s);

        const QString text = textOf([&] { lockKeys(lock, 0s); });

        QCOMPARE(text, lockedText(::getpid(), u"TestKeyStore"_s, QSysInfo::machineHostName(), 0));
    }

    void lockThatIsNoFileIsRefusedAtOnce_data()
    {
        QTest::addColumn<QString>("kind");
        for (const auto& kind : {u"pipe"_s, u"folder"_s, u"link"_s})
            QTest::newRow(qPrintable(kind)) << kind;
    }

    void lockThatIsNoFileIsRefusedAtOnce()
    {
        QFETCH(QString, kind);
        const QByteArray lock = nameOf(path + u".lock"_s);
        const int made = kind == u"pipe"     ? ::mkfifo(lock.constData(), OwnerOnly)
                         : kind == u"folder" ? ::mkdir(lock.constData(), 0700)
                                             : ::symlink("/dev/zero", lock.constData());
        QCOMPARE(made, 0);

        QCOMPARE(
            textOf([&] { FileKeyStore(path).readOrCreate(); }),
            u"The lock file \"%1.lock\" of the password keys is not a regular file. Remove what is "
            "in its place."_s.arg(path));
    }

    void lockOfAnotherUserIsRefusedAtOnce()
    {
        QLockFile other(path + u".lock"_s);
        QVERIFY(other.lock());
        if (::chown(nameOf(other.fileName()).constData(), 1, gid_t(-1)) != 0)
            other.unlock(); // Only root can give a file away.

        const QString text = textOf([&] { FileKeyStore(path).readOrCreate(); });

        const QString refusal =
            u"The password keys are locked by another user: %1.lock belongs to "
            "the user with the id 1. Remove it if you do not know it."_s.arg(path);
        QCOMPARE(text, ::geteuid() == 0 ? refusal : QString());
    }

    void lockThatNamesNoProcessIsTold()
    {
        writeFile(path + u".lock"_s, "");
        QLockFile lock(path + u".lock"_s);

        const QString text = textOf([&] { lockKeys(lock, 0s); });

        QCOMPARE(
            text, u"The lock file \"%1.lock\" of the password keys names no process. Remove it if "
                  "no other program is changing the keys."_s.arg(path));
    }

    void handedOverKeysAreUsedAsGiven()
    {
        const QByteArray current(32, 'c');
        const QByteArray earlier(32, 'e');
        const QByteArray earliest(32, 'f');

        HostKeyStore store(current, {earlier, earliest});

        const QList<KeyId> expected{
            HostKeyStore(current).read().current().id(),
            HostKeyStore(earlier).read().current().id(),
            HostKeyStore(earliest).read().current().id()};
        QCOMPARE(store.readOrCreate().ids(), expected);
        QCOMPARE(store.backend(), KeyBackend::Host);
        const SecureBytes& bytes = store.read().current().bytes();
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(bytes.data()), 32), current);
    }

    void handedOverKeyOfTheWrongSizeIsRefused()
    {
        const QByteArray key(32, 'k');

        for (const int size : {0, 1, 31, 33, 64}) {
            const QByteArray wrong(size, 'w');

            QCOMPARE(causeOf([&] { HostKeyStore store(wrong); }), KeyError::Cause::Damaged);
            QCOMPARE(causeOf([&] { HostKeyStore store(key, {wrong}); }), KeyError::Cause::Damaged);
        }
    }

    void handedOverKeysAreNotChanged()
    {
        HostKeyStore store(QByteArray(32, 'k'));
        const QList<KeyId> before = store.read().ids();

        QCOMPARE(causeOf([&] { store.change(addKey); }), KeyError::Cause::HandedOver);

        QCOMPARE(store.read().ids(), before);
    }

private:
    QString lockedText(qint64 process, const QString& program, const QString& host, int ms) const
    {
        return u"The password keys are locked: process %1 (%2 on %3) has not released the lock "
               "file \"%4.lock\" for %5 ms. Wait for that process, or end it. If it does not exist "
               "or does not change the keys, remove the lock file."_s.arg(
                   QString::number(process), program, host, path, QString::number(ms));
    }

    std::unique_ptr<QTemporaryDir> folder;
    QString path;
};

QTEST_APPLESS_MAIN(TestKeyStore)
#include "TestKeyStore.moc"
