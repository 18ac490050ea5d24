#include <database/opening/WalSupport.h>

#include <support/CapturedWarnings.h>
#include <support/RawDatabase.h>

#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/opening/StoreOpening.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::hasSharedMemory;
using sync::database::isNetworkFileSystem;
using sync::database::SqliteDatabaseFactory;
using sync::database::StoreOpening;
using sync::test::CapturedWarnings;
using sync::test::RawDatabase;

namespace {

// A VFS whose files share memory as the test chooses.
enum class Sharing { Works, IsUnknown, FailsToMap, FailsToLock };
Sharing sharing = Sharing::Works;

sqlite3_io_methods realMethods;
sqlite3_io_methods methodsWithFailure;
sqlite3_io_methods methodsWithoutSharing;
sqlite3_vfs vfs;

int mapSharedMemory(sqlite3_file* file, int page, int size, int extend, void volatile** memory)
{
    return sharing == Sharing::FailsToMap ? SQLITE_IOERR_SHMMAP
                                          : realMethods.xShmMap(file, page, size, extend, memory);
}

int lockSharedMemory(sqlite3_file* file, int offset, int count, int flags)
{
    return sharing == Sharing::FailsToLock ? SQLITE_IOERR_SHMLOCK
                                           : realMethods.xShmLock(file, offset, count, flags);
}

int open(sqlite3_vfs* /*vfs*/, sqlite3_filename name, sqlite3_file* file, int flags, int* outFlags)
{
    sqlite3_vfs* const real = static_cast<sqlite3_vfs*>(vfs.pAppData);
    const int result = real->xOpen(real, name, file, flags, outFlags);
    if (result != SQLITE_OK || (flags & SQLITE_OPEN_MAIN_DB) == 0)
        return result;
    realMethods = *file->pMethods;
    methodsWithoutSharing = realMethods;
    methodsWithoutSharing.iVersion = 1;
    methodsWithFailure = realMethods;
    methodsWithFailure.xShmMap = mapSharedMemory;
    methodsWithFailure.xShmLock = lockSharedMemory;
    file->pMethods = sharing == Sharing::IsUnknown ? &methodsWithoutSharing : &methodsWithFailure;
    return SQLITE_OK;
}

bool add(SqliteDatabaseFactory& factory, const QString& alias)
{
    const auto query = factory.CreateQuery();
    query->prepare(u"INSERT INTO ServerConfiguration (alias) VALUES (:alias)"_s);
    query->bindValue(u":alias"_s, alias);
    return query->exec();
}

QString valueOf(SqliteDatabaseFactory& factory, const QString& sql)
{
    const auto query = factory.CreateQuery();
    query->prepare(sql);
    return query->exec() && query->next() ? query->value(0).toString() : query->lastError();
}

const QString CountServers = u"SELECT count(*) FROM ServerConfiguration"_s;

QByteArray networkType(const QString& /*path*/)
{
    return "nfs4";
}

} // namespace

class TestWalSupport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { sharing = Sharing::Works; }

    void networkFileSystemsAreKnown_data();
    void networkFileSystemsAreKnown();
    void sharedMemoryIsTried_data();
    void sharedMemoryIsTried();
    void tryingLeavesNothingBehind();
    void newStoreWithoutSharedMemoryHasAJournal_data() { addPlaces(); }
    void newStoreWithoutSharedMemoryHasAJournal();
    void storeWithALogGoesOnWithAJournal_data() { addPlaces(); }
    void storeWithALogGoesOnWithAJournal();
    void logThatOthersHaveOpenIsNotConverted();
    void earlierVersionIsMigratedWithAJournal();
    void newerVersionKeepsItsLog();
    void threadsWriteAndReadWithAJournal();
    void storeGetsItsLogBackInABetterPlace();
    void networkStoreIsUsedWithAJournal();
    void networkStoreIsUsedByTwoAtOnce();

private:
    static void addPlaces();
    // A closed store with one server, whose WAL was not removed.
    void makeStoreWithLog() const;

    std::unique_ptr<QTemporaryDir> folder;
    QString path;
};

void TestWalSupport::initTestCase()
{
    sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
    vfs = *real;
    vfs.zName = "sharing";
    vfs.pAppData = real;
    vfs.xOpen = open;
    sqlite3_vfs_register(&vfs, 1);
}

