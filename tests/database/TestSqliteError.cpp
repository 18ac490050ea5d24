#include <database/SqliteDatabaseFactory.h>
#include <database/connection/SqliteError.h>
#include <database/connection/SqliteHandle.h>

#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>
#include <support/RawDatabase.h>

#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <dlfcn.h>
#include <sys/statvfs.h>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::databaseError;
using sync::database::failureOf;
using sync::database::openConnection;
using sync::database::SqliteDatabaseFactory;
using sync::test::RawDatabase;
using Cause = DatabaseError::Cause;

Q_DECLARE_METATYPE(DatabaseError::Cause)

namespace {

// A VFS that fails a chosen operation on a database file.
struct Refusal
{
    enum Operation { None, Read, Write, Lock, MapSharedMemory };
    Operation operation = None;
    int result = SQLITE_OK;
    int systemError = 0;
} refusal;

bool withoutInodes = false;

sqlite3_io_methods realMethods;
sqlite3_io_methods methods;
sqlite3_vfs vfs;

bool refuses(Refusal::Operation operation)
{
    if (refusal.operation == operation)
        errno = refusal.systemError;
    return refusal.operation == operation;
}

int read(sqlite3_file* file, void* bytes, int count, sqlite3_int64 offset)
{
    return refuses(Refusal::Read) ? refusal.result : realMethods.xRead(file, bytes, count, offset);
}

int write(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset)
{
    return refuses(Refusal::Write) ? refusal.result
                                   : realMethods.xWrite(file, bytes, count, offset);
}

int lock(sqlite3_file* file, int level)
{
    return refuses(Refusal::Lock) ? refusal.result : realMethods.xLock(file, level);
}

int mapSharedMemory(sqlite3_file* file, int page, int size, int extend, void volatile** memory)
{
    return refuses(Refusal::MapSharedMemory)
               ? refusal.result
               : realMethods.xShmMap(file, page, size, extend, memory);
}

int open(sqlite3_vfs* /*vfs*/, sqlite3_filename name, sqlite3_file* file, int flags, int* outFlags)
{
    sqlite3_vfs* const real = static_cast<sqlite3_vfs*>(vfs.pAppData);
    const int result = real->xOpen(real, name, file, flags, outFlags);
    if (result == SQLITE_OK && (flags & SQLITE_OPEN_MAIN_DB) != 0) {
        realMethods = *file->pMethods;
        methods = realMethods;
        methods.xRead = read;
        methods.xWrite = write;
        methods.xLock = lock;
        methods.xShmMap = mapSharedMemory;
        file->pMethods = &methods;
    }
    return result;
}

} // namespace

// Replaces the function of the system, because symbols are looked up in the program first.
extern "C" Q_DECL_EXPORT int statvfs(const char* path, struct statvfs* status)
{
    using Function = int (*)(const char*, struct statvfs*);
    static const auto original = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "statvfs"));
    const int result = original(path, status);
    if (withoutInodes) {
        status->f_files = 1000;
        status->f_favail = 0;
    }
    return result;
}

class TestSqliteError : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup()
    {
        refusal = {};
        withoutInodes = false;
    }

    void failuresOfTheSystemAreToldApart_data();
    void failuresOfTheSystemAreToldApart();
    void missingInodesAreAFullDisk();
    void textSaysWhatHappenedAndWhatToDo();
    void anotherWriterIsBusy();
    void aFileThatIsGoneSaysSo();
    void aTableWithoutAnIdIsNoFullDisk();
};

void TestSqliteError::initTestCase()
{
    sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
    vfs = *real;
    vfs.zName = "refusing";
    vfs.pAppData = real;
    vfs.xOpen = open;
    sqlite3_vfs_register(&vfs, 1);
}

void TestSqliteError::failuresOfTheSystemAreToldApart_data()
{
    QTest::addColumn<int>("operation");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("systemError");
    QTest::addColumn<Cause>("cause");
    QTest::addColumn<QString>("remedy");
    QTest::newRow("disk full") << int(Refusal::Write) << SQLITE_FULL << ENOSPC << Cause::DiskFull
                               << u"free some space"_s;
    QTest::newRow("no room for the index of the log")
        << int(Refusal::MapSharedMemory) << SQLITE_IOERR_SHMSIZE << EIO << Cause::DiskFull
        << u"free some space"_s;
    QTest::newRow("I/O error") << int(Refusal::Read) << SQLITE_IOERR_READ << EIO
                               << Cause::InputOutput << u"check the disk"_s;
    QTest::newRow("locked") << int(Refusal::Lock) << SQLITE_BUSY << EAGAIN << Cause::Busy
                            << u"try again"_s;
    QTest::newRow("log that others keep opening")
        << int(Refusal::MapSharedMemory) << SQLITE_PROTOCOL << 0 << Cause::Busy << u"try again"_s;
    QTest::newRow("no right to the index of the log")
        << int(Refusal::MapSharedMemory) << SQLITE_CANTOPEN << EACCES << Cause::NoPermission
        << u"you may read and write"_s;
    QTest::newRow("no room for the file of the log's index")
        << int(Refusal::MapSharedMemory) << SQLITE_CANTOPEN << ENOSPC << Cause::DiskFull
        << u"free some space"_s;
    QTest::newRow("read-only place") << int(Refusal::MapSharedMemory) << SQLITE_CANTOPEN << EROFS
                                     << Cause::ReadOnly << u"writable"_s;
    QTest::newRow("damaged file system") << int(Refusal::Read) << SQLITE_IOERR_CORRUPTFS << EIO
                                         << Cause::InputOutput << u"check the disk"_s;
    QTest::newRow("damaged") << int(Refusal::Read) << SQLITE_CORRUPT << 0 << Cause::Damaged
                             << u"backup"_s;
    QTest::newRow("out of memory")
        << int(Refusal::Read) << SQLITE_NOMEM << 0 << Cause::Other << u"memory"_s;
}

