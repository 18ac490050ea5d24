#include <faults/support/WatchedVfs.h>
#include <support/AsNobody.h>
#include <support/CapturedWarnings.h>
#include <support/FileBytes.h>
#include <support/RawDatabase.h>
#include <support/Repetitions.h>
#include <support/SystemCalls.h>

#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/StoreInspection.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <utility>
#include <vector>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using sync::database::DatabaseError;
using sync::database::Failure;
using sync::database::SqliteDatabaseFactory;
using sync::database::StoreInspection;
using sync::test::AsNobody;
using sync::test::CapturedWarnings;
using sync::test::giveToNobody;
using sync::test::RawDatabase;
using sync::test::readFile;
using sync::test::SystemCall;
using sync::test::SystemCallWatch;
using sync::test::writeFile;
using Cause = DatabaseError::Cause;

namespace {

// A journal that undoes all that was added to a file of this many pages: its magic, no record, a
// nonce, the pages, and the sizes of a sector and a page.
QByteArray journalOfSizeBefore(char pages)
{
    QByteArray header =
        QByteArray::fromHex("d9d505f920a163d7 00000000 12345678 00000000 00000200 00001000");
    header[15 + 4] = pages;
    return header.leftJustified(512, '\0');
}

constexpr qint64 DamagedPage = 300;

// More pages than are checked at each opening, one of them overwritten. It was closed in order.
void makeLargeAndDamaged(const QString& file)
{
    SqliteDatabaseFactory::open(file);
    RawDatabase(file).run(
        u"PRAGMA journal_mode = DELETE; INSERT INTO ProductConfiguration (name)"
        u" SELECT replace(hex(zeroblob(500)), '0', 'x') FROM"
        u" (WITH RECURSIVE n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 2000)"
        u" SELECT i FROM n); PRAGMA journal_mode = WAL"_s);
    QFile bytes(file);
    QVERIFY(bytes.open(QIODevice::ReadWrite));
    QVERIFY(bytes.size() > 400 * 4096);
    QVERIFY(bytes.seek(DamagedPage * 4096));
    QCOMPARE(bytes.write(QByteArray(4096, '\xA5')), 4096);
    bytes.close();
    QFile::remove(file + u"-wal"_s);
    QFile::remove(file + u"-shm"_s);
}

bool add(SqliteDatabaseFactory& factory, const QString& alias)
{
    const auto query = factory.CreateQuery();
    query->prepare(u"INSERT INTO ServerConfiguration (alias) VALUES (:alias)"_s);
    query->bindValue(u":alias"_s, alias);
    return query->exec();
}

Cause causeOfOpening(const QString& file)
{
    try {
        SqliteDatabaseFactory::open(file);
    } catch (const DatabaseError& error) {
        return error.cause();
    }
    return static_cast<Cause>(-1);
}

/// Opens a damaged store on another thread while it is being opened, when all pages are checked.
class SecondOpening : public sync::test::IoWatcher
{
public:
    explicit SecondOpening(const QString& file)
        : file(file)
    {
    }

    sync::test::IoFate before(const sync::test::IoCall& call) override
    {
        if (call.kind == call.Read && call.offset == DamagedPage * 4096 &&
            !std::exchange(isBegun, true)) {
            cause = std::async(std::launch::async, [this] { return causeOfOpening(file); });
            // It has to wait. Without the lock it would have ended long before.
            cause.wait_for(200ms);
        }
        return {};
    }

    std::future<Cause> cause;

private:
    const QString file;
    bool isBegun = false;
};

constexpr qsizetype WalFrameBytes = 24 + 4096;

/// How often a WAL has begun anew (sqlite.org/fileformat.html, "WAL Header Format").
quint32 restartsOfWal(const QString& database)
{
    QFile wal(database + u"-wal"_s);
    return wal.open(QIODevice::ReadOnly) && wal.seek(12)
               ? qFromBigEndian<quint32>(wal.read(4).leftJustified(4, '\0').constData())
               : 0;
}

} // namespace

class TestSqliteDatabaseFactory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void createsFileAndFoldersForTheUserAlone();
    void aNewStoreIsDurableWithItsFolders();
    void aFailedSyncOfTheFolderIsAnError();
    void opensItsOwnDatabaseAgain();
    void takesOverAnEmptyDatabase();
    void leavesAnEmptyFileAlone();
    void leavesAWalWithoutItsFileAlone();
    void trustsNoSchemaAndNoMistypedName();
    void keepsADamagedWalAndSaysWhatIsLost_data();
    void keepsADamagedWalAndSaysWhatIsLost();
    void readsNoWalOfAnImpossiblePageSize();
    void aWalThatEndsInTheMiddleIsNoLoss_data();
    void aWalThatEndsInTheMiddleIsNoLoss();
    void marksItsFile();
    void defaultPathIsInTheUsersApplicationData();
    void relativePathsAreMadeAbsolute();
    void aNameThatBeginsWithAColonIsAFile();
    void looksAtTheLogBesideTheFileThatALinkLeadsTo();
    void refusesWhatItCannotUseAndLeavesItAlone_data();
    void refusesWhatItCannotUseAndLeavesItAlone();
    void refusesANewerVersionThatOnlyTheLogHolds();
    void usesANewerVersionThatLetsIt_data();
    void usesANewerVersionThatLetsIt();
    void refusesAReadOnlyPlace();
    void aConnectionThatCanOnlyReadIsNotKept();
    void findsADamagedPage();
    void carriesOnAfterACrashWhileTheDatabaseWasMade();
    void carriesOnAfterAPowerCutWhileTheDatabaseWasMade();
    void threadsThatOpenOneNewPathAtOnceShareIt();
    void threadsWriteAndReadAtTheSameTime();
    void readersDoNotWaitForAWriter();
    void leavesTheFileWholeAndAloneWhenItCloses();
    void leavesTheLogToThoseWhoStay();
    void aRefusedFileKeepsItsLog();
    void findsDamageInALargeFileAfterAnUncleanEnd();
    void aSecondOpeningAfterAnUncleanEndAlsoFindsTheDamage();
    void doesNotReadAllOfALargeFileThatWasClosed();
    void doesNotTakeOtherUsersForAnUncleanEnd();
    void takesNoFileOfZerosOver_data();
    void takesNoFileOfZerosOver();
    void usesTheJournalWhileAnotherProgramKeepsTheFileLocked();
    void saysWhatAFailedSyncLeavesWithoutAWal();
    void theLogStaysBoundedUnderConstantWriting();
    void theLogStaysBoundedWhileReadersComeAndGo();
    void aQueryOutlivesItsFactory();

