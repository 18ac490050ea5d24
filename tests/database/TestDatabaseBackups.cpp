#include "KilledAtCall.h"

#include <support/AsNobody.h>
#include <support/FileBytes.h>
#include <support/RawDatabase.h>
#include <support/Repetitions.h>
#include <support/TemporaryPlace.h>
#include <support/UnsyncedFiles.h>

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
#include <random>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

using namespace Qt::StringLiterals;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;
using sync::test::AsNobody;
using sync::test::giveToNobody;
using sync::test::RawDatabase;
using sync::test::readFile;
using sync::test::writeFile;
using Cause = DatabaseError::Cause;
using Reason = DatabaseBackups::Reason;

namespace {

const QString CountServers = u"SELECT count(*) FROM ServerConfiguration"_s;
const QString CountProducts = u"SELECT count(*) FROM ProductConfiguration"_s;

bool run(SqliteDatabaseFactory& factory, const QString& sql)
{
    const auto query = factory.CreateQuery();
    return query->prepare(sql) && query->exec();
}

bool addServer(SqliteDatabaseFactory& factory, const QString& alias)
{
    return run(factory, u"INSERT INTO ServerConfiguration (alias) VALUES ('%1')"_s.arg(alias));
}

// A server and its product, both or neither.
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

// The error of an action. If it succeeds, the test fails because no error has the returned cause.
DatabaseError errorOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const DatabaseError& error) {
        return error;
    }
    return {static_cast<Cause>(-1), u"nothing was thrown"_s};
}

/// Another process that keeps a database open, without using it, until this object is destroyed.
class OtherProcess
{
public:
    explicit OtherProcess(const QString& database)
    {
        int ready[2] = {};
        if (::pipe(ready) != 0)
            return;
        child = ::fork();
        if (child == 0) {
            RawDatabase raw(database);
            const bool done = raw.tryRun("SELECT count(*) FROM Schedules");
            [[maybe_unused]] const auto count = ::write(ready[1], "x", done ? 1 : 0);
            for (;;)
                ::pause();
        }
        ::close(ready[1]);
        char byte = 0;
        isReady = ::read(ready[0], &byte, 1) == 1;
        ::close(ready[0]);
    }
    ~OtherProcess()
    {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    Q_DISABLE_COPY_MOVE(OtherProcess)

    qint64 processId() const { return child; }

    bool isReady = false;

private:
    pid_t child = -1;
};

/// Writes beyond a size fail while it exists, as on a full disk.
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
    void aNameThatAnotherProcessTakesIsLeftToIt();
    void theOldestOfEachReasonGo();
    void theNewestStaysThoughTheClockWasSetBack();
    void aClockThatWasAheadKeepsNoCopyForever();
    void copiesAreOrderedByTheirNumbers();
    void numbersGoOnAfterARestore();
    void onlyFilesOfOurNamesAreListedAndRemoved();
    void whatAKilledBackupLeftGoesAfterADay();
    void backupsLieBesideTheFileThatALinkLeadsTo();
    void aFileOfTheUsersIsNeitherRotatedNorReplaced();
    void aStoreThatCanOnlyBeReadIsCopied();
    void aFailedBackupLeavesNothing_data();
    void aFailedBackupLeavesNothing();
    void aBackupThatDoesNotFitLeavesNothing();
    void aDamagedStoreIsNotCopiedAndStaysAsItIs();
    void verifyTellsWhatIsWrong_data();
    void verifyTellsWhatIsWrong();
    void theNewestThatIsWholeIsFound();
    void restoreReplacesTheContentAndKeepsTheOldOne();
    void whatIsBackedUpAndRestoredIsDurable();
    void restoreMakesAStoreWhereThereIsNone();
    void restoreRefusesWhatItCannotUse_data();
    void restoreRefusesWhatItCannotUse();
    void restoreRefusesABackupOfAnotherStore();
    void aDamagedStoreStillHasItsId();
    void restoreLeavesTheDatabaseOfAnotherProgramAlone();
    void restoreRefusesWhileAnotherProcessHasTheStoreOpen();
    void restoreRefusesWhileThisProcessHasTheStoreOpen();
    void whoOpenedTheStoreButDidNotReadYetSeesTheNewContent();
    void restoreKeepsEveryByteOfADamagedStore();
    void restoreTakesABackupOfOtherPages();
    void restoreTakesABackupWithItsLog();
    void anyDamageCanBeRestored();
    void restoreThatIsKilledLeavesTheOldContentOrTheNew_data();
    void restoreThatIsKilledLeavesTheOldContentOrTheNew();

private:
    QString makeDated(const QString& time) const;
    void makeOldStoreAndBackup();
    QString aliasesIn(const QString& file) const;
    bool isKept(
        const QString& place, const QByteArray& bytes, const QByteArray& log, bool opens) const;