void TestSqliteError::failuresOfTheSystemAreToldApart()
{
    QFETCH(const int, operation);
    QFETCH(const int, result);
    QFETCH(const int, systemError);
    QFETCH(const Cause, cause);
    QFETCH(const QString, remedy);
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"store.db"_s);
    RawDatabase(path).run(u"PRAGMA journal_mode = %1; CREATE TABLE a (b)"_s.arg(
        operation == Refusal::MapSharedMemory ? u"WAL"_s : u"DELETE"_s));
    RawDatabase database(path);
    refusal = {static_cast<Refusal::Operation>(operation), result, systemError};

    QVERIFY(!database.tryRun("INSERT INTO a VALUES (1)"));

    const auto error = databaseError(database.handle(), path);
    QCOMPARE(error.cause(), cause);
    QVERIFY2(error.text().contains(remedy), error.what());
    QVERIFY2(error.text().contains(path), error.what());
    QVERIFY(error.reason().contains(remedy));
}

void TestSqliteError::missingInodesAreAFullDisk()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"store.db"_s);
    RawDatabase(path).run(u"PRAGMA journal_mode = WAL; CREATE TABLE a (b)"_s);
    RawDatabase database(path);
    // The system's error is that of SQLite's second try, to open what it could not create.
    refusal = {Refusal::MapSharedMemory, SQLITE_CANTOPEN, ENOENT};
    withoutInodes = true;

    QVERIFY(!database.tryRun("INSERT INTO a VALUES (1)"));

    QCOMPARE(failureOf(database.handle()).cause, Cause::DiskFull);
    QVERIFY(failureOf(database.handle()).text.contains(u"no room for another file"_s));
}

void TestSqliteError::textSaysWhatHappenedAndWhatToDo()
{
    const QTemporaryDir folder;
    RawDatabase database(folder.filePath(u"store.db"_s));
    refusal = {Refusal::Lock, SQLITE_BUSY, EAGAIN};
    QVERIFY(!database.tryRun("CREATE TABLE a (b)"));

    QCOMPARE(
        failureOf(database.handle()).text,
        u"database is locked (SQLite error 5). Another process or thread has been writing to it "
        u"for more than 5 s: try again, or end that process."_s);
    QCOMPARE(
        databaseError(database.handle(), u"/a/b.db"_s).text(),
        u"The database /a/b.db cannot be used: database is locked (SQLite error 5). Another "
        u"process or thread has been writing to it for more than 5 s: try again, or end that "
        u"process."_s);
}

void TestSqliteError::anotherWriterIsBusy()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"store.db"_s);
    RawDatabase writer(path);
    writer.run(u"PRAGMA journal_mode = WAL; CREATE TABLE a (b); BEGIN IMMEDIATE"_s);
    RawDatabase other(path);

    QVERIFY(!other.tryRun("INSERT INTO a VALUES (1)"));

    QCOMPARE(failureOf(other.handle()).cause, Cause::Busy);
}

void TestSqliteError::aTableWithoutAnIdIsNoFullDisk()
{
    const QTemporaryDir directory;
    const auto factory = SqliteDatabaseFactory::open(directory.filePath(u"store.db"_s));
    const auto run = [&factory](const QString& sql) {
        const auto query = factory->CreateQuery();
        return query->prepare(sql) && query->exec();
    };
    QVERIFY(run(u"UPDATE sqlite_sequence SET seq = 9223372036854775807"_s));

    const bool alone = run(u"INSERT INTO Schedules (folderConfigurationId) VALUES (1)"_s);
    const auto failure = factory->lastFailure();
    const auto database = factory->GetDatabase();
    QVERIFY(database->transaction());
    const bool inTransaction = run(u"INSERT INTO Schedules (folderConfigurationId) VALUES (1)"_s);
    const auto failureThen = factory->lastFailure();
    QVERIFY(database->rollback());

    QVERIFY(!alone && !inTransaction);
    for (const auto& found : {failure, failureThen}) {
        QCOMPARE(found->cause, Cause::IdsUsedUp);
        QVERIFY2(found->text.startsWith(u"No id is left"), qPrintable(found->text));
    }
}

void TestSqliteError::aFileThatIsGoneSaysSo()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"store.db"_s);
    RawDatabase database(path);
    database.run(u"CREATE TABLE a (b)"_s);
    QVERIFY(QFile::rename(path, path + u".away"_s));

    QVERIFY(!database.tryRun("INSERT INTO a VALUES (1)"));

    QCOMPARE(failureOf(database.handle()).cause, Cause::ReadOnly);
    QVERIFY(failureOf(database.handle()).text.contains(u"moved"_s));
}

QTEST_GUILESS_MAIN(TestSqliteError)
#include "TestSqliteError.moc"