private:
    QString path(const QString& name) const { return folder->filePath(name); }
    void leaveWalOfTenCommits();

    std::unique_ptr<QTemporaryDir> folder;
};

void TestSqliteDatabaseFactory::init()
{
    folder = std::make_unique<QTemporaryDir>();
}

void TestSqliteDatabaseFactory::createsFileAndFoldersForTheUserAlone()
{
    const auto factory = SqliteDatabaseFactory::open(path(u"new/folders/store.db"_s));
    QVERIFY(add(*factory, u"a"_s));

    struct stat status = {};
    QCOMPARE(::stat(path(u"new/folders/store.db"_s).toUtf8().constData(), &status), 0);
    QCOMPARE(status.st_mode & 0777U, 0600U);
    QCOMPARE(::stat(path(u"new/folders/store.db-wal"_s).toUtf8().constData(), &status), 0);
    QCOMPARE(status.st_mode & 0777U, 0600U);
    QCOMPARE(::stat(path(u"new"_s).toUtf8().constData(), &status), 0);
    QCOMPARE(status.st_mode & 0777U, 0700U);
    QCOMPARE(factory->path(), path(u"new/folders/store.db"_s));
}

void TestSqliteDatabaseFactory::aNewStoreIsDurableWithItsFolders()
{
    const QByteArray root = folder->path().toUtf8();
    const QString file = path(u"new/folders/store.db"_s);
    QList<QByteArray> synced;
    QList<QByteArray> syncedWithWal;
    {
        const SystemCallWatch watch([&](const SystemCall& call) {
            if (call.name == "fsync")
                (QFile::exists(file + u"-wal"_s) ? syncedWithWal : synced) += call.path;
            return 0;
        });
        SqliteDatabaseFactory::open(file);
    }

    QVERIFY(synced.contains(root));
    QVERIFY(synced.contains(root + "/new"));
    QVERIFY(syncedWithWal.contains(root + "/new/folders"));
}

// SQLite ignores it when it syncs a new WAL.
void TestSqliteDatabaseFactory::aFailedSyncOfTheFolderIsAnError()
{
    SqliteDatabaseFactory::open(path(u"store.db"_s));
    {
        const SystemCallWatch watch([this](const SystemCall& call) {
            return call.name == "fsync" && call.path == folder->path().toUtf8() ? EIO : 0;
        });

        QCOMPARE(causeOfOpening(path(u"store.db"_s)), Cause::InputOutput);
    }
    QVERIFY(add(*SqliteDatabaseFactory::open(path(u"store.db"_s)), u"a"_s));
}

void TestSqliteDatabaseFactory::opensItsOwnDatabaseAgain()
{
    const QString file = path(u"a %31?#&%1 \u00e9.db"_s);
    QVERIFY(add(*SqliteDatabaseFactory::open(file), u"kept"_s));

    const auto again = SqliteDatabaseFactory::open(file);

    const auto query = again->CreateQuery();
    query->prepare(u"SELECT alias FROM ServerConfiguration"_s);
    QVERIFY(query->exec() && query->next());
    QCOMPARE(query->value(0), QVariant(u"kept"_s));
    QCOMPARE(QDir(folder->path()).entryList({u"*.db"_s}).size(), 1);
}

void TestSqliteDatabaseFactory::takesOverAnEmptyDatabase()
{
    RawDatabase(path(u"vacuumed.db"_s)).run(u"CREATE TABLE a (b); DROP TABLE a; VACUUM"_s);

    QVERIFY(add(*SqliteDatabaseFactory::open(path(u"vacuumed.db"_s)), u"a"_s));
}

// It may be what a crash or a full disk has left of a database.
void TestSqliteDatabaseFactory::leavesAnEmptyFileAlone()
{
    const QString file = path(u"store.db"_s);
    writeFile(file, {});

    QVERIFY_THROWS_EXCEPTION(DatabaseError, SqliteDatabaseFactory::open(file));
    QVERIFY_THROWS_EXCEPTION(DatabaseError, SqliteDatabaseFactory::openReadOnly(file));

    QCOMPARE(QFileInfo(file).size(), 0);
    QCOMPARE(QDir(folder->path()).entryList(QDir::Files), QStringList{u"store.db"_s});
}