    QString path(const QString& name) const { return folder->filePath(name); }
    QString storePath() const { return path(u"store.db"_s); }
    DatabaseBackups backups() const { return DatabaseBackups(storePath()); }

    std::unique_ptr<QTemporaryDir> folder;
    std::shared_ptr<SqliteDatabaseFactory> store;
    QString backup; // of makeOldStoreAndBackup()
};

void TestDatabaseBackups::init()
{
    store.reset();
    folder = std::make_unique<QTemporaryDir>(sync::test::temporaryPlaceInMemory());
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
    // 1 and 1: a rollback journal, and no WAL beside it (sqlite.org/fileformat2.html).
    QCOMPARE(readFile(made.path).mid(18, 2), QByteArray("\1\1"));
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

// As when two processes begin to migrate a store in the same millisecond.
void TestDatabaseBackups::aNameThatAnotherProcessTakesIsLeftToIt()
{
    QString taken;
    const sync::test::SystemCallWatch watch([&taken](const sync::test::SystemCall& call) {
        if (call.name == "link" && taken.isEmpty()) {
            taken = QFile::decodeName(call.path);
            writeFile(taken, "of another process");
        }
        return 0;
    });

    const auto made = backups().make(Reason::Migration);

    QCOMPARE(readFile(taken), QByteArray("of another process"));
    QVERIFY(made.path > taken);
    DatabaseBackups::verify(made.path);
    QCOMPARE(backups().list().first().path, made.path);
    QCOMPARE(entriesOf(backups().folder()).size(), 2);
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
    for (const auto& listed : backups().list())
        paths += listed.path;
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
        writeFile(backups().folder() + u"/store.db.2999010%1T000000000Z.fix.db"_s.arg(day), "x");

    const auto made = backups().make(Reason::Fix);

    QVERIFY(QFile::exists(made.path));
    QCOMPARE(backups().list().size(), DatabaseBackups::KeptPerReason);
    QVERIFY(!QFile::exists(backups().folder() + u"/store.db.29990101T000000000Z.fix.db"_s));
}

// Makes a copy as with a clock that is wrong.
QString TestDatabaseBackups::makeDated(const QString& time) const
{
    const QString made = backups().make(Reason::Manual).path;
    const QString dated = backups().folder() + u"/store.db.%1T000000000Z.manual.db"_s.arg(time);
    return QFile::rename(made, dated) ? dated : QString();
}

void TestDatabaseBackups::aClockThatWasAheadKeepsNoCopyForever()
{
    for (int day = 1; day < DatabaseBackups::KeptPerReason; ++day)
        QVERIFY(!makeDated(u"2931010%1"_s.arg(day)).isEmpty());
    QVERIFY(backups().list().last().hasImpossibleTime);

    QStringList made;
    for (int round = 0; round < DatabaseBackups::KeptPerReason; ++round)
        made.prepend(backups().make(Reason::Manual).path);

    QStringList paths;
    for (const auto& copy : backups().list()) {
        paths += copy.path;
        QVERIFY2(!copy.hasImpossibleTime, qPrintable(copy.path));
    }
    QCOMPARE(paths, made);
}

void TestDatabaseBackups::copiesAreOrderedByTheirNumbers()
{
    const QString ahead = makeDated(u"29310101"_s);
    const auto first = backups().make(Reason::Manual);
    const QString behind = makeDated(u"19700101"_s);
    const QString damaged = backups().folder() + u"/store.db.29320101T000000000Z.manual.db"_s;
    writeFile(damaged, "x");

    QList<qint64> numbers;
    QStringList paths;
    QList<bool> impossible;
    for (const auto& copy : backups().list()) {
        numbers += copy.number;
        paths += copy.path;
        impossible += copy.hasImpossibleTime;
    }
    QCOMPARE(paths, (QStringList{behind, first.path, ahead, damaged}));
    QCOMPARE(numbers, (QList<qint64>{3, 2, 1, 0}));
    QCOMPARE(impossible, (QList<bool>{true, false, true, true}));
    QCOMPARE(first.number, 2);
    QCOMPARE(backups().newestVerified()->path, behind);
}

void TestDatabaseBackups::numbersGoOnAfterARestore()
{
    const auto first = backups().make(Reason::Manual);
    backups().make(Reason::Manual);
    store.reset();
    backups().restore(first.path);

    QCOMPARE(backups().make(Reason::Manual).number, 3);

    QVERIFY(QDir(backups().folder()).removeRecursively());
    QCOMPARE(backups().make(Reason::Manual).number, 2);
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
        writeFile(backups().folder() + u'/' + name, "x");
    QVERIFY(QFile::link(
        storePath(), backups().folder() + u"/store.db.20200101T000000000Z.manual.db"_s));

    for (int round = 0; round < DatabaseBackups::KeptPerReason + 1; ++round)
        backups().make(Reason::Manual);

    QCOMPARE(backups().list().size(), DatabaseBackups::KeptPerReason);
    QCOMPARE(
        entriesOf(backups().folder()).size(), DatabaseBackups::KeptPerReason + others.size() + 1);
}

void TestDatabaseBackups::whatAKilledBackupLeftGoesAfterADay()
{
    QVERIFY(QDir().mkdir(backups().folder()));
    const QString unfinished =
        backups().folder() + u"/store.db.20200101T000000000Z.manual.db.a1B2c3"_s;
    const QString fresh = backups().folder() + u"/store.db.20200101T000000000Z.manual.db.d4E5f6"_s;
    const QString other = backups().folder() + u"/notes.db.a1B2c3"_s;
    for (const QString& name : {unfinished, fresh, other}) {
        writeFile(name, "x");
        QFile file(name);
        QVERIFY(file.open(QIODevice::ReadWrite));
        const int age = name == fresh ? 23 : 25;
        QVERIFY(file.setFileTime(
            QDateTime::currentDateTimeUtc().addSecs(-age * 3600),
            QFileDevice::FileModificationTime));
    }

    backups().make(Reason::Manual);

    QVERIFY(!QFile::exists(unfinished));
    QVERIFY(QFile::exists(fresh));
    QVERIFY(QFile::exists(other));
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
    const QByteArray before = readFile(file);
    QVERIFY(addServer(*store, u"second"_s));

    const DatabaseError error = errorOf([&] { backups().makeAt(file); });

    QCOMPARE(error.cause(), Cause::Other);
    QVERIFY2(error.text().contains(file), error.what());
    QCOMPARE(readFile(file), before);
    QCOMPARE(backups().list().size(), 0);
}

void TestDatabaseBackups::aStoreThatCanOnlyBeReadIsCopied()
{
    store.reset();
    QVERIFY(giveToNobody(folder->path()));
    const AsNobody asNobody;
    QCOMPARE(::chmod(QFile::encodeName(storePath()).constData(), 0400), 0);
    const QByteArray before = readFile(storePath());

    const auto made = backups().make(Reason::Manual);

    QCOMPARE(aliasesIn(made.path), u"first"_s);
    QCOMPARE(readFile(storePath()), before);
}

void TestDatabaseBackups::aFailedBackupLeavesNothing_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<Cause>("cause");
    QTest::newRow("no folder") << u"/nowhere/copy.db"_s << Cause::Other;
    // The one place to which not even the superuser can write.
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

void TestDatabaseBackups::aDamagedStoreIsNotCopiedAndStaysAsItIs()
{
    makeOldStoreAndBackup();
    QByteArray bytes = readFile(storePath());
    bytes.replace(5 * 4096, 4096, QByteArray(4096, '\xA5'));
    writeFile(storePath(), bytes);
    const QByteArray log = readFile(storePath() + u"-wal"_s);

    const DatabaseError error = errorOf([&] { backups().makeAt(path(u"copy.db"_s)); });

    QCOMPARE(error.cause(), Cause::Damaged);
    QVERIFY2(error.text().contains(path(u"copy.db"_s)), error.what());
    QCOMPARE(readFile(storePath()), bytes);
    QCOMPARE(readFile(storePath() + u"-wal"_s), log);
    QCOMPARE(QDir(folder->path()).entryList({u"copy*"_s}), QStringList());
}

void TestDatabaseBackups::verifyTellsWhatIsWrong_data()
{
    using Make = std::function<void(const QString&)>;
    QTest::addColumn<Make>("make");
    QTest::addColumn<Cause>("cause");
    QTest::addColumn<QString>("text");

    QTest::addRow("nothing there")
        << Make([](const QString&) {}) << Cause::Other << u"does not exist"_s;
    QTest::addRow("directory") << Make([](const QString& file) { QDir().mkdir(file); })
                               << Cause::Directory << u"is a directory"_s;
    QTest::addRow("empty") << Make([](const QString& file) { writeFile(file, {}); })
                           << Cause::NotADatabase << u"it is empty"_s;
    QTest::addRow("text") << Make([](const QString& file) {
        writeFile(file, QByteArray(5000, 'x'));
    }) << Cause::NotADatabase
                          << u"is not an SQLite database"_s;
    QTest::addRow("of another program")
        << Make([](const QString& file) { RawDatabase(file).run(u"CREATE TABLE a (b)"_s); })
        << Cause::ForeignDatabase << u"another program"_s;
    QTest::addRow("newer") << Make([this](const QString& file) {
        backups().makeAt(file);
        RawDatabase(file).run(u"PRAGMA user_version = 99;"
                              u"UPDATE StoreIdentity SET lastCompatibleVersion = 99"_s);
    }) << Cause::TooNew << u"schema version 99"_s;
    QTest::addRow("impossible version") << Make([this](const QString& file) {
        backups().makeAt(file);
        RawDatabase(file).run(u"PRAGMA user_version = -7"_s);
    }) << Cause::Damaged << u"its schema version is -7"_s;
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
            u" WHERE name = 'SchedulesByFolder'; PRAGMA writable_schema = RESET;"
            u"REINDEX SchedulesByFolder; PRAGMA writable_schema = ON;"
            u"UPDATE sqlite_schema SET sql = replace(sql, '(id)', '(folderConfigurationId)')"
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
    const QByteArray before = readFile(file);

    const DatabaseError error = errorOf([&] { DatabaseBackups::verify(file); });

    QCOMPARE(error.cause(), cause);
    QVERIFY2(error.text().contains(file), error.what());
    QVERIFY2(error.text().contains(text), error.what());
    QCOMPARE(readFile(file), before);
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

// Leaves a closed store with two servers, "old" in the file and "logged" only in the WAL, and a
// backup with the server "new".
void TestDatabaseBackups::makeOldStoreAndBackup()
{
    QVERIFY(run(*store, u"UPDATE ServerConfiguration SET alias = 'new'"_s));
    backup = backups().make(Reason::Manual).path;
    QVERIFY(run(*store, u"UPDATE ServerConfiguration SET alias = 'old'"_s));
    store.reset();
    RawDatabase(storePath())
        .run(u"PRAGMA wal_autocheckpoint = 0;"
             u"INSERT INTO ServerConfiguration (alias) VALUES ('logged')"_s);
    QVERIFY(readFile(storePath() + u"-wal"_s).contains("logged"));
    QVERIFY(!readFile(storePath()).contains("logged"));
}

QString TestDatabaseBackups::aliasesIn(const QString& file) const
{
    RawDatabase raw(file);
    const QString state = raw.value(u"PRAGMA integrity_check"_s);
    const QStringList aliases = raw.run(u"SELECT alias FROM ServerConfiguration ORDER BY id"_s);
    return state == u"ok" ? aliases.join(u' ') : state;
}

bool TestDatabaseBackups::isKept(
    const QString& place, const QByteArray& bytes, const QByteArray& log, bool opens) const
{
    const QFileInfo placed(place);
    const QString replaced = placed.fileName() + u"-replaced.*Z"_s;
    for (const QFileInfo& entry : placed.dir().entryInfoList({replaced}))
        if (opens ? aliasesIn(entry.filePath()) == u"old logged"
                  : readFile(entry.filePath()) == bytes &&
                        readFile(entry.filePath() + u"-wal"_s) == log)
            return true;
    return false;
}

void TestDatabaseBackups::restoreReplacesTheContentAndKeepsTheOldOne()
{
    makeOldStoreAndBackup();
    const QByteArray backupBytes = readFile(backup);

    const QString kept = backups().restore(backup);

    QCOMPARE(aliasesIn(storePath()), u"new"_s);
    QVERIFY2(kept.startsWith(storePath() + u"-replaced."_s), qPrintable(kept));
    QCOMPARE(aliasesIn(kept), u"old logged"_s);
    QCOMPARE(permissionsOf(kept), 0600U);
    QVERIFY(!QFile::exists(kept + u"-wal"_s));
    QCOMPARE(readFile(backup), backupBytes);
    QVERIFY(addServer(*SqliteDatabaseFactory::open(storePath()), u"goes on"_s));
    QCOMPARE(aliasesIn(storePath()), u"new goes on"_s);
    // And back.
    backups().restore(kept);
    QCOMPARE(aliasesIn(storePath()), u"old logged"_s);
}

void TestDatabaseBackups::whatIsBackedUpAndRestoredIsDurable()
{
    makeOldStoreAndBackup();
    {
        const sync::test::UnsyncedFiles unsynced(folder->path());
        backups().make(Reason::Manual);
        QCOMPARE(unsynced.list(), QStringList());
        backups().restore(backup);
        QCOMPARE(unsynced.list(), QStringList());
    }
    writeFile(storePath(), "not a database");
    {
        const sync::test::UnsyncedFiles unsynced(folder->path());
        backups().restore(backup);
        QCOMPARE(unsynced.list(), QStringList());
    }
    // A sync that is missing would be seen.
    const sync::test::UnsyncedFiles unsynced(folder->path());
    writeFile(path(u"a"_s), "not synced");
    QCOMPARE(unsynced.list(), QStringList{u"a"_s});
}

void TestDatabaseBackups::restoreMakesAStoreWhereThereIsNone()
{
    makeOldStoreAndBackup();
    QVERIFY(QFile::remove(storePath()));

    QCOMPARE(backups().restore(backup), QString());

    QCOMPARE(aliasesIn(storePath()), u"new"_s);
    QCOMPARE(permissionsOf(storePath()), 0600U);
    // The WAL that was there without a database.
    const QStringList aside = QDir(folder->path()).entryList({u"store.db-replaced.*-wal"_s});
    QCOMPARE(aside.size(), 1);
    QVERIFY(readFile(path(aside.first())).contains("logged"));
}

void TestDatabaseBackups::restoreRefusesWhatItCannotUse_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<Cause>("cause");
    QTest::newRow("damaged") << u"damaged.db"_s << Cause::Damaged;
    QTest::newRow("foreign") << u"foreign.db"_s << Cause::ForeignDatabase;
    QTest::newRow("not there") << u"nowhere.db"_s << Cause::Other;
    QTest::newRow("the store itself") << u"store.db"_s << Cause::Other;
    QTest::newRow("a link to the store") << u"link.db"_s << Cause::Other;
}

void TestDatabaseBackups::restoreRefusesWhatItCannotUse()
{
    QFETCH(const QString, name);
    QFETCH(const Cause, cause);
    makeOldStoreAndBackup();
    QVERIFY(QFile::copy(backup, path(u"damaged.db"_s)));
    QVERIFY(QFile(path(u"damaged.db"_s)).resize(4 * 4096));
    RawDatabase(path(u"foreign.db"_s)).run(u"CREATE TABLE a (b)"_s);
    QVERIFY(QFile::link(storePath(), path(u"link.db"_s)));
    const QByteArray before = readFile(storePath());
    const QStringList entries = entriesOf(folder->path());

    const DatabaseError error = errorOf([&] { backups().restore(path(name)); });

    QCOMPARE(error.cause(), cause);
    QVERIFY2(error.text().contains(path(name)), error.what());
    QCOMPARE(readFile(storePath()), before);
    QCOMPARE(entriesOf(folder->path()), entries);
}

void TestDatabaseBackups::restoreRefusesABackupOfAnotherStore()
{
    SqliteDatabaseFactory::open(path(u"other.db"_s));
    const QString other =
        DatabaseBackups(path(u"other.db"_s)).makeAt(path(u"other-backup.db"_s)).path;
    store.reset();
    const QByteArray before = readFile(storePath());

    const DatabaseError error = errorOf([&] { backups().restore(other); });

    QCOMPARE(error.cause(), Cause::OtherStore);
    QVERIFY2(error.text().contains(other), error.what());
    QCOMPARE(readFile(storePath()), before);
    backups().restore(other, DatabaseBackups::OtherStore::Allowed);
    QCOMPARE(RawDatabase(storePath()).value(CountServers), u"0"_s);
}

void TestDatabaseBackups::aDamagedStoreStillHasItsId()
{
    SqliteDatabaseFactory::open(path(u"other.db"_s));
    const auto own = backups().makeAt(path(u"own-backup.db"_s));
    store.reset();
    QByteArray bytes = readFile(storePath());
    bytes.replace(5 * 4096, 4096, QByteArray(4096, '\xA5'));
    writeFile(storePath(), bytes);

    QVERIFY(backups().isOfOtherStore(path(u"other.db"_s)));
    QVERIFY(!backups().isOfOtherStore(own.path));
    QVERIFY(!backups().isOfOtherStore(path(u"nowhere.db"_s)));
}

void TestDatabaseBackups::restoreLeavesTheDatabaseOfAnotherProgramAlone()
{
    makeOldStoreAndBackup();
    const QString foreign = path(u"foreign.db"_s);
    RawDatabase(foreign).run(u"CREATE TABLE a (b)"_s);
    const QByteArray before = readFile(foreign);

    const DatabaseError error = errorOf([&] { DatabaseBackups(foreign).restore(backup); });

    QCOMPARE(error.cause(), Cause::ForeignDatabase);
    QCOMPARE(readFile(foreign), before);
}

void TestDatabaseBackups::restoreRefusesWhileAnotherProcessHasTheStoreOpen()
{
    makeOldStoreAndBackup();
    {
        const OtherProcess other(storePath());
        QVERIFY(other.isReady);

        const DatabaseError error = errorOf([&] { backups().restore(backup); });

        QCOMPARE(error.cause(), Cause::Busy);
        QVERIFY2(error.text().contains(storePath()), error.what());
        QVERIFY2(error.text().contains(u"process %1 "_s.arg(other.processId())), error.what());
        QCOMPARE(aliasesIn(storePath()), u"old logged"_s);
    }

    backups().restore(backup);

    QCOMPARE(aliasesIn(storePath()), u"new"_s);
}

void TestDatabaseBackups::restoreRefusesWhileThisProcessHasTheStoreOpen()
{
    makeOldStoreAndBackup();
    const auto factory = SqliteDatabaseFactory::open(storePath());
    const auto query = factory->CreateQuery();

    QCOMPARE(errorOf([&] { backups().restore(backup); }).cause(), Cause::Busy);

    query->prepare(CountServers);
    QVERIFY(query->exec() && query->next());
    QCOMPARE(query->value(0).toInt(), 2);
}

void TestDatabaseBackups::whoOpenedTheStoreButDidNotReadYetSeesTheNewContent()
{
    makeOldStoreAndBackup();
    RawDatabase early(storePath());

    backups().restore(backup);
    early.run(u"INSERT INTO ServerConfiguration (alias) VALUES ('late')"_s);

    QCOMPARE(aliasesIn(storePath()), u"new late"_s);
}

void TestDatabaseBackups::restoreKeepsEveryByteOfADamagedStore()
{
    makeOldStoreAndBackup();
    QByteArray bytes = readFile(storePath());
    bytes.replace(5 * 4096, 4096, QByteArray(4096, '\xA5'));
    writeFile(storePath(), bytes);
    const QByteArray log = readFile(storePath() + u"-wal"_s);

    const QString kept = backups().restore(backup);

    QCOMPARE(aliasesIn(storePath()), u"new"_s);
    QCOMPARE(readFile(kept), bytes);
    QCOMPARE(readFile(kept + u"-wal"_s), log);
    QCOMPARE(permissionsOf(kept), 0600U);
}

void TestDatabaseBackups::restoreTakesABackupOfOtherPages()
{
    makeOldStoreAndBackup();
    RawDatabase(backup).run(u"PRAGMA page_size = 8192; VACUUM"_s);

    const QString kept = backups().restore(backup);

    QCOMPARE(aliasesIn(storePath()), u"new"_s);
    QCOMPARE(aliasesIn(kept), u"old logged"_s);
    SqliteDatabaseFactory::open(storePath());
    QCOMPARE(RawDatabase(storePath()).value(u"PRAGMA page_size"_s), u"8192"_s);
    QCOMPARE(RawDatabase(storePath()).value(u"PRAGMA journal_mode"_s), u"wal"_s);
}

void TestDatabaseBackups::restoreTakesABackupWithItsLog()
{
    makeOldStoreAndBackup();
    RawDatabase(backup).run(u"PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0;"
                            u"INSERT INTO ServerConfiguration (alias) VALUES ('logged as well')"_s);
    const QByteArray before = readFile(backup);

    backups().restore(backup);

    QCOMPARE(aliasesIn(storePath()), u"new logged as well"_s);
    QCOMPARE(readFile(backup), before);
}

void TestDatabaseBackups::anyDamageCanBeRestored()
{
    makeOldStoreAndBackup();
    const QByteArray good = readFile(storePath());
    const QByteArray log = readFile(storePath() + u"-wal"_s);
    std::mt19937 random(20261120);
    const auto below = [&random](qsizetype limit) {
        return std::uniform_int_distribution<qsizetype>(0, limit - 1)(random);
    };

    for (int round = 0; round < 500; ++round) {
        QByteArray bytes = good;
        // In the header, anywhere, or with the end cut off.
        const qsizetype reach = round % 4 == 0 ? 100 : bytes.size();
        for (int flip = 0; flip < 8; ++flip)
            bytes[below(reach)] = static_cast<char>(below(256));
        // The mark of another program does not count as damage.
        bytes.replace(68, 4, good.mid(68, 4));
        if (round % 4 == 1)
            bytes.truncate(1 + below(bytes.size()));
        writeFile(storePath(), bytes);
        writeFile(storePath() + u"-wal"_s, round % 3 == 0 ? QByteArray() : log);

        // Chance may write another id into the store.
        const QString kept = backups().restore(backup, DatabaseBackups::OtherStore::Allowed);

        QCOMPARE(aliasesIn(storePath()), u"new"_s);
        QVERIFY2(!QFile::exists(kept + u"-wal"_s) || readFile(kept) == bytes, qPrintable(kept));
    }
}

void TestDatabaseBackups::restoreThatIsKilledLeavesTheOldContentOrTheNew_data()
{
    using Change = std::function<void(const QString& store, const QString& backup)>;
    QTest::addColumn<Change>("change");
    QTest::addColumn<bool>("oldOpens");
    QTest::newRow("healthy") << Change([](const QString&, const QString&) {}) << true;
    QTest::newRow("other pages") << Change([](const QString&, const QString& copy) {
        RawDatabase(copy).run(u"PRAGMA page_size = 8192; VACUUM"_s);
    }) << true;
    QTest::newRow("damaged") << Change([](const QString& place, const QString&) {
        QByteArray bytes = readFile(place);
        bytes.replace(5 * 4096, 4096, QByteArray(4096, '\xA5'));
        writeFile(place, bytes);
    }) << false;
    QTest::newRow("no database") << Change([](const QString& place, const QString&) {
        writeFile(place, QByteArray(20000, 'x'));
    }) << false;
}

void TestDatabaseBackups::restoreThatIsKilledLeavesTheOldContentOrTheNew()
{
    using Change = std::function<void(const QString& store, const QString& backup)>;
    QFETCH(const Change, change);
    QFETCH(const bool, oldOpens);
    makeOldStoreAndBackup();
    change(storePath(), backup);
    const QByteArray oldBytes = readFile(storePath());
    const QByteArray oldLog = readFile(storePath() + u"-wal"_s);
    const QString place = path(u"place/store.db"_s);
    const DatabaseBackups placed(place);

    auto end = sync::test::ChildEnd::Killed;
    int call = 1;
    for (; end == sync::test::ChildEnd::Killed; call += sync::test::testStride()) {
        QVERIFY(QDir(path(u"place"_s)).removeRecursively());
        QVERIFY(QDir().mkdir(path(u"place"_s)));
        if (!oldBytes.isEmpty())
            writeFile(place, oldBytes);
        writeFile(place + u"-wal"_s, oldLog);

        end = sync::test::runKilledAtCall(call, [&] { placed.restore(backup); });

        QVERIFY(end != sync::test::ChildEnd::Failed);
        const bool hasOldBytes = readFile(place) == oldBytes;
        const bool isOld = oldOpens ? aliasesIn(place) == u"old logged"
                                    : hasOldBytes && readFile(place + u"-wal"_s).startsWith(oldLog);
        if (!isOld)
            QVERIFY(isKept(place, oldBytes, oldLog, oldOpens));
        if (!isOld && !hasOldBytes)
            QCOMPARE(aliasesIn(place), u"new"_s);
        // Its remains are in nobody's way. Not after each call, because this takes its time.
        if (call % 8 == 1) {
            placed.restore(backup);
            QCOMPARE(aliasesIn(place), u"new"_s);
        }
    }
    // A restore is more than a rename.
    const int unharmed = call - sync::test::testStride();
    QVERIFY2(unharmed >= 10, qPrintable(QString::number(unharmed)));
}

QTEST_GUILESS_MAIN(TestDatabaseBackups)
#include "TestDatabaseBackups.moc"
