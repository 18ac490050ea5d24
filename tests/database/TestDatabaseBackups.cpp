#include <support/RawDatabase.h>

#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <csignal>
#include <functional>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;
using sync::test::RawDatabase;
using Cause = DatabaseError::Cause;
using Reason = DatabaseBackups::Reason;

namespace {

const QString CountServers = u"SELECT count(*) FROM ServerConfiguration"_s;
const QString CountProducts = u"SELECT count(*) FROM ProductConfiguration"_s;

QByteArray bytesOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

bool run(SqliteDatabaseFactory& factory, const QString& sql)
{
    const auto query = factory.CreateQuery();
    return query->prepare(sql) && query->exec();
}

bool addServer(SqliteDatabaseFactory& factory, const QString& alias)
{
    return run(factory, u"INSERT INTO ServerConfiguration (alias) VALUES ('%1')"_s.arg(alias));
}

// A server and a product of it, both or none of them.
bool addPair(SqliteDatabaseFactory& factory)
{
    const auto database = factory.GetDatabase();
    return database->transaction() && addServer(factory, u"pair"_s) &&
           run(factory, u"INSERT INTO ProductConfiguration (serverId) VALUES (1)"_s) &&
           database->commit();
}

QStringList entriesOf(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

unsigned permissionsOf(const QString& path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 0777U : 0U;
}

// The error of an action; without one the test that calls it fails on a cause that none has.
DatabaseError errorOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const DatabaseError& error) {
        return error;
    }
    return {static_cast<Cause>(-1), u"nothing was thrown"_s};
}

/// Writes beyond a size fail while it lives, as on a disk that takes no more.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{bytes, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &before); }
    Q_DISABLE_COPY_MOVE(FileSizeLimit)

private:
    rlimit before = {};
};

} // namespace

class TestDatabaseBackups : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aBackupIsAWholeFileForTheUserAlone();
    void aBackupHoldsOneMomentWhileOthersWrite();
    void aBackupLeavesTheWritersAlone();
    void theOldestOfEachReasonGo();
    void theNewestStaysThoughTheClockWasSetBack();
    void onlyFilesOfOurNamesAreListedAndRemoved();
    void backupsLieBesideTheFileThatALinkLeadsTo();
    void aFileOfTheUsersIsNeitherRotatedNorReplaced();
    void aFailedBackupLeavesNothing_data();
    void aFailedBackupLeavesNothing();
    void aBackupThatDoesNotFitLeavesNothing();
    void verifyTellsWhatIsWrong_data();
    void verifyTellsWhatIsWrong();
    void theNewestThatIsWholeIsFound();

private:
    QString path(const QString& name) const { return folder->filePath(name); }
    QString storePath() const { return path(u"store.db"_s); }
    DatabaseBackups backups() const { return DatabaseBackups(storePath()); }

    std::unique_ptr<QTemporaryDir> folder;
    std::shared_ptr<SqliteDatabaseFactory> store;
};

void TestDatabaseBackups::init()
{
    store.reset();
    folder = std::make_unique<QTemporaryDir>();
    store = SqliteDatabaseFactory::open(storePath());
    QVERIFY(addServer(*store, u"first"_s));
}

void TestDatabaseBackups::aBackupIsAWholeFileForTheUserAlone()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();

    const auto made = backups().make(Reason::Manual);

    QCOMPARE(QFileInfo(made.path).path(), storePath() + u"-backups"_s);
    QCOMPARE(permissionsOf(QFileInfo(made.path).path()), 0700U);
    QCOMPARE(permissionsOf(made.path), 0600U);
    QCOMPARE(made.bytes, QFileInfo(made.path).size());
    QVERIFY(made.time >= before && made.time <= QDateTime::currentDateTimeUtc());
    QCOMPARE(entriesOf(backups().folder()), QStringList{QFileInfo(made.path).fileName()});
    // 1 and 1: a rollback journal, and no log beside it (sqlite.org/fileformat2.html).
    QCOMPARE(bytesOf(made.path).mid(18, 2), QByteArray("\1\1"));
    RawDatabase copy(made.path);
    QCOMPARE(copy.value(u"PRAGMA integrity_check"_s), u"ok"_s);
    QCOMPARE(copy.value(u"SELECT alias FROM ServerConfiguration"_s), u"first"_s);
}

void TestDatabaseBackups::aBackupHoldsOneMomentWhileOthersWrite()
{
    std::atomic<bool> done = false;
    std::atomic<int> failures = 0;
    QVERIFY(run(*store, u"DELETE FROM ServerConfiguration"_s));
    std::thread writer([&] {
        while (!done)
            failures += addPair(*store) ? 0 : 1;
    });

    QStringList torn;
    qlonglong rows = 0;
    for (int round = 0; round < 20; ++round) {
        RawDatabase copy(backups().makeAt(path(u"copy%1.db"_s.arg(round))).path);
        const QString servers = copy.value(CountServers);
        if (servers != copy.value(CountProducts) || servers.toLongLong() < rows)
            torn += servers;
        rows = servers.toLongLong();
    }
    done = true;
    writer.join();

    QCOMPARE(torn, QStringList());
    QCOMPARE(failures.load(), 0);
    QVERIFY(rows > 0);
}