// SQLite would apply the one to a new file, and delete the other.
void TestSqliteDatabaseFactory::leavesAWalWithoutItsFileAlone()
{
    for (const QString& ending : {u"-wal"_s, u"-journal"_s}) {
        const QString companion = path(u"store.db"_s) + ending;
        writeFile(companion, QByteArray(9000, 'x'));

        QVERIFY_THROWS_EXCEPTION(DatabaseError, SqliteDatabaseFactory::open(path(u"store.db"_s)));

        QCOMPARE(readFile(companion), QByteArray(9000, 'x'));
        QVERIFY(QFile::remove(companion));
        QVERIFY(QDir(folder->path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot));
    }
}

// Leaves a store with ten commits of a page each in its WAL, as a crash does. SQLite itself drops
// what follows the damage, without a word.
void TestSqliteDatabaseFactory::leaveWalOfTenCommits()
{
    const QString file = path(u"store.db"_s);
    SqliteDatabaseFactory::open(file);
    QByteArray wal;
    {
        RawDatabase writer(file);
        for (int number = 1; number <= 10; ++number)
            writer.run(u"UPDATE Schedules SET syncInterval = %1"_s.arg(number));
        wal = readFile(file + u"-wal"_s);
    }
    QCOMPARE(wal.size(), 32 + 10 * WalFrameBytes);
}

void TestSqliteDatabaseFactory::keepsADamagedWalAndSaysWhatIsLost_data()
{
    QTest::addColumn<qsizetype>("offset");
    QTest::addColumn<int>("lost"); // The last commit cannot be told from an unfinished one.
    QTest::addColumn<QString>("interval");
    const qsizetype fourth = 32 + 3 * WalFrameBytes;
    QTest::newRow("a page") << fourth + 2000 << 6 << u"3"_s;
    QTest::newRow("a page number") << fourth + 3 << 6 << u"3"_s;
    QTest::newRow("a mark of a commit") << fourth + 7 << 6 << u"3"_s;
    QTest::newRow("a salt") << fourth + 9 << 5 << u"3"_s;
    QTest::newRow("a checksum") << fourth + 17 << 5 << u"3"_s;
    QTest::newRow("the header") << qsizetype(9) << 9 << u"30"_s;
    QTest::newRow("the magic number") << qsizetype(0) << 9 << u"30"_s;
}

void TestSqliteDatabaseFactory::keepsADamagedWalAndSaysWhatIsLost()
{
    QFETCH(const qsizetype, offset);
    QFETCH(const int, lost);
    QFETCH(const QString, interval);
    leaveWalOfTenCommits();
    const QString file = path(u"store.db"_s);
    QByteArray wal = readFile(file + u"-wal"_s);
    wal[offset] = static_cast<char>(wal[offset] ^ 4);
    writeFile(file + u"-wal"_s, wal);
    QCOMPARE(StoreInspection(file).lostCommits(), lost);

    const auto factory = SqliteDatabaseFactory::open(file);

    const QStringList kept = QDir(folder->path()).entryList({u"store.db-replaced.*-wal"_s});
    QCOMPARE(kept.size(), 1);
    QVERIFY(readFile(path(kept.first())) == wal);
    QCOMPARE(factory->warnings().size(), 1);
    const QString warning = factory->warnings().constFirst();
    QVERIFY2(warning.contains(u" last %1 changes "_s.arg(lost)), qPrintable(warning));
    QVERIFY2(warning.contains(path(kept.first())), qPrintable(warning));
    QCOMPARE(RawDatabase(file).value(u"SELECT syncInterval FROM Schedules"_s), interval);
    QCOMPARE(StoreInspection(file).lostCommits(), 0);
}

// One that somebody has made, with a checksum that is right.
void TestSqliteDatabaseFactory::readsNoWalOfAnImpossiblePageSize()
{
    leaveWalOfTenCommits();
    const QString file = path(u"store.db"_s);
    QByteArray wal = readFile(file + u"-wal"_s);
    wal[10] = 3;
    wal[11] = 1; // 769 bytes
    quint32 first = 0;
    quint32 second = 0;
    for (qsizetype offset = 0; offset < 24; offset += 8) {
        first += second + qFromLittleEndian<quint32>(wal.constData() + offset);
        second += first + qFromLittleEndian<quint32>(wal.constData() + offset + 4);
    }
    qToBigEndian(first, wal.data() + 24);
    qToBigEndian(second, wal.data() + 28);
    writeFile(file + u"-wal"_s, wal);

    QCOMPARE(StoreInspection(file).lostCommits(), 9);
}

