#include <faults/support/WatchedVfs.h>
#include <support/AsNobody.h>
#include <support/RawDatabase.h>

#include <database/SqliteDatabaseFactory.h>
#include <database/StoreInspection.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <csignal>
#include <functional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

using namespace Qt::StringLiterals;
using sync::test::AsNobody;
using sync::test::giveToNobody;
using sync::test::RawDatabase;

namespace sync::database {

using Kind = StoreInspection::Kind;
using Make = std::function<void(const QString&)>;

/// A process that has a store open after it has run a statement.
class OtherProcess
{
public:
    OtherProcess(const QString& path, const char* sql)
    {
        std::array<int, 2> pipe{};
        if (::pipe(pipe.data()) != 0)
            qFatal("no pipe");
        id = ::fork();
        if (id == 0) {
            RawDatabase user(path);
            ::_exit(user.tryRun(sql) && ::write(pipe[1], "x", 1) == 1 && ::pause());
        }
        ::close(pipe[1]);
        char ready = 0;
        if (::read(pipe[0], &ready, 1) != 1)
            qFatal("the other process has failed");
        ::close(pipe[0]);
    }
    ~OtherProcess() { kill(); }
    Q_DISABLE_COPY_MOVE(OtherProcess)

    void kill()
    {
        if (const pid_t running = std::exchange(id, 0)) {
            ::kill(running, SIGKILL);
            ::waitpid(running, nullptr, 0);
        }
    }

private:
    pid_t id = 0;
};

/// Rewrites a store while it is being read, for a number of times.
class Overtaking : public sync::test::IoWatcher
{
public:
    Overtaking(const QString& path, int times)
        : path(path)
        , times(times)
    {
        sync::test::installWatchedVfs();
    }