void TestDatabaseBackups::aBackupLeavesTheWritersAlone()
{
    QVERIFY(store->GetDatabase()->transaction());
    QVERIFY(addServer(*store, u"not yet"_s));

    const auto made = backups().make(Reason::Manual);

    QVERIFY(store->GetDatabase()->commit());
    QCOMPARE(RawDatabase(made.path).value(CountServers), u"1"_s);
    QCOMPARE(RawDatabase(storePath()).value(CountServers), u"2"_s);
}

void TestDatabaseBackups::theOldestOfEachReasonGo()
{
    const auto rekey = backups().make(Reason::Rekey);
    QList<DatabaseBackups::Backup> made;

    for (int round = 0; round < DatabaseBackups::KeptPerReason + 2; ++round)
        made.prepend(backups().make(Reason::Manual));

    QStringList expected;
    for (int index = 0; index < DatabaseBackups::KeptPerReason; ++index)
        expected += made[index].path;
    expected += rekey.path;
    QStringList paths;
    for (const auto& backup : backups().list())
        paths += backup.path;
    QCOMPARE(paths, expected);
    QCOMPARE(entriesOf(backups().folder()).size(), expected.size());
    const auto newest = backups().list().first();
    QCOMPARE(newest.time, made.first().time);
    QCOMPARE(newest.reason, Reason::Manual);
    QCOMPARE(newest.bytes, made.first().bytes);
    QCOMPARE(backups().list().last().reason, Reason::Rekey);
}

void TestDatabaseBackups::theNewestStaysThoughTheClockWasSetBack()
{
    QVERIFY(QDir().mkdir(backups().folder()));
    for (int day = 1; day <= DatabaseBackups::KeptPerReason; ++day)
        QVERIFY(
            write(backups().folder() + u"/store.db.2999010%1T000000000Z.fix.db"_s.arg(day), "x"));

    const auto made = backups().make(Reason::Fix);

    QVERIFY(QFile::exists(made.path));
    QCOMPARE(backups().list().size(), DatabaseBackups::KeptPerReason);
    QVERIFY(!QFile::exists(backups().folder() + u"/store.db.29990101T000000000Z.fix.db"_s));
}

void TestDatabaseBackups::onlyFilesOfOurNamesAreListedAndRemoved()
{
    QVERIFY(QDir().mkdir(backups().folder()));
    const QStringList others{
        u"notes.txt"_s,
        u"other.db.20200101T000000000Z.manual.db"_s,
        u"store.db.20200101T000000000Z.because.db"_s,
        u"store.db.20200101T000000000Z.manual.db.old"_s,
        u"store.db.20201301T000000000Z.manual.db"_s,
        u"store.db.2020.manual.db"_s,
    };
    for (const QString& name : others)
        QVERIFY(write(backups().folder() + u'/' + name, "x"));
    QVERIFY(QFile::link(
        storePath(), backups().folder() + u"/store.db.20200101T000000000Z.manual.db"_s));

    for (int round = 0; round < DatabaseBackups::KeptPerReason + 1; ++round)
        backups().make(Reason::Manual);

    QCOMPARE(backups().list().size(), DatabaseBackups::KeptPerReason);
    QCOMPARE(
        entriesOf(backups().folder()).size(), DatabaseBackups::KeptPerReason + others.size() + 1);
}

void TestDatabaseBackups::backupsLieBesideTheFileThatALinkLeadsTo()
{
    QVERIFY(QDir(folder->path()).mkdir(u"links"_s));
    QVERIFY(QFile::link(storePath(), path(u"links/link.db"_s)));

    const auto made = DatabaseBackups(path(u"links/link.db"_s)).make(Reason::Import);

    QCOMPARE(QFileInfo(made.path).path(), backups().folder());
    QCOMPARE(backups().list().size(), 1);
}

void TestDatabaseBackups::aFileOfTheUsersIsNeitherRotatedNorReplaced()
{
    const QString file = path(u"mine.db"_s);
    QCOMPARE(backups().makeAt(file).path, file);
    const QByteArray before = bytesOf(file);
    QVERIFY(addServer(*store, u"second"_s));

    const DatabaseError error = errorOf([&] { backups().makeAt(file); });

    QCOMPARE(error.cause(), Cause::Other);
    QVERIFY2(error.text().contains(file), error.what());
    QCOMPARE(bytesOf(file), before);
    QCOMPARE(backups().list().size(), 0);
}