void TestSqliteDatabaseFactory::aWalThatEndsInTheMiddleIsNoLoss_data()
{
    using Change = std::function<void(QByteArray&)>;
    QTest::addColumn<Change>("change");
    QTest::newRow("sound") << Change([](QByteArray&) {});
    QTest::newRow("cut off") << Change([](QByteArray& wal) { wal.chop(5000); });
    QTest::newRow("torn at the end") << Change([](QByteArray& wal) { wal[wal.size() - 1] ^= 1; });
    QTest::newRow("zeros at the end")
        << Change([](QByteArray& wal) { wal += QByteArray(3 * WalFrameBytes, '\0'); });
    QTest::newRow("frames of an earlier use of the file") << Change([](QByteArray& wal) {
        QByteArray earlier = wal.sliced(32, 5 * WalFrameBytes);
        for (qsizetype frame = 0; frame < earlier.size(); frame += WalFrameBytes)
            earlier[frame + 11] ^= 1; // the salt
        wal += earlier;
    });
    QTest::newRow("frames of a transaction that was rolled back") << Change([](QByteArray& wal) {
        QByteArray frames = wal.last(WalFrameBytes);
        frames[7] = 0; // ends no transaction
        wal += frames + frames;
    });
}

void TestSqliteDatabaseFactory::aWalThatEndsInTheMiddleIsNoLoss()
{
    QFETCH(const std::function<void(QByteArray&)>, change);
    leaveWalOfTenCommits();
    const QString file = path(u"store.db"_s);
    QByteArray wal = readFile(file + u"-wal"_s);
    change(wal);
    writeFile(file + u"-wal"_s, wal);

    const auto factory = SqliteDatabaseFactory::open(file);

    QCOMPARE(factory->warnings(), QStringList());
    QCOMPARE(QDir(folder->path()).entryList({u"*replaced*"_s}), QStringList());
}

void TestSqliteDatabaseFactory::trustsNoSchemaAndNoMistypedName()
{
    const auto factory = SqliteDatabaseFactory::open(path(u"store.db"_s));
    const auto query = factory->CreateQuery();

    for (const QString& refused :
         {u"SELECT \"a mistyped column\""_s, u"UPDATE sqlite_schema SET sql = ''"_s}) {
        const bool prepared = query->prepare(refused);
        QVERIFY2(!prepared || !query->exec(), qPrintable(refused));
    }
    for (const QString& setting : {u"PRAGMA trusted_schema"_s, u"PRAGMA cell_size_check"_s}) {
        QVERIFY(query->prepare(setting) && query->exec() && query->next());
        QCOMPARE(query->value(0).toInt(), setting.endsWith(u"check") ? 1 : 0);
    }
}

void TestSqliteDatabaseFactory::marksItsFile()
{
    const auto factory = SqliteDatabaseFactory::open(path(u"store.db"_s));

    RawDatabase raw(factory->path());

    QCOMPARE(raw.value(u"PRAGMA application_id"_s), QString::number(0x56656C6D));
    QCOMPARE(raw.value(u"PRAGMA user_version"_s), u"4"_s);
    QCOMPARE(SqliteDatabaseFactory::schemaVersion(), 4);
    QCOMPARE(raw.value(u"PRAGMA journal_mode"_s), u"wal"_s);
    QCOMPARE(raw.value(u"PRAGMA integrity_check"_s), u"ok"_s);
    // Also in the file itself, where "file" and the like look, not only in the WAL.
    QCOMPARE(readFile(factory->path()).mid(68, 4), QByteArray("Velm"));
}

void TestSqliteDatabaseFactory::defaultPathIsInTheUsersApplicationData()
{
    const QString place = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);

    QCOMPARE(SqliteDatabaseFactory::defaultPath(), place + u"/velmio/configuration.db"_s);
}

void TestSqliteDatabaseFactory::relativePathsAreMadeAbsolute()
{
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder->path()));

    const auto factory = SqliteDatabaseFactory::open(u"./here/../store.db"_s);

    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(factory->path(), QDir(folder->path()).filePath(u"store.db"_s));
    QVERIFY(QFile::exists(path(u"store.db"_s)));
}

void TestSqliteDatabaseFactory::aNameThatBeginsWithAColonIsAFile()
{
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder->path()));

    const auto factory = SqliteDatabaseFactory::open(u":memory:"_s);
    QVERIFY(QDir::setCurrent(before));

    QVERIFY(add(*factory, u"a"_s));
    QVERIFY(QFileInfo(folder->path() + u"/:memory:"_s).size() > 0);
}

void TestSqliteDatabaseFactory::looksAtTheLogBesideTheFileThatALinkLeadsTo()
{
    const QString target = path(u"target/foreign.db"_s);
    QVERIFY(QDir(folder->path()).mkdir(u"target"_s));
    RawDatabase(target).run(
        u"PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0; CREATE TABLE a (b)"_s);
    QVERIFY(QFile::link(target, path(u"link.db"_s)));

    QVERIFY_THROWS_EXCEPTION(DatabaseError, SqliteDatabaseFactory::open(path(u"link.db"_s)));

    QCOMPARE(
        RawDatabase(target).value(u"SELECT count(*) FROM sqlite_schema WHERE type = 'table'"_s),
        u"1"_s);
}