    // After the check has read how many pages there are.
    sync::test::IoFate before(const sync::test::IoCall& call) override
    {
        constexpr qint64 SecondPage = 4096;
        if (call.kind == call.Read && call.offset == SecondPage && times > 0) {
            --times;
            RawDatabase(path, sync::test::unwatchedVfs())
                .run(u"PRAGMA journal_mode = DELETE; UPDATE ServerConfiguration SET"
                     u" alias = hex(randomblob(20000)); PRAGMA journal_mode = WAL"_s);
        }
        return {};
    }

private:
    const QString path;
    int times;
};

class TestStoreInspection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void saysWhatAFileIs_data();
    void saysWhatAFileIs();
    void headerAloneTellsWhoseItIs_data() { saysWhatAFileIs_data(); }
    void headerAloneTellsWhoseItIs();
    void namesVersionAndIdentity();
    void namesAllDamage();
    void namesMissingTables();
    void readsTheWalOfAStoreInUse();
    void readsTheWalOfAnotherProcess();
    void readsTheWalOfACrash_data();
    void readsTheWalOfACrash();
    void readsWithoutRights_data();
    void readsWithoutRights();
    void saysThatTheWalCannotBeRead();
    void lockedStoreIsBusy();
    void anOvertakenInspectionIsRepeated();
    void anInspectionThatIsAlwaysOvertakenIsBusy();
    void readOnlyStoreIsOneMoment();
    void endOfAReadersTransactionLeavesNoTrace();
    void readOnlyStoreSaysIfItMayBeInUse();
    void readOnlyStoreTakesNoWrites();
    void writersWorkBesideAReadOnlyStore();
    void aWriterThatComesLaterIsNoticed();
    void aClientThatOpensAndClosesStopsNoReader();
    void noRowIsReadAfterAWriterCame();
    void aClientThatBeginsAWalIsNoticed_data();
    void aClientThatBeginsAWalIsNoticed();
    void onlyStoresOpenReadOnly_data();
    void onlyStoresOpenReadOnly();

private:
    // The content of the folder, with every byte and mode.
    QMap<QString, QByteArray> files() const
    {
        QMap<QString, QByteArray> all;
        const QDir folder(directory->path());
        const auto entries = folder.entryInfoList(
            QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
        for (const QFileInfo& entry : entries) {
            QFile file(entry.filePath());
            const bool isRead = entry.isFile() && file.open(QIODevice::ReadOnly);
            all[entry.fileName()] = isRead ? file.readAll() : QByteArray();
        }
        return all;
    }
    static void makeStore(const QString& file) { SqliteDatabaseFactory::open(file); }
    static Make makeStoreWith(const QString& sql)
    {
        return [sql](const QString& file) {
            makeStore(file);
            RawDatabase(file).run(u"PRAGMA journal_mode = DELETE; "_s + sql);
        };
    }
    static void write(const QString& name, const QByteArray& content)
    {
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
    }
    // A store whose last change is only in the WAL, as a killed program leaves it.
    void makeCrashed(bool withSharedMemory) const
    {
        const QString source = path + u"-source"_s;
        makeStore(source);
        RawDatabase writer(source);
        writer.run(u"PRAGMA user_version = -7"_s);
        for (const QString& ending : {u""_s, u"-wal"_s, u"-shm"_s}) {
            if (withSharedMemory || ending != u"-shm")
                QVERIFY(QFile::copy(source + ending, path + ending));
        }
    }
    static void run(SqliteDatabaseFactory& store, const QString& sql)
    {
        const auto query = store.CreateQuery();
        query->prepare(sql);
        QVERIFY2(query->exec(), qPrintable(query->lastError()));
    }
    static int countOfSchedules(SqliteDatabaseFactory& store)
    {
        const auto query = store.CreateQuery();
        query->prepare(u"SELECT count(*) FROM Schedules"_s);
        return query->exec() && query->next() ? query->value(0).toInt() : -1;
    }
    static bool setMode(const QString& file, mode_t mode)
    {
        return ::chmod(QFile::encodeName(file).constData(), mode) == 0;
    }

    std::unique_ptr<QTemporaryDir> directory;
    QString path;
};

void TestStoreInspection::init()
{
    directory = std::make_unique<QTemporaryDir>();
    path = directory->filePath(u"store.db"_s);
}

void TestStoreInspection::saysWhatAFileIs_data()
{
    QTest::addColumn<Make>("make");
    QTest::addColumn<Kind>("whole");
    QTest::addColumn<Kind>("header");
    QTest::addColumn<QString>("finding");

    const auto add = [](const char* name, const Make& make, Kind whole, Kind header,
                        const QString& finding) {
        QTest::newRow(name) << make << whole << header << finding;
    };
    add(
        "nothing", [](const QString&) {}, Kind::Missing, Kind::Missing, u"does not exist."_s);
    add(
        "directory", [](const QString& file) { QDir().mkdir(file); }, Kind::Directory,
        Kind::Directory, u"is a directory."_s);
    add(
        "pipe", [](const QString& file) { ::mkfifo(QFile::encodeName(file).constData(), S_IRUSR); },
        Kind::NotAFile, Kind::NotAFile, u"is not a regular file."_s);
    for (const char* const ending : {"-wal", "-shm", "-journal"}) {
        add(
            ending,
            [ending](const QString& file) {
                makeStore(file);
                ::mkfifo((QFile::encodeName(file) + ending).constData(), S_IRUSR | S_IWUSR);
            },
            Kind::NotAFile, Kind::NotAFile, u"cannot be used, because "_s);
    }
    add(
        "no bytes", [](const QString& file) { write(file, {}); }, Kind::Empty, Kind::Empty,
        u"is empty."_s);
    add(
        "no bytes beside a WAL",
        [](const QString& file) {
            write(file, {});
            write(file + u"-wal"_s, QByteArray(100, 'x'));
        },
        Kind::Damaged, Kind::Damaged, u"is damaged: it is empty, but its WAL is not."_s);
    add(
        "no tables", [](const QString& file) { RawDatabase(file).run(u"VACUUM"_s); }, Kind::Empty,
        Kind::Empty, u"is empty."_s);
    add(
        "text", [](const QString& file) { write(file, QByteArray(5000, 'x')); }, Kind::NotADatabase,
        Kind::NotADatabase, u"is not an SQLite database."_s);
    add(
        "a few bytes", [](const QString& file) { write(file, "SQLite"); }, Kind::NotADatabase,
        Kind::NotADatabase, u"is not an SQLite database."_s);
    add(
        "another program's",
        [](const QString& file) { RawDatabase(file).run(u"CREATE TABLE a (b)"_s); }, Kind::Foreign,
        Kind::Foreign, u"is a database of another program."_s);
    add("with another mark", makeStoreWith(u"PRAGMA application_id = 7"_s), Kind::Foreign,
        Kind::Foreign, u"is a database of another program."_s);
    add("ours", makeStore, Kind::Ours, Kind::Ours, {});
    add("ours with a journal", makeStoreWith({}), Kind::Ours, Kind::Ours, {});
    add("newer",
        makeStoreWith(u"PRAGMA user_version = 1000; UPDATE StoreIdentity SET "
                      u"lastCompatibleVersion = 999"_s),
        Kind::TooNew, Kind::TooNew, u"has schema version 1000, and this program knows versions"_s);
    add("newer but compatible", makeStoreWith(u"PRAGMA user_version = 1000"_s), Kind::Ours,
        Kind::Ours, {});
    add("impossible version", makeStoreWith(u"PRAGMA user_version = -7"_s), Kind::Damaged,
        Kind::Damaged, u"is damaged: its schema version is -7."_s);
    add("without a table", makeStoreWith(u"DROP TABLE Schedules"_s), Kind::Damaged, Kind::Ours,
        u"is damaged: the table Schedules is missing."_s);
    add("without its identity", makeStoreWith(u"DROP TABLE StoreIdentity"_s), Kind::Damaged,
        Kind::Ours, u"is damaged: no such table: StoreIdentity"_s);
    add(
        "cut off",
        [](const QString& file) {
            makeStore(file);
            QFile(file).resize(3 * 4096);
        },
        Kind::Damaged, Kind::Ours, u"is damaged: "_s);
    add(
        "unfinished transaction",
        [](const QString& file) {
            makeStore(file + u"-source"_s);
            RawDatabase writer(file + u"-source"_s);
            writer.run(u"PRAGMA journal_mode = DELETE; PRAGMA cache_size = 1; BEGIN;"
                       u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n"
                       u" WHERE i < 2000) INSERT INTO Schedules (folderConfigurationId, startTime)"
                       u" SELECT 0, hex(randomblob(100)) FROM n"_s);
            QVERIFY(QFile::copy(file + u"-source"_s, file));
            QVERIFY(QFile::copy(file + u"-source-journal"_s, file + u"-journal"_s));
        },
        Kind::Unfinished, Kind::Ours, u"has a transaction that was not finished."_s);
}

void TestStoreInspection::saysWhatAFileIs()
{
    QFETCH(Make, make);
    QFETCH(Kind, whole);
    QFETCH(QString, finding);
    make(path);
    const auto before = files();

    const StoreInspection inspection(path);

    QCOMPARE(files(), before);
    QCOMPARE(inspection.kind(), whole);
    if (!finding.isEmpty()) {
        const QString text = inspection.finding(u"The file"_s);
        QVERIFY2(text.startsWith(u"The file "_s + finding), qPrintable(text));
    }
}

void TestStoreInspection::headerAloneTellsWhoseItIs()
{
    QFETCH(Make, make);
    QFETCH(Kind, header);
    make(path);
    const auto before = files();

    const StoreInspection inspection(path, StoreInspection::Depth::Header);

    QCOMPARE(files(), before);
    QCOMPARE(inspection.kind(), header);
}

void TestStoreInspection::namesVersionAndIdentity()
{
    const QString id = SqliteDatabaseFactory::open(path)->storeId();
    const QString link = directory->filePath(u"link"_s);
    QVERIFY(QFile::link(path, link));
    const StoreInspection own(link);
    RawDatabase(path).run(u"UPDATE StoreIdentity SET machineStamp = 'elsewhere'"_s);

    const StoreInspection moved(path);

    QCOMPARE(own.path(), QFileInfo(path).canonicalFilePath());
    QCOMPARE(own.schemaVersion(), SqliteDatabaseFactory::schemaVersion());
    QCOMPARE(own.storeId(), id);
    QVERIFY(own.isWritable() && own.readsWal() && !own.isMoved());
    QVERIFY(moved.isMoved());
}

void TestStoreInspection::namesAllDamage()
{
    makeStoreWith(u"PRAGMA writable_schema = ON; UPDATE sqlite_schema SET"
                  u" sql = replace(sql, '(folderConfigurationId)', '(id)')"
                  u" WHERE name = 'SchedulesByFolder'; PRAGMA writable_schema = RESET;"
                  u"INSERT INTO Schedules (folderConfigurationId) VALUES (4), (5), (6);"
                  u"PRAGMA writable_schema = ON; UPDATE sqlite_schema SET"
                  u" sql = replace(sql, '(id)', '(folderConfigurationId)')"
                  u" WHERE name = 'SchedulesByFolder'; PRAGMA writable_schema = OFF"_s)(path);

    const StoreInspection inspection(path);

    QCOMPARE(inspection.kind(), Kind::Damaged);
    QCOMPARE(inspection.cause(), DatabaseError::Cause::Damaged);
    QVERIFY(inspection.damage().size() > 2);
    QVERIFY(inspection.damage().constFirst().contains(u"SchedulesByFolder"));
}

void TestStoreInspection::namesMissingTables()
{
    makeStoreWith(u"DROP TABLE Schedules; DROP TABLE ProductConfiguration"_s)(path);

    const StoreInspection inspection(path);

    QCOMPARE(inspection.missingTables(), (QStringList{u"ProductConfiguration"_s, u"Schedules"_s}));
}

void TestStoreInspection::readsTheWalOfAStoreInUse()
{
    const auto store = SqliteDatabaseFactory::open(path);
    RawDatabase writer(path);
    writer.run(u"INSERT INTO Schedules (folderConfigurationId) VALUES (4)"_s);
    const auto before = files();
    const StoreInspection whole(path);
    const auto after = files();
    writer.run(u"PRAGMA user_version = -7"_s);

    const StoreInspection damaged(path);

    QCOMPARE(after, before);
    QCOMPARE(whole.kind(), Kind::Ours);
    QCOMPARE(damaged.kind(), Kind::Damaged);
}

void TestStoreInspection::readsTheWalOfAnotherProcess()
{
    makeStore(path);
    OtherProcess other(path, "PRAGMA user_version = -7");
    const auto before = files();

    const StoreInspection inUse(path);
    const auto whileInUse = files();
    other.kill();
    const StoreInspection leftBehind(path);

    QCOMPARE(inUse.kind(), Kind::Damaged);
    QCOMPARE(whileInUse, before);
    QCOMPARE(leftBehind.kind(), Kind::Damaged);
    QCOMPARE(files(), before);
}

void TestStoreInspection::readsTheWalOfACrash_data()
{
    QTest::addColumn<bool>("withSharedMemory");
    QTest::newRow("with its shared memory") << true;
    QTest::newRow("copied without it") << false;
}

void TestStoreInspection::readsTheWalOfACrash()
{
    QFETCH(bool, withSharedMemory);
    makeCrashed(withSharedMemory);
    const auto before = files();

    const StoreInspection inspection(path);

    QCOMPARE(files(), before);
    QCOMPARE(inspection.kind(), Kind::Damaged);
    QCOMPARE(inspection.schemaVersion(), -7);
    QVERIFY(inspection.readsWal());
}

void TestStoreInspection::readsWithoutRights_data()
{
    QTest::addColumn<Make>("make");
    QTest::addColumn<Kind>("kind");
    QTest::newRow("closed store") << Make(makeStore) << Kind::Ours;
    QTest::newRow("store with a journal") << makeStoreWith({}) << Kind::Ours;
    QTest::newRow("left by a crash")
        << Make([this](const QString&) { makeCrashed(true); }) << Kind::Damaged;
    QTest::newRow("left by a crash, without shared memory")
        << Make([this](const QString&) { makeCrashed(false); }) << Kind::Damaged;
}

void TestStoreInspection::readsWithoutRights()
{
    QFETCH(Make, make);
    QFETCH(Kind, kind);
    make(path);
    QVERIFY(giveToNobody(directory->path()));
    for (const QString& name : files().keys())
        QVERIFY(setMode(directory->filePath(name), 0400));
    QVERIFY(setMode(directory->path(), 0500));

    const AsNobody asNobody;
    const auto before = files();
    const StoreInspection inspection(path);
    const auto after = files();
    QVERIFY(setMode(directory->path(), 0700));

    QCOMPARE(after, before);
    QCOMPARE(inspection.kind(), kind);
    QVERIFY(!inspection.isWritable() && inspection.readsWal());
}

void TestStoreInspection::saysThatTheWalCannotBeRead()
{
    makeCrashed(true);
    QVERIFY(giveToNobody(directory->path()));
    QVERIFY(setMode(path + u"-wal"_s, 0000));

    const AsNobody asNobody;
    const StoreInspection inspection(path);
    QVERIFY(setMode(path, 0000));
    const StoreInspection unreadable(path);

    QCOMPARE(inspection.kind(), Kind::Ours);
    QVERIFY(!inspection.readsWal());
    QCOMPARE(unreadable.kind(), Kind::Unreadable);
    QCOMPARE(unreadable.cause(), DatabaseError::Cause::NoPermission);
}

void TestStoreInspection::lockedStoreIsBusy()
{
    makeStoreWith({})(path);
    RawDatabase other(path);
    other.run(u"BEGIN EXCLUSIVE"_s);

    const StoreInspection inspection(path);

    QCOMPARE(inspection.kind(), Kind::Busy);
}

void TestStoreInspection::anOvertakenInspectionIsRepeated()
{
    run(*SqliteDatabaseFactory::open(path),
        u"INSERT INTO ServerConfiguration (alias) VALUES ('a')"_s);
    Overtaking writer(path, 2);
    const sync::test::IoWatch watch(writer);

    const StoreInspection inspection(path);

    QVERIFY2(inspection.kind() == Kind::Ours, qPrintable(inspection.finding(path)));
}

void TestStoreInspection::anInspectionThatIsAlwaysOvertakenIsBusy()
{
    run(*SqliteDatabaseFactory::open(path),
        u"INSERT INTO ServerConfiguration (alias) VALUES ('a')"_s);
    Overtaking writer(path, 1000);
    const sync::test::IoWatch watch(writer);

    const StoreInspection inspection(path);

    QVERIFY2(inspection.kind() == Kind::Busy, qPrintable(inspection.finding(path)));
}

void TestStoreInspection::readOnlyStoreIsOneMoment()
{
    const auto writing = SqliteDatabaseFactory::open(path);
    run(*writing, u"INSERT INTO Schedules (folderConfigurationId) VALUES (4)"_s);
    const auto before = files();
    const auto reading = SqliteDatabaseFactory::openReadOnly(path);
    const auto moment = reading->GetDatabase();
    QVERIFY(moment->transaction());
    const int first = countOfSchedules(*reading);
    const auto after = files();

    run(*writing, u"INSERT INTO Schedules (folderConfigurationId) VALUES (5)"_s);
    const int second = countOfSchedules(*reading);
    QVERIFY(moment->commit());

    QCOMPARE(after, before);
    QCOMPARE(first, second);
    QCOMPARE(countOfSchedules(*reading), first + 1);
    QCOMPARE(reading->storeId(), writing->storeId());
}

void TestStoreInspection::endOfAReadersTransactionLeavesNoTrace()
{
    makeStore(path);
    const auto before = files();
    const auto reading = SqliteDatabaseFactory::openReadOnly(path);
    const auto moment = reading->GetDatabase();

    QVERIFY(moment->transaction());
    QCOMPARE(countOfSchedules(*reading), 1);
    QVERIFY(moment->commit());

    QCOMPARE(files(), before);
    QVERIFY(reading->hasWriteAheadLog());
}

void TestStoreInspection::readOnlyStoreSaysIfItMayBeInUse()
{
    makeStore(path);
    const bool alone = SqliteDatabaseFactory::openReadOnly(path)->mayBeInUse();
    const OtherProcess other(path, "DELETE FROM Schedules");

    const auto reading = SqliteDatabaseFactory::openReadOnly(path);

    QVERIFY(!alone);
    QVERIFY(reading->mayBeInUse());
}

void TestStoreInspection::readOnlyStoreTakesNoWrites()
{
    makeStore(path);
    const auto before = files();
    const auto reading = SqliteDatabaseFactory::openReadOnly(path);
    QStringList errors;
    const auto write = [&] {
        const auto query = reading->CreateQuery();
        query->prepare(u"INSERT INTO Schedules (folderConfigurationId) VALUES (4)"_s);
        errors += query->exec() ? QString() : query->lastError();
    };

    write();
    std::thread(write).join();

    QCOMPARE(errors.filter(u"readonly"_s).size(), 2);
    QCOMPARE(files(), before);
}

// The connections of a process share the memory beside the file: it must not be read-only for all.
void TestStoreInspection::writersWorkBesideAReadOnlyStore()
{
    makeStore(path);
    const OtherProcess other(path, "DELETE FROM Schedules");
    const auto reading = SqliteDatabaseFactory::openReadOnly(path);
    const int before = countOfSchedules(*reading);

    const auto writing = SqliteDatabaseFactory::open(path);
    run(*writing, u"INSERT INTO Schedules (folderConfigurationId) VALUES (5)"_s);

    QCOMPARE(before, 0);
    QCOMPARE(countOfSchedules(*reading), 1);
}

// Nobody had the store open, so it is read without locks.
void TestStoreInspection::aWriterThatComesLaterIsNoticed()
{
    makeStore(path);
    const auto reading = SqliteDatabaseFactory::openReadOnly(path);
    auto query = reading->CreateQuery();
    query->prepare(u"SELECT id FROM Schedules"_s);
    QVERIFY(query->exec() && query->next());

    run(*SqliteDatabaseFactory::open(path),
        u"INSERT INTO Schedules (folderConfigurationId) VALUES (5)"_s);

    QVERIFY(!query->next());
    QVERIFY(!query->lastError().isEmpty());
    QCOMPARE(reading->lastFailure()->cause, DatabaseError::Cause::Busy);
    query.reset();
    QCOMPARE(countOfSchedules(*reading), 2);
}

// It removes the WAL and its index each time, and makes them again.
void TestStoreInspection::aClientThatOpensAndClosesStopsNoReader()
{
    makeStore(path);
    const pid_t client = ::fork();
    if (client == 0) {
        for (;;) {
            RawDatabase user(path);
            sqlite3_db_config(user.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
            user.tryRun("UPDATE Schedules SET syncInterval = syncInterval + 1");
        }
    }

    QStringList failures;
    for (int round = 0; round < 2000; ++round) {
        try {
            SqliteDatabaseFactory::openReadOnly(path);
        } catch (const DatabaseError& error) {
            if (error.cause() != DatabaseError::Cause::Busy)
                failures += error.text();
        }
    }
    ::kill(client, SIGKILL);
    ::waitpid(client, nullptr, 0);

    QCOMPARE(failures.join(u"\n"_s), QString());
}

// Each row comes from before the write, also those of pages that are read after it.
void TestStoreInspection::noRowIsReadAfterAWriterCame()
{
    makeStore(path);
    RawDatabase(path).run(
        u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)"
        u" INSERT INTO Schedules (syncInterval) SELECT 7 FROM n; PRAGMA wal_checkpoint(TRUNCATE)"_s);
    SqliteDatabaseFactory::open(path);
    const auto reading = SqliteDatabaseFactory::openReadOnly(path);
    auto query = reading->CreateQuery();
    query->prepare(u"SELECT syncInterval FROM Schedules WHERE syncInterval <> 30"_s);
    QVERIFY(query->exec() && query->next());

    run(*SqliteDatabaseFactory::open(path), u"UPDATE Schedules SET syncInterval = 8"_s);

    int rows = 1;
    for (; query->next(); ++rows)
        QCOMPARE(query->value(0).toInt(), 7);
    QVERIFY(rows < 5000);
    QCOMPARE(reading->lastFailure()->cause, DatabaseError::Cause::Busy);
}

void TestStoreInspection::aClientThatBeginsAWalIsNoticed_data()
{
    QTest::addColumn<bool>("clientEnds");
    QTest::newRow("and stays") << false;
    QTest::newRow("and ends") << true;
}

// A store with a journal is locked only while a statement runs, so a client may switch it.
void TestStoreInspection::aClientThatBeginsAWalIsNoticed()
{
    QFETCH(const bool, clientEnds);
    makeStoreWith({})(path);
    const auto reading = SqliteDatabaseFactory::openReadOnly(path);
    auto query = reading->CreateQuery();
    query->prepare(u"SELECT count(*) FROM Schedules"_s);
    QVERIFY(query->exec() && query->next() && !query->next());
    auto client = SqliteDatabaseFactory::open(path);
    run(*client, u"INSERT INTO Schedules (folderConfigurationId) VALUES (5)"_s);
    if (clientEnds)
        client.reset();
    const auto before = files();

    QVERIFY(!query->exec());

    QCOMPARE(reading->lastFailure()->cause, DatabaseError::Cause::Busy);
    query.reset();
    QCOMPARE(countOfSchedules(*reading), 2);
    QVERIFY(files() == before);
}

void TestStoreInspection::onlyStoresOpenReadOnly_data()
{
    QTest::addColumn<Make>("make");
    QTest::addColumn<DatabaseError::Cause>("cause");
    QTest::newRow("nothing") << Make([](const QString&) {}) << DatabaseError::Cause::Other;
    QTest::newRow("empty") << Make([](const QString& file) { write(file, {}); })
                           << DatabaseError::Cause::NotADatabase;
    QTest::newRow("another program's")
        << Make([](const QString& file) { RawDatabase(file).run(u"CREATE TABLE a (b)"_s); })
        << DatabaseError::Cause::ForeignDatabase;
    QTest::newRow("impossible version in the WAL")
        << Make([this](const QString&) { makeCrashed(false); }) << DatabaseError::Cause::Damaged;
}

void TestStoreInspection::onlyStoresOpenReadOnly()
{
    QFETCH(Make, make);
    QFETCH(DatabaseError::Cause, cause);
    make(path);
    const auto before = files();

    try {
        SqliteDatabaseFactory::openReadOnly(path);
        QFAIL("opened");
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), cause);
        QVERIFY2(error.text().contains(path), qPrintable(error.text()));
    }
    QCOMPARE(files(), before);
}

} // namespace sync::database

QTEST_GUILESS_MAIN(sync::database::TestStoreInspection)
#include "TestStoreInspection.moc"
