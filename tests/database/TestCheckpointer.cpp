#include <database/pool/Checkpointer.h>

#include <support/RawDatabase.h>

#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;
using sync::database::Checkpointer;
using sync::test::RawDatabase;
using namespace std::chrono_literals;

namespace {

// A VFS that asks a question at each write to the database file itself. In this journal mode only a
// checkpoint writes there, so the answers show the state during a checkpoint.
struct Spy
{
    std::function<void()> onDatabaseWrite;
} spy;

struct SpyFile
{
    sqlite3_file base;
    bool isDatabase;
};

int (*realWrite)(sqlite3_file*, const void*, int, sqlite3_int64) = nullptr;
sqlite3_io_methods spyMethods;
sqlite3_vfs spyVfs;

int spyWrite(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset)
{
    if (spy.onDatabaseWrite)
        spy.onDatabaseWrite();
    return realWrite(file, bytes, count, offset);
}

int spyOpen(
    sqlite3_vfs* /*vfs*/, sqlite3_filename name, sqlite3_file* file, int flags, int* outFlags)
{
    sqlite3_vfs* const real = static_cast<sqlite3_vfs*>(spyVfs.pAppData);
    const int result = real->xOpen(real, name, file, flags, outFlags);
    if (result == SQLITE_OK && (flags & SQLITE_OPEN_MAIN_DB) != 0) {
        spyMethods = *file->pMethods;
        realWrite = spyMethods.xWrite;
        spyMethods.xWrite = spyWrite;
        file->pMethods = &spyMethods;
    }
    return result;
}

void installSpy()
{
    sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
    spyVfs = *real;
    spyVfs.zName = "spy";
    spyVfs.pAppData = real;
    spyVfs.xOpen = spyOpen;
    sqlite3_vfs_register(&spyVfs, 1);
}

} // namespace

class TestCheckpointer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { installSpy(); }
    void init();
    void cleanup() { spy.onDatabaseWrite = nullptr; }

    void copiesTheLogIntoTheFile();
    void nobodyCanWriteWhileItRuns();
    void doesNotRunWhileSomebodyKeepsWriting();
    void waitsForTheWriter();
    void aPatientOneWaitsForTheReaderOfTheOldLog();

private:
    qint64 fileSize() const { return QFileInfo(path).size(); }

    std::unique_ptr<QTemporaryDir> folder;
    QString path;
};

void TestCheckpointer::init()
{
    folder = std::make_unique<QTemporaryDir>();
    path = folder->filePath(u"store.db"_s);
    RawDatabase(path).run(
        u"PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0; CREATE TABLE a (b);"
        u"INSERT INTO a VALUES (zeroblob(100000))"_s);
    QVERIFY(fileSize() < 100000);
}

void TestCheckpointer::copiesTheLogIntoTheFile()
{
    QVERIFY(Checkpointer(path).run(0ms));

    QVERIFY(fileSize() > 100000);
}

void TestCheckpointer::nobodyCanWriteWhileItRuns()
{
    int questions = 0;
    int writersLetIn = 0;
    RawDatabase other(path);
    other.run(u"SELECT count(*) FROM a"_s);
    spy.onDatabaseWrite = [&] {
        ++questions;
        writersLetIn += other.tryRun("BEGIN IMMEDIATE") ? 1 : 0;
    };

    QVERIFY(Checkpointer(path).run(0ms));

    QVERIFY(questions > 20);
    QCOMPARE(writersLetIn, 0);
    spy.onDatabaseWrite = nullptr;
    QVERIFY(other.tryRun("BEGIN IMMEDIATE; ROLLBACK"));
}

void TestCheckpointer::doesNotRunWhileSomebodyKeepsWriting()
{
    const qint64 before = fileSize();
    RawDatabase writer(path);
    writer.run(u"BEGIN IMMEDIATE"_s);

    QVERIFY(!Checkpointer(path).run(0ms));

    QCOMPARE(fileSize(), before);
}

void TestCheckpointer::waitsForTheWriter()
{
    RawDatabase writer(path);
    writer.run(u"BEGIN IMMEDIATE; INSERT INTO a VALUES (1)"_s);
    Checkpointer checkpointer(path);
    std::atomic<bool> committed = false;
    std::atomic<bool> ranEarly = false;
    std::atomic<bool> ran = false;

    std::thread waiting([&] {
        ran = checkpointer.run(0ms);
        ranEarly = ran && !committed;
    });
    QTest::qWait(20);
    committed = true;
    writer.run(u"COMMIT"_s);
    waiting.join();

    QVERIFY(ran);
    QVERIFY(!ranEarly);
    QVERIFY(fileSize() > 100000);
}

void TestCheckpointer::aPatientOneWaitsForTheReaderOfTheOldLog()
{
    RawDatabase reader(path);
    reader.run(u"BEGIN; SELECT count(*) FROM a"_s);
    RawDatabase(path).run(u"INSERT INTO a VALUES (zeroblob(200000))"_s);
    QVERIFY(Checkpointer(path).run(0ms));
    QVERIFY(fileSize() < 300000);
    Checkpointer checkpointer(path);

    std::thread waiting([&] { checkpointer.run(300ms); });
    reader.run(u"COMMIT"_s);
    waiting.join();

    QVERIFY(fileSize() > 300000);
}

QTEST_GUILESS_MAIN(TestCheckpointer)
#include "TestCheckpointer.moc"