void TestSqliteDatabaseFactory::refusesWhatItCannotUseAndLeavesItAlone_data()
{
    using Make = std::function<void(const QString&)>;
    QTest::addColumn<Make>("make");
    QTest::addColumn<Cause>("cause");
    QTest::addColumn<QString>("text");

    QTest::addRow("directory") << Make([](const QString& file) { QDir().mkpath(file); })
                               << Cause::Directory << u"is a directory"_s;
    QTest::addRow("text file") << Make([](const QString& file) {
        writeFile(file, QByteArray(5000, 'x'));
    }) << Cause::NotADatabase << u"is not an SQLite database"_s;
    QTest::addRow("short file") << Make([](const QString& file) {
        writeFile(file, "SQLite format 3");
    }) << Cause::NotADatabase << u"is not an SQLite database"_s;
    QTest::addRow("pipe") << Make([](const QString& file) {
        ::mkfifo(file.toUtf8().constData(), 0600);
    }) << Cause::NotADatabase
                          << u"is not a regular file"_s;
    QTest::addRow("another program's mark")
        << Make([](const QString& file) { RawDatabase(file).run(u"PRAGMA application_id = 7"_s); })
        << Cause::ForeignDatabase << u"another program"_s;
    QTest::addRow("another program's tables")
        << Make([](const QString& file) { RawDatabase(file).run(u"CREATE TABLE a (b)"_s); })
        << Cause::ForeignDatabase << u"another program"_s;
    QTest::addRow("another program's log") << Make([](const QString& file) {
        RawDatabase(file).run(u"PRAGMA journal_mode = WAL; CREATE TABLE a (b)"_s);
        RawDatabase(file).run(u"CREATE TABLE c (d)"_s);
    }) << Cause::ForeignDatabase << u"another program"_s;
    QTest::addRow("newer version") << Make([](const QString& file) {
        SqliteDatabaseFactory::open(file);
        RawDatabase(file).run(u"PRAGMA journal_mode = DELETE; PRAGMA user_version = 99;"
                              u"UPDATE StoreIdentity SET lastCompatibleVersion = 99"_s);
    }) << Cause::TooNew << u"schema version 99"_s;
    QTest::addRow("cut off") << Make([](const QString& file) {
        SqliteDatabaseFactory::open(file);
        RawDatabase(file).run(u"PRAGMA journal_mode = DELETE"_s);
        QFile(file).resize(3 * 4096);
    }) << Cause::Damaged << u"damaged"_s;
    QTest::addRow("unknown file format") << Make([](const QString& file) {
        SqliteDatabaseFactory::open(file);
        RawDatabase(file).run(u"PRAGMA journal_mode = DELETE"_s);
        QFile database(file);
        QVERIFY(database.open(QIODevice::ReadWrite) && database.seek(44));
        QCOMPARE(database.write(QByteArray(4, '\x7f')), 4);
    }) << Cause::Damaged << u"put a backup"_s;
    QTest::addRow("impossible version") << Make([](const QString& file) {
        SqliteDatabaseFactory::open(file);
        RawDatabase(file).run(u"PRAGMA journal_mode = DELETE; PRAGMA user_version = -7"_s);
    }) << Cause::Damaged << u"its schema version is -7"_s;
    QTest::addRow("log alone") << Make([](const QString& file) {
        writeFile(file, {});
        writeFile(file + u"-wal"_s, QByteArray(5000, 'x'));
    }) << Cause::Damaged << u"its WAL is not"_s;
    QTest::addRow("table missing") << Make([](const QString& file) {
        SqliteDatabaseFactory::open(file);
        RawDatabase(file).run(u"DROP TABLE Schedules; PRAGMA journal_mode = DELETE"_s);
    }) << Cause::Damaged << u"no such table: Schedules"_s;
}

void TestSqliteDatabaseFactory::refusesWhatItCannotUseAndLeavesItAlone()
{
    QFETCH(const std::function<void(const QString&)>, make);
    QFETCH(const Cause, cause);
    QFETCH(const QString, text);
    const QString file = path(u"store.db"_s);
    make(file);
    const bool isRegular = QFileInfo(file).isFile();
    const QByteArray before = isRegular ? readFile(file) : QByteArray();
    const QByteArray logBefore = readFile(file + u"-wal"_s);

    try {
        SqliteDatabaseFactory::open(file);
        QFAIL("open() took it");
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), cause);
        QVERIFY2(error.text().contains(file), error.what());
        QVERIFY2(error.text().contains(text), error.what());
    }

    QCOMPARE(isRegular ? readFile(file) : QByteArray(), before);
    QCOMPARE(readFile(file + u"-wal"_s), logBefore);
}

void TestSqliteDatabaseFactory::refusesANewerVersionThatOnlyTheLogHolds()
{
    const QString file = path(u"store.db"_s);
    SqliteDatabaseFactory::open(file);
    RawDatabase(file).run(u"PRAGMA wal_autocheckpoint = 0; PRAGMA user_version = 99;"
                          u"UPDATE StoreIdentity SET lastCompatibleVersion = 99"_s);
    const QByteArray before = readFile(file);
    QCOMPARE(before.mid(60, 4), QByteArray("\0\0\0\4", 4));

    QVERIFY_THROWS_EXCEPTION(DatabaseError, SqliteDatabaseFactory::open(file));

    QCOMPARE(readFile(file), before);
    QCOMPARE(RawDatabase(file).value(u"PRAGMA user_version"_s), u"99"_s);
}

void TestSqliteDatabaseFactory::usesANewerVersionThatLetsIt_data()
{
    QTest::addColumn<QString>("journalMode");
    QTest::newRow("in the file") << u"DELETE"_s;
    QTest::newRow("in the log") << u"WAL"_s;
}

