#include <database/opening/LockHolder.h>

#include <support/RawDatabase.h>

#include <base/system/linux/ProcLocks.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>

#include <QLoggingCategory>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <sys/sysmacros.h>

using namespace Qt::StringLiterals;
using sync::base::locksIn;
using sync::database::DatabaseError;
using sync::database::lockHolderOf;
using sync::database::lockingProcess;
using sync::database::SqliteDatabaseFactory;
using sync::database::walReaderOf;
using sync::test::RawDatabase;

namespace {

/// A second process that has run SQL on a database and keeps its transaction open.
class Holder
{
public:
    Holder(const QString& database, const QString& sql)
    {
        process.start(QCoreApplication::applicationFilePath(), {u"--hold"_s, database, sql});
        held = process.waitForReadyRead();
    }
    ~Holder()
    {
        process.closeWriteChannel();
        process.waitForFinished();
    }

    QProcess process;
    bool held = false;
};

// The second process.
int hold(const char* database, const char* sql)
{
    RawDatabase raw(QString::fromUtf8(database));
    raw.run(QString::fromUtf8(sql));
    std::puts("held");
    std::fflush(stdout);
    return std::getchar() == EOF ? 0 : 1;
}

} // namespace

class TestLockHolder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void findsTheWriterInTheListOfLocks_data();
    void findsTheWriterInTheListOfLocks();
    void findsTheReaderOfAWal();
    void namesAnotherProcess_data();
    void namesAnotherProcess();
    void ownProcessIsNoOther();
    void nobodyHoldsAFileThatNobodyWrites();
    void busyTransactionNamesTheProcess();
    void busyOpeningNamesTheProcess();

private:
    std::unique_ptr<QTemporaryDir> folder;
    QString path;
};

void TestLockHolder::init()
{
    QLoggingCategory::setFilterRules(u"velmio.database=false"_s);
    folder = std::make_unique<QTemporaryDir>();
    path = folder->filePath(u"store.db"_s);
}

void TestLockHolder::findsTheWriterInTheListOfLocks_data()
{
    QTest::addColumn<QByteArray>("locks");
    QTest::addColumn<bool>("hasIndex");
    QTest::addColumn<qint64>("process");
    // The database has inode 1000, the index of its WAL 2000.
    const auto row = [](const char* name, const char* locks, bool hasIndex, qint64 process) {
        QTest::newRow(name) << QByteArray(locks) << hasIndex << process;
    };
    row("writer of the log",
        "1: POSIX  ADVISORY  READ 11 fe:01:2000 128 128\n"
        "2: POSIX  ADVISORY  READ 11 fe:01:1000 1073741826 1073742335\n"
        "3: POSIX  ADVISORY  WRITE 12 fe:01:2000 120 120\n",
        true, 12);
    row("recovery", "1: POSIX  ADVISORY  WRITE 13 fe:01:2000 121 122\n", true, 13);
    row("writer with a journal", "1: POSIX  ADVISORY  WRITE 14 fe:01:1000 1073741825 1073741825\n",
        false, 14);
    row("commit with a journal", "1: POSIX  ADVISORY  WRITE 15 fe:01:1000 1073741824 1073742335\n",
        false, 15);
    row("whole file", "1: POSIX  ADVISORY  WRITE 16 fe:01:1000 0 EOF\n", true, 16);
    row("reader with a journal", "1: POSIX  ADVISORY  READ 17 fe:01:1000 1073741826 1073742335\n",
        false, 17);
    row("writer before the reader",
        "1: POSIX  ADVISORY  READ 17 fe:01:1000 1073741826 1073742335\n"
        "2: POSIX  ADVISORY  WRITE 18 fe:01:1000 1073741825 1073741825\n",
        false, 18);
    row("readers of the log",
        "1: POSIX  ADVISORY  READ 11 fe:01:1000 1073741826 1073742335\n"
        "2: POSIX  ADVISORY  WRITE 11 fe:01:2000 124 124\n",
        true, 0);
    row("another device", "1: POSIX  ADVISORY  WRITE 12 fe:02:2000 120 120\n", true, 0);
    row("another file", "1: POSIX  ADVISORY  WRITE 12 fe:01:3000 120 120\n", true, 0);
    row("one that waits", "1: -> POSIX  ADVISORY  WRITE 12 fe:01:2000 120 120\n", true, 0);
    row("no process of this system", "1: OFDLCK ADVISORY  WRITE -1 fe:01:2000 120 120\n", true, 0);
    row("another kind", "1: FLOCK  ADVISORY  WRITE 12 fe:01:1000 0 EOF\n", true, 0);
    row("nonsense", "\n:\n1: POSIX\n1: POSIX ADVISORY WRITE x y:z 1 2\n", true, 0);
    row("nothing", "", true, 0);
}