void TestDatabaseBackups::aFailedBackupLeavesNothing_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<Cause>("cause");
    QTest::newRow("no folder") << u"/nowhere/copy.db"_s << Cause::Other;
    // The one place that also the superuser cannot write to.
    QTest::newRow("a place that takes nothing") << u"/proc/copy.db"_s << Cause::Other;
    QTest::newRow("a directory") << u"/tmp"_s << Cause::Directory;
}

void TestDatabaseBackups::aFailedBackupLeavesNothing()
{
    QFETCH(const QString, target);
    QFETCH(const Cause, cause);

    const DatabaseError error = errorOf([&] { backups().makeAt(target); });

    QCOMPARE(error.cause(), cause);
    QVERIFY2(error.text().contains(target), error.what());
    QVERIFY(!QFileInfo(target).isFile());
}

void TestDatabaseBackups::aBackupThatDoesNotFitLeavesNothing()
{
    const FileSizeLimit limit(50'000);

    const DatabaseError error = errorOf([&] { backups().makeAt(path(u"copy.db"_s)); });

    QCOMPARE(error.cause(), Cause::InputOutput);
    QVERIFY2(error.text().contains(path(u"copy.db"_s)), error.what());
    QCOMPARE(QDir(folder->path()).entryList({u"copy*"_s}), QStringList());
}

void TestDatabaseBackups::verifyTellsWhatIsWrong_data()
{
    using Make = std::function<void(const QString&)>;
    QTest::addColumn<Make>("make");
    QTest::addColumn<Cause>("cause");
    QTest::addColumn<QString>("text");

    QTest::addRow("nothing there")
        << Make([](const QString&) {}) << Cause::Other << u"no such file"_s;
    QTest::addRow("directory") << Make([](const QString& file) { QDir().mkdir(file); })
                               << Cause::Directory << u"is a directory"_s;
    QTest::addRow("empty") << Make([](const QString& file) { write(file, {}); })
                           << Cause::NotADatabase << u"no SQLite database"_s;
    QTest::addRow("text") << Make([](const QString& file) { write(file, QByteArray(5000, 'x')); })
                          << Cause::NotADatabase << u"no SQLite database"_s;
    QTest::addRow("of another program")
        << Make([](const QString& file) { RawDatabase(file).run(u"CREATE TABLE a (b)"_s); })
        << Cause::ForeignDatabase << u"another program"_s;
    QTest::addRow("newer") << Make([this](const QString& file) {
        backups().makeAt(file);
        RawDatabase(file).run(u"PRAGMA user_version = 99"_s);
    }) << Cause::TooNew << u"schema version 99"_s;
    QTest::addRow("a table missing") << Make([this](const QString& file) {
        backups().makeAt(file);
        RawDatabase(file).run(u"DROP TABLE Schedules"_s);
    }) << Cause::Damaged << u"Schedules is missing"_s;
    QTest::addRow("cut off") << Make([this](const QString& file) {
        backups().makeAt(file);
        QFile(file).resize(3 * 4096);
    }) << Cause::Damaged << u"damaged"_s;
    QTest::addRow("an index that disagrees") << Make([this](const QString& file) {
        backups().makeAt(file);
        RawDatabase(file).run(
            u"PRAGMA writable_schema = ON;"
            u"UPDATE sqlite_schema SET sql = replace(sql, '(folderConfigurationId)', '(id)')"
            u" WHERE name = 'SchedulesByFolder'"_s);
    }) << Cause::Damaged << u"SchedulesByFolder"_s;
}

void TestDatabaseBackups::verifyTellsWhatIsWrong()
{
    QFETCH(const std::function<void(const QString&)>, make);
    QFETCH(const Cause, cause);
    QFETCH(const QString, text);
    const QString file = path(u"copy.db"_s);
    make(file);
    const QByteArray before = bytesOf(file);

    const DatabaseError error = errorOf([&] { DatabaseBackups::verify(file); });

    QCOMPARE(error.cause(), cause);
    QVERIFY2(error.text().contains(file), error.what());
    QVERIFY2(error.text().contains(text), error.what());
    QCOMPARE(bytesOf(file), before);
    QCOMPARE(QDir(folder->path()).entryList({u"copy.db-*"_s}), QStringList());
}

void TestDatabaseBackups::theNewestThatIsWholeIsFound()
{
    QVERIFY(!backups().newestVerified());
    const auto older = backups().make(Reason::Manual);
    const auto newer = backups().make(Reason::Rekey);
    QCOMPARE(backups().newestVerified()->path, newer.path);

    QVERIFY(QFile(newer.path).resize(4096));

    QCOMPARE(backups().newestVerified()->path, older.path);
}

QTEST_GUILESS_MAIN(TestDatabaseBackups)
#include "TestDatabaseBackups.moc"