void TestSqliteDatabaseFactory::usesANewerVersionThatLetsIt()
{
    QFETCH(const QString, journalMode);
    const QString file = path(u"store.db"_s);
    SqliteDatabaseFactory::open(file);
    RawDatabase(file).run(
        u"PRAGMA journal_mode = %1; PRAGMA wal_autocheckpoint = 0; PRAGMA user_version = 99;"
        u"UPDATE StoreIdentity SET lastCompatibleVersion = 2"_s.arg(journalMode));
    const CapturedWarnings log;

    const auto factory = SqliteDatabaseFactory::open(file);

    QVERIFY(add(*factory, u"a"_s));
    QCOMPARE(factory->warnings().size(), 1);
    QVERIFY(factory->warnings().constFirst().contains(u"schema version 99"_s));
    QCOMPARE(log.texts(), QStringList{u"velmio.database: "_s + factory->warnings().constFirst()});
    QCOMPARE(RawDatabase(file).value(u"PRAGMA user_version"_s), u"99"_s);
}

void TestSqliteDatabaseFactory::refusesAReadOnlyPlace()
{
    // The one place to which not even the superuser can write.
    try {
        SqliteDatabaseFactory::open(u"/proc/velmio/store.db"_s);
        QFAIL("open() took it");
    } catch (const DatabaseError& error) {
        QVERIFY2(error.text().contains(u"/proc/velmio"), error.what());
    }
}

void TestSqliteDatabaseFactory::aConnectionThatCanOnlyReadIsNotKept()
{
    const QByteArray file = path(u"store.db"_s).toUtf8();
    const auto factory = SqliteDatabaseFactory::open(path(u"store.db"_s));
    QVERIFY(giveToNobody(folder->path()));
    const AsNobody asNobody;
    const auto onThisThread = factory->CreateQuery(); // keeps the connection that can write
    bool writes = true;

    QCOMPARE(::chmod(file.constData(), 0400), 0);
    std::thread([&] { writes = add(*factory, u"a"_s); }).join();

    QVERIFY(!writes);
    QCOMPARE(factory->lastFailure()->kind, Failure::Kind::Opening);
    QCOMPARE(factory->lastFailure()->cause, Cause::NoPermission);
    QCOMPARE(::chmod(file.constData(), 0600), 0);
    std::thread([&] { writes = add(*factory, u"a"_s); }).join();
    QVERIFY2(writes, qPrintable(factory->lastFailure()->text));
}

void TestSqliteDatabaseFactory::findsADamagedPage()
{
    const QString file = path(u"store.db"_s);
    SqliteDatabaseFactory::open(file);
    RawDatabase(file).run(u"PRAGMA journal_mode = DELETE"_s);
    QByteArray bytes = readFile(file);
    bytes.replace(5 * 4096, 4096, QByteArray(4096, '\xA5'));
    writeFile(file, bytes);

    try {
        SqliteDatabaseFactory::open(file);
        QFAIL("open() took it");
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), Cause::Damaged);
    }

    QCOMPARE(readFile(file), bytes);
}

void TestSqliteDatabaseFactory::carriesOnAfterACrashWhileTheDatabaseWasMade()
{
    // Created, but not yet switched to a WAL.
    const QString file = path(u"store.db"_s);
    SqliteDatabaseFactory::open(file);
    RawDatabase(file).run(u"PRAGMA journal_mode = DELETE"_s);

    QVERIFY(add(*SqliteDatabaseFactory::open(file), u"a"_s));

    QCOMPARE(RawDatabase(file).value(u"PRAGMA journal_mode"_s), u"wal"_s);
}

void TestSqliteDatabaseFactory::carriesOnAfterAPowerCutWhileTheDatabaseWasMade()
{
    // The first page did not reach the disk.
    const QString file = path(u"store.db"_s);
    writeFile(file, QByteArray(8192, '\0'));
    writeFile(file + u"-journal"_s, journalOfSizeBefore(0));

    QVERIFY(add(*SqliteDatabaseFactory::open(file), u"a"_s));

    QVERIFY(!QFile::exists(file + u"-journal"_s));
}

void TestSqliteDatabaseFactory::threadsThatOpenOneNewPathAtOnceShareIt()
{
    std::atomic<int> added = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&] {
            const auto factory = SqliteDatabaseFactory::open(path(u"store.db"_s));
            added += add(*factory, u"a"_s) ? 1 : 0;
        });
    }
    for (auto& thread : threads)
        thread.join();

    QCOMPARE(added.load(), 8);
    QCOMPARE(
        RawDatabase(path(u"store.db"_s)).value(u"SELECT count(*) FROM ServerConfiguration"_s),
        u"8"_s);
}

void TestSqliteDatabaseFactory::threadsWriteAndReadAtTheSameTime()
{
    const auto factory = SqliteDatabaseFactory::open(path(u"store.db"_s));
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round)
                failures += add(*factory, u"a"_s) ? 0 : 1;
        });
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                const auto query = factory->CreateQuery();
                query->prepare(u"SELECT count(*) FROM ServerConfiguration"_s);
                failures += query->exec() && query->next() ? 0 : 1;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();

    QCOMPARE(failures.load(), 0);
    QCOMPARE(
        RawDatabase(factory->path()).value(u"SELECT count(*) FROM ServerConfiguration"_s),
        u"200"_s);
}