void TestLockHolder::findsTheWriterInTheListOfLocks()
{
    QFETCH(const QByteArray, locks);
    QFETCH(const bool, hasIndex);
    QFETCH(const qint64, process);
    const quint64 device = makedev(0xfe, 0x01);

    const auto index = hasIndex ? std::optional(locksIn(locks, {device, 2000})) : std::nullopt;

    QCOMPARE(lockingProcess(locksIn(locks, {device, 1000}), index), process);
}

void TestLockHolder::findsTheReaderOfAWal()
{
    RawDatabase raw(path);
    raw.run(u"PRAGMA journal_mode = WAL; CREATE TABLE a (b)"_s);
    QVERIFY(!walReaderOf(path));

    const Holder reader(path, u"BEGIN; SELECT * FROM a"_s);
    QVERIFY(reader.held);

    const auto found = walReaderOf(path);
    QVERIFY(found);
    QCOMPARE(found->processId, reader.process.processId());
}

void TestLockHolder::namesAnotherProcess_data()
{
    QTest::addColumn<QString>("journalMode");
    QTest::newRow("log") << u"WAL"_s;
    QTest::newRow("journal") << u"DELETE"_s;
}

void TestLockHolder::namesAnotherProcess()
{
    QFETCH(const QString, journalMode);
    const Holder other(
        path, u"PRAGMA journal_mode = %1; CREATE TABLE a (b); BEGIN IMMEDIATE"_s.arg(journalMode));
    QVERIFY(other.held);

    const auto holder = lockHolderOf(path);

    QVERIFY(holder);
    QCOMPARE(holder->processId, other.process.processId());
    QCOMPARE(holder->program, u"TestLockHolder"_s);
    QCOMPARE(holder->host, QSysInfo::machineHostName());
    const qint64 age = holder->runningSince.secsTo(QDateTime::currentDateTime());
    QVERIFY2(age >= -1 && age < 60, qPrintable(QString::number(age)));
}

void TestLockHolder::ownProcessIsNoOther()
{
    RawDatabase(path).run(u"PRAGMA journal_mode = WAL; CREATE TABLE a (b)"_s);
    RawDatabase writer(path);
    writer.run(u"BEGIN IMMEDIATE"_s);

    QVERIFY(!lockHolderOf(path));
}

void TestLockHolder::nobodyHoldsAFileThatNobodyWrites()
{
    const Holder other(
        path, u"PRAGMA journal_mode = WAL; CREATE TABLE a (b); BEGIN; SELECT * FROM a"_s);
    QVERIFY(other.held);

    QVERIFY(!lockHolderOf(path));
    QVERIFY(!lockHolderOf(folder->filePath(u"missing.db"_s)));
}

void TestLockHolder::busyTransactionNamesTheProcess()
{
    const auto factory = SqliteDatabaseFactory::open(path);
    const Holder other(path, u"BEGIN IMMEDIATE"_s);
    QVERIFY(other.held);

    QVERIFY(!factory->GetDatabase()->transaction());

    const auto error = factory->lastFailure();
    QCOMPARE(error->cause, DatabaseError::Cause::Busy);
    const QString process = u"process %1 (TestLockHolder) on %2, running since 20"_s.arg(
        QString::number(other.process.processId()), QSysInfo::machineHostName());
    QVERIFY2(error->text.contains(process), qPrintable(error->text));
}

void TestLockHolder::busyOpeningNamesTheProcess()
{
    SqliteDatabaseFactory::open(path);
    const Holder other(path, u"PRAGMA journal_mode = DELETE; BEGIN EXCLUSIVE"_s);
    QVERIFY(other.held);

    try {
        SqliteDatabaseFactory::open(path);
        QFAIL("open() took it");
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), DatabaseError::Cause::Busy);
        QVERIFY2(
            error.text().contains(u"process %1 ("_s.arg(other.process.processId())), error.what());
    }
}

int main(int argc, char** argv)
{
    if (argc == 4 && qstrcmp(argv[1], "--hold") == 0)
        return hold(argv[2], argv[3]);
    QCoreApplication application(argc, argv);
    TestLockHolder test;
    return QTest::qExec(&test, argc, argv);
}

#include "TestLockHolder.moc"