void TestWalSupport::init()
{
    folder = std::make_unique<QTemporaryDir>();
    path = folder->filePath(u"store.db"_s);
}

void TestWalSupport::addPlaces()
{
    QTest::addColumn<int>("place");
    QTest::newRow("unknown to the VFS") << int(Sharing::IsUnknown);
    QTest::newRow("no mapping") << int(Sharing::FailsToMap);
    QTest::newRow("no locks") << int(Sharing::FailsToLock);
}

void TestWalSupport::makeStoreWithLog() const
{
    add(*SqliteDatabaseFactory::open(path), u"kept"_s);
    RawDatabase(path).run(u"INSERT INTO ServerConfiguration (alias) VALUES ('in the log')"_s);
    QVERIFY(QFileInfo(path + u"-wal"_s).size() > 0);
}

void TestWalSupport::networkFileSystemsAreKnown_data()
{
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<bool>("network");
    for (const char* const type :
         {"nfs", "nfs4", "cifs", "smb3", "smbfs", "9p", "fuse.sshfs", "fuse.glusterfs", "ceph",
          "afpfs", "webdav", "vboxsf", "virtiofs", "ocfs2", "gfs2"})
        QTest::newRow(type) << QByteArray(type) << true;
    for (const char* const type :
         {"ext4", "ext2", "xfs", "btrfs", "tmpfs", "overlay", "zfs", "apfs", "hfs", "f2fs", "vfat",
          "fuseblk", "fuse.encfs", "ntfs3", "nfsd", ""})
        QTest::newRow(*type ? type : "unknown") << QByteArray(type) << false;
}

void TestWalSupport::networkFileSystemsAreKnown()
{
    QFETCH(const QByteArray, type);
    QFETCH(const bool, network);

    QCOMPARE(isNetworkFileSystem(type), network);
}

void TestWalSupport::sharedMemoryIsTried_data()
{
    addPlaces();
    QTest::newRow("working") << int(Sharing::Works);
}

void TestWalSupport::sharedMemoryIsTried()
{
    QFETCH(const int, place);
    RawDatabase(path).run(u"CREATE TABLE a (b)"_s);
    sharing = static_cast<Sharing>(place);

    QCOMPARE(hasSharedMemory(path), sharing == Sharing::Works);
}

void TestWalSupport::tryingLeavesNothingBehind()
{
    RawDatabase(path).run(u"CREATE TABLE a (b)"_s);
    QVERIFY(hasSharedMemory(path));
    QCOMPARE(QDir(folder->path()).entryList(QDir::Files), QStringList{u"store.db"_s});

    // The index of a WAL in use stays.
    RawDatabase user(path);
    user.run(u"PRAGMA journal_mode = WAL; INSERT INTO a VALUES (1)"_s);
    QVERIFY(hasSharedMemory(path));
    QVERIFY(QFile::exists(path + u"-shm"_s));
}

void TestWalSupport::newStoreWithoutSharedMemoryHasAJournal()
{
    QFETCH(const int, place);
    sharing = static_cast<Sharing>(place);
    const CapturedWarnings log;

    const auto factory = SqliteDatabaseFactory::open(path);

    QVERIFY(add(*factory, u"a"_s));
    QCOMPARE(valueOf(*factory, CountServers), u"1"_s);
    QVERIFY(!factory->hasWriteAheadLog());
    QCOMPARE(RawDatabase(path).value(u"PRAGMA journal_mode"_s), u"delete"_s);
    QCOMPARE(valueOf(*factory, u"PRAGMA synchronous"_s), u"3"_s); // EXTRA
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().constFirst().contains(u"share memory"_s));
    QCOMPARE(factory->warnings().size(), 1);
    QVERIFY(add(*SqliteDatabaseFactory::open(path), u"b"_s));
    QCOMPARE(log.texts().size(), 2);
}

void TestWalSupport::storeWithALogGoesOnWithAJournal()
{
    QFETCH(const int, place);
    makeStoreWithLog();
    sharing = static_cast<Sharing>(place);
    const CapturedWarnings log;

    const auto factory = SqliteDatabaseFactory::open(path);

    QCOMPARE(valueOf(*factory, CountServers), u"2"_s);
    QVERIFY(add(*factory, u"a"_s));
    QVERIFY(!factory->hasWriteAheadLog());
    QCOMPARE(RawDatabase(path).value(u"PRAGMA journal_mode"_s), u"delete"_s);
    QVERIFY(!QFile::exists(path + u"-wal"_s));
    QCOMPARE(log.texts().size(), 1);
}