void TestSqliteDatabaseFactory::readersDoNotWaitForAWriter()
{
    const auto factory = SqliteDatabaseFactory::open(path(u"store.db"_s));
    QVERIFY(add(*factory, u"before"_s));
    QVERIFY(factory->GetDatabase()->transaction());
    QVERIFY(add(*factory, u"after"_s));
    int seen = -1;

    std::thread([&] {
        const auto query = factory->CreateQuery();
        query->prepare(u"SELECT count(*) FROM ServerConfiguration"_s);
        if (query->exec() && query->next())
            seen = query->value(0).toInt();
    }).join();

    QCOMPARE(seen, 1);
    QVERIFY(factory->GetDatabase()->commit());
}

void TestSqliteDatabaseFactory::leavesTheFileWholeAndAloneWhenItCloses()
{
    const QString file = path(u"store.db"_s);
    {
        const auto factory = SqliteDatabaseFactory::open(file);
        QVERIFY(add(*factory, u"in the log"_s));
        QVERIFY(!readFile(file).contains("in the log"));
    }

    QVERIFY(readFile(file).contains("in the log"));
    QCOMPARE(QDir(folder->path()).entryList(QDir::Files), QStringList{u"store.db"_s});
}

void TestSqliteDatabaseFactory::leavesTheLogToThoseWhoStay()
{
    const auto stays = SqliteDatabaseFactory::open(path(u"store.db"_s));
    QVERIFY(add(*SqliteDatabaseFactory::open(path(u"store.db"_s)), u"in the log"_s));

    QVERIFY(readFile(path(u"store.db-wal"_s)).contains("in the log"));
    QVERIFY(add(*stays, u"also"_s));
}

void TestSqliteDatabaseFactory::aRefusedFileKeepsItsLog()
{
    const QString file = path(u"store.db"_s);
    SqliteDatabaseFactory::open(file);
    RawDatabase(file).run(
        u"PRAGMA user_version = 99; UPDATE StoreIdentity SET lastCompatibleVersion = 99"_s);
    const QByteArray log = readFile(file + u"-wal"_s);
    QVERIFY(log.size() > 0);

    QVERIFY_THROWS_EXCEPTION(DatabaseError, SqliteDatabaseFactory::open(file));

    QCOMPARE(readFile(file + u"-wal"_s), log);
}

void TestSqliteDatabaseFactory::findsDamageInALargeFileAfterAnUncleanEnd()
{
    const QString file = path(u"store.db"_s);
    makeLargeAndDamaged(file);
    RawDatabase(file).run(u"UPDATE Schedules SET syncInterval = 31"_s);
    const QByteArray before = readFile(file);
    const QByteArray log = readFile(file + u"-wal"_s);
    QVERIFY(log.size() > 0);

    try {
        SqliteDatabaseFactory::open(file);
        QFAIL("open() took it");
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), Cause::Damaged);
        QVERIFY2(error.text().contains(file), error.what());
    }

    QCOMPARE(readFile(file), before);
    QCOMPARE(readFile(file + u"-wal"_s), log);
}

// It must not take the first one for a user who has checked the file.
void TestSqliteDatabaseFactory::aSecondOpeningAfterAnUncleanEndAlsoFindsTheDamage()
{
    const QString file = path(u"store.db"_s);
    makeLargeAndDamaged(file);
    RawDatabase(file).run(u"UPDATE Schedules SET syncInterval = 31"_s);
    sync::test::installWatchedVfs();
    const auto reset =
        qScopeGuard([] { sqlite3_vfs_register(sqlite3_vfs_find(sync::test::unwatchedVfs()), 1); });
    SecondOpening second(file);
    const sync::test::IoWatch watch(second);

    const Cause first = causeOfOpening(file);

    QCOMPARE(first, Cause::Damaged);
    QVERIFY(second.cause.valid());
    QCOMPARE(second.cause.get(), Cause::Damaged);
}

void TestSqliteDatabaseFactory::doesNotReadAllOfALargeFileThatWasClosed()
{
    const QString file = path(u"store.db"_s);
    makeLargeAndDamaged(file);

    QVERIFY(add(*SqliteDatabaseFactory::open(file), u"a"_s));
    QVERIFY(add(*SqliteDatabaseFactory::open(file), u"b"_s));
}

void TestSqliteDatabaseFactory::doesNotTakeOtherUsersForAnUncleanEnd()
{
    const QString file = path(u"store.db"_s);
    makeLargeAndDamaged(file);
    const auto inThisProcess = SqliteDatabaseFactory::open(file);
    QVERIFY(add(*inThisProcess, u"a"_s));
    QVERIFY(QFileInfo(file + u"-wal"_s).size() > 0);

    QVERIFY(add(*SqliteDatabaseFactory::open(file), u"b"_s));

    QCOMPARE(RawDatabase(file).value(u"SELECT count(*) FROM ServerConfiguration"_s), u"2"_s);
    QVERIFY(add(*inThisProcess, u"c"_s));
}

void TestSqliteDatabaseFactory::takesNoFileOfZerosOver_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("journal");
    const QByteArray zeros(2 * 4096, '\0');
    QTest::newRow("without a journal") << zeros << QByteArray();
    QTest::newRow("another program's journal") << zeros << QByteArray(512, 'j');
    QTest::newRow("a journal that gives something back") << zeros << journalOfSizeBefore(1);
}

void TestSqliteDatabaseFactory::takesNoFileOfZerosOver()
{
    QFETCH(const QByteArray, content);
    QFETCH(const QByteArray, journal);
    const QString file = path(u"store.db"_s);
    writeFile(file, content);
    if (!journal.isEmpty())
        writeFile(file + u"-journal"_s, journal);

    try {
        SqliteDatabaseFactory::open(file);
        QFAIL("open() took it");
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), Cause::NotADatabase);
    }

    QCOMPARE(readFile(file), content);
    QCOMPARE(readFile(file + u"-journal"_s), journal);
}

void TestSqliteDatabaseFactory::usesTheJournalWhileAnotherProgramKeepsTheFileLocked()
{
    const QString file = path(u"store.db"_s);
    SqliteDatabaseFactory::open(file);
    RawDatabase other(file);
    other.run(u"PRAGMA journal_mode = DELETE; BEGIN IMMEDIATE"_s);
    const CapturedWarnings log;

    const auto factory = SqliteDatabaseFactory::open(file);

    const auto query = factory->CreateQuery();
    query->prepare(u"SELECT syncInterval FROM Schedules"_s);
    QVERIFY(query->exec() && query->next() && !query->next());
    QCOMPARE(log.texts(), QStringList{u"velmio.database: "_s + factory->warnings().value(0)});
    other.run(u"COMMIT"_s);
    QVERIFY(add(*factory, u"a"_s));
    QCOMPARE(other.value(u"PRAGMA journal_mode"_s), u"delete"_s);
}

// The removal of the journal is the commit, and only its sync fails.
void TestSqliteDatabaseFactory::saysWhatAFailedSyncLeavesWithoutAWal()
{
    const QString file = path(u"store.db"_s);
    SqliteDatabaseFactory::open(file);
    RawDatabase other(file);
    other.run(u"PRAGMA journal_mode = DELETE; BEGIN IMMEDIATE"_s);
    const CapturedWarnings log;
    const auto factory = SqliteDatabaseFactory::open(file);
    other.run(u"COMMIT"_s);
    const SystemCallWatch watch([this](const SystemCall& call) {
        return call.name.endsWith("sync") && call.path == folder->path().toUtf8() ? EIO : 0;
    });

    QVERIFY(!add(*factory, u"a"_s));

    const QString text = factory->lastFailure()->text;
    QVERIFY2(text.contains(u"What was written is in the database"), qPrintable(text));
    QCOMPARE(other.value(u"SELECT alias FROM ServerConfiguration"_s), u"a"_s);
}

void TestSqliteDatabaseFactory::theLogStaysBoundedUnderConstantWriting()
{
    const auto factory = SqliteDatabaseFactory::open(path(u"store.db"_s));
    const QString big(100 * 1024, u'x');
    qint64 largestLog = 0;

    // 100 MB of text.
    for (int round = 0; round < 1000; ++round) {
        QVERIFY(add(*factory, big));
        largestLog = std::max(largestLog, QFileInfo(factory->path() + u"-wal"_s).size());
    }

    QVERIFY2(largestLog < 52 * 1024 * 1024, qPrintable(QString::number(largestLog)));
    QCOMPARE(RawDatabase(factory->path()).value(u"PRAGMA integrity_check"_s), u"ok"_s);
}

void TestSqliteDatabaseFactory::theLogStaysBoundedWhileReadersComeAndGo()
{
    const auto factory = SqliteDatabaseFactory::open(path(u"store.db"_s));
    const QString big(100 * 1024, u'x');
    std::atomic<bool> done = false;
    std::atomic<int> failures = 0;
    std::vector<std::thread> readers;
    // Valgrind, with the longest stride, runs one thread at a time.
    const int readerCount = sync::test::testStride() < 32 ? 3 : 1;
    // Each reads 200 kB at a time. A read that takes longer than the 50 ms of a checkpoint's
    // patience, as 4 MB does under the thread sanitizer, prevents the WAL from being restarted.
    for (int reader = 0; reader < readerCount; ++reader) {
        readers.emplace_back([&] {
            while (!done) {
                const auto query = factory->CreateQuery();
                query->prepare(u"SELECT sum(length(alias)) FROM ServerConfiguration WHERE id > "
                               u"(SELECT max(id) - 2 FROM ServerConfiguration)"_s);
                failures += query->exec() && query->next() ? 0 : 1;
            }
        });
    }
    // It begins anew after 75 MB of text, and later where other programs keep the readers from
    // ending in time; without patience never.
    const quint32 before = restartsOfWal(factory->path());
    bool begunAnew = false;
    for (int round = 0; round < 4000 && !begunAnew; ++round) {
        failures += add(*factory, big) ? 0 : 1;
        begunAnew = restartsOfWal(factory->path()) != before;
    }
    done = true;
    for (auto& reader : readers)
        reader.join();

    QCOMPARE(failures.load(), 0);
    QVERIFY(begunAnew);
}

void TestSqliteDatabaseFactory::aQueryOutlivesItsFactory()
{
    auto factory = SqliteDatabaseFactory::open(path(u"store.db"_s));
    const auto query = factory->CreateQuery();
    factory.reset();

    query->prepare(u"SELECT syncInterval FROM Schedules"_s);

    QVERIFY(query->exec() && query->next());
    QCOMPARE(query->value(0).toInt(), 30);
}

QTEST_GUILESS_MAIN(TestSqliteDatabaseFactory)
#include "TestSqliteDatabaseFactory.moc"