void TestWalSupport::logThatOthersHaveOpenIsNotConverted()
{
    makeStoreWithLog();
    RawDatabase other(path);
    other.run(CountServers);
    sharing = Sharing::IsUnknown;

    try {
        SqliteDatabaseFactory::open(path);
        QFAIL("open() took it");
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), DatabaseError::Cause::Busy);
    }

    other.run(u"INSERT INTO ServerConfiguration (alias) VALUES ('still there')"_s);
    QCOMPARE(other.value(u"PRAGMA journal_mode"_s), u"wal"_s);
}

void TestWalSupport::earlierVersionIsMigratedWithAJournal()
{
    QVERIFY(QFile::copy(QStringLiteral(VELMIO_TEST_DATA "/version-1.db"), path));
    sharing = Sharing::IsUnknown;
    const CapturedWarnings log;

    const auto factory = SqliteDatabaseFactory::open(path);

    QCOMPARE(
        valueOf(*factory, u"PRAGMA user_version"_s),
        QString::number(SqliteDatabaseFactory::schemaVersion()));
    QCOMPARE(valueOf(*factory, CountServers), u"2"_s);
}

void TestWalSupport::newerVersionKeepsItsLog()
{
    makeStoreWithLog();
    RawDatabase(path).run(
        u"PRAGMA user_version = 99; UPDATE StoreIdentity SET lastCompatibleVersion = 99"_s);
    const qint64 bytes = QFileInfo(path + u"-wal"_s).size();
    sharing = Sharing::IsUnknown;

    try {
        SqliteDatabaseFactory::open(path);
        QFAIL("open() took it");
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), DatabaseError::Cause::TooNew);
    }

    QCOMPARE(QFileInfo(path + u"-wal"_s).size(), bytes);
}

void TestWalSupport::threadsWriteAndReadWithAJournal()
{
    sharing = Sharing::IsUnknown;
    const CapturedWarnings log;
    const auto factory = SqliteDatabaseFactory::open(path);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&factory] {
            for (int round = 0; round < 20; ++round) {
                add(*factory, u"a"_s);
                valueOf(*factory, CountServers);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();

    QCOMPARE(factory->failureCount(), 0);
    QCOMPARE(valueOf(*factory, CountServers), u"60"_s);
}

void TestWalSupport::storeGetsItsLogBackInABetterPlace()
{
    {
        const CapturedWarnings log;
        sharing = Sharing::FailsToMap;
        SqliteDatabaseFactory::open(path);
    }
    sharing = Sharing::Works;

    const auto factory = SqliteDatabaseFactory::open(path);

    QVERIFY(factory->hasWriteAheadLog());
    QCOMPARE(RawDatabase(path).value(u"PRAGMA journal_mode"_s), u"wal"_s);
    QVERIFY(factory->warnings().isEmpty());
}

void TestWalSupport::networkStoreIsUsedWithAJournal()
{
    makeStoreWithLog();

    const auto opened = StoreOpening(path, {}, networkType).open();

    QCOMPARE(opened.warnings.size(), 1);
    QVERIFY(opened.warnings.constFirst().contains(u"nfs4"_s));
    RawDatabase raw(path);
    QCOMPARE(raw.value(u"PRAGMA journal_mode"_s), u"delete"_s);
    QCOMPARE(raw.value(CountServers), u"2"_s);
}

void TestWalSupport::networkStoreIsUsedByTwoAtOnce()
{
    const auto one = StoreOpening(path, {}, networkType).open();
    const auto other = StoreOpening(path, {}, networkType).open();

    const auto run = [](const auto& opened, const char* sql) {
        return sqlite3_exec(opened.connection.get(), sql, nullptr, nullptr, nullptr);
    };
    QCOMPARE(run(one, "INSERT INTO ServerConfiguration (alias) VALUES ('a')"), SQLITE_OK);
    QCOMPARE(run(other, "INSERT INTO ServerConfiguration (alias) VALUES ('b')"), SQLITE_OK);
    QCOMPARE(RawDatabase(path).value(CountServers), u"2"_s);
}

QTEST_GUILESS_MAIN(TestWalSupport)
#include "TestWalSupport.moc"
