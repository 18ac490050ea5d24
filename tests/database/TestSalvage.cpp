#include <support/FileBytes.h>
#include <support/RawDatabase.h>
#include <support/Repetitions.h>
#include <support/TemporaryPlace.h>

#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>

#include <QDir>
#include <QHash>
#include <QMap>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <algorithm>
#include <functional>
#include <random>

using namespace Qt::StringLiterals;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;
using sync::test::RawDatabase;
using sync::test::readFile;
using sync::test::writeFile;

namespace {

constexpr int PageBytes = 4096;
constexpr int Files = 2000;
constexpr int FileWithLongText = 1500;
constexpr auto Tables = {"ServerConfiguration",   "AuthenticationConfiguration",
                         "ProductConfiguration",  "FolderConfiguration",
                         "FileConfiguration",     "GeneratedFileConfiguration",
                         "BaseFileConfiguration", "Schedules"};

// "table id" -> all values of the row, as SQL.
using Rows = QHash<QString, QString>;

Rows rowsOf(const QString& path, const QString& table)
{
    RawDatabase database(path);
    const QStringList columns =
        database.run(u"SELECT 'quote(' || name || ')' FROM pragma_table_info('%1')"_s.arg(table));
    const QStringList values =
        database.run(u"SELECT %1 FROM %2 NOT INDEXED"_s.arg(columns.join(u" || ',' || "_s), table));
    Rows rows;
    for (const QString& row : values)
        rows.insert(table + u' ' + row.section(u',', 0, 0), row);
    return rows;
}

Rows rowsOf(const QString& path)
{
    Rows rows;
    for (const char* const table : Tables)
        rows.insert(rowsOf(path, QString::fromLatin1(table)));
    return rows;
}

Rows rowsOfTable(const Rows& rows, const QString& table)
{
    Rows found;
    for (auto row = rows.begin(); row != rows.end(); ++row) {
        if (row.key().startsWith(table + u' '))
            found.insert(row.key(), row.value());
    }
    return found;
}

void overwrite(const QString& path, qint64 offset, const QByteArray& bytes)
{
    writeFile(path, readFile(path).replace(offset, bytes.size(), bytes));
}

// name -> bytes
using Contents = QMap<QString, QByteArray>;

// Without empty files, and the index of a WAL, which holds nothing of its own.
Contents contentsOf(const QString& folder)
{
    Contents contents;
    for (const QFileInfo& file : QDir(folder).entryInfoList(QDir::Files | QDir::Hidden)) {
        if (file.size() > 0 && file.suffix() != u"db-shm")
            contents.insert(file.fileName(), readFile(file.filePath()));
    }
    return contents;
}

// Leaves a database in the middle of a change, as a crash does.
void leaveJournal(const QString& path)
{
    QByteArray file;
    QByteArray journal;
    {
        RawDatabase database(path);
        database.run(u"PRAGMA cache_size = 1; BEGIN;"
                     u"UPDATE FileConfiguration SET name = 'half', size = 0"_s);
        file = readFile(path);
        journal = readFile(path + u"-journal"_s);
        QVERIFY(file.contains("half"));
    }
    writeFile(path, file);
    writeFile(path + u"-journal"_s, journal);
}

// Noise in the place of a page; they are counted from 1.
void damagePage(const QString& path, qint64 page, char noise = '\xA5')
{
    overwrite(path, (page - 1) * PageBytes, QByteArray(PageBytes, noise));
}

qint64 rootPageOf(const QString& path, const QString& table)
{
    return RawDatabase(path)
        .value(u"SELECT rootpage FROM sqlite_schema WHERE name = '%1'"_s.arg(table))
        .toLongLong();
}

QStringList indexesOf(const QString& path, const QString& table)
{
    return RawDatabase(path).run(
        u"SELECT name FROM sqlite_schema WHERE type = 'index' AND tbl_name = '%1'"_s.arg(table));
}

/// A page that holds rows, and the last id that may be in it.
struct Leaf
{
    qint64 page = 0;
    qint64 lastId = 0;
};

// The leaves below the top of a tree that is two pages high (sqlite.org/fileformat2.html, "B-tree
// Pages").
QList<Leaf> leavesOf(const QString& path, const QString& table)
{
    const QByteArray bytes = readFile(path);
    const char* const top = bytes.constData() + (rootPageOf(path, table) - 1) * PageBytes;
    QList<Leaf> leaves;
    for (int cell = 0; cell < qFromBigEndian<quint16>(top + 3); ++cell) {
        const char* const at = top + qFromBigEndian<quint16>(top + 12 + 2 * cell);
        qint64 id = 0;
        const char* digit = at + 4;
        do
            id = id << 7 | (*digit & 0x7f);
        while ((*digit++ & 0x80) != 0);
        leaves.append({qFromBigEndian<quint32>(at), id});
    }
    leaves.append({qFromBigEndian<quint32>(top + 8), Files});
    return leaves;
}

using Ranges = QList<std::pair<qint64, qint64>>;

Ranges unreadableIdsOf(const DatabaseBackups::Salvaged& salvaged, const QString& table)
{
    Ranges ranges;
    for (const auto& entry : salvaged.tables) {
        for (const auto& range : entry.unreadableIds) {
            if (entry.name == table)
                ranges.append({range.first, range.last});
        }
    }
    return ranges;
}

bool isComplete(const DatabaseBackups::Salvaged& salvaged)
{
    return std::all_of(salvaged.tables.begin(), salvaged.tables.end(), [](const auto& table) {
        return table.complete;
    });
}

bool contains(const Ranges& ranges, qint64 id)
{
    return std::any_of(ranges.begin(), ranges.end(), [id](const auto& range) {
        return id >= range.first && id <= range.second;
    });
}

} // namespace

class TestSalvage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void takesAWholeDatabaseAlong();
    void takesAlongWhatLiesAroundDamagedPages();
    void losesOneRowWithItsLongText();
    void findsRowsWithoutTheTopOfTheirTree();
    void findsRowsWithoutTheFirstPage();
    void noticesAPageInThePlaceOfAnother();
    void namesOnlyRowsThatTheIndexesKnow();
    void bringsNoRemovedRowBack();
    void readsTheLog();
    void doesNotGiveLostIdsAgain();
    void leavesIdsOutWhereTheLastOneIsUnknown();
    void takesRowsAsTheyAre();
    void keepsTheDefaultScheduleWhereNoneCanBeRead();
    void takesSchedulesWithoutADefaultOne();
    void takesTheIdentityAlong();
    void keepsTheDamagedFileToTheLastByte_data();
    void keepsTheDamagedFileToTheLastByte();
    void losesNoRowThatItDoesNotTell();
    void refusesWhatIsNoDatabase();
    void refusesALaterVersion();
    void refusesWhileTheStoreIsOpen();

private:
    DatabaseBackups backups() const { return DatabaseBackups(path); }
    qint64 nextFileId() const;

    std::unique_ptr<QTemporaryDir> folder;
    QByteArray whole; // the bytes of the database that each test begins with
    QString path;
};

void TestSalvage::initTestCase()
{
    const QTemporaryDir made;
    const QString file = made.filePath(u"store.db"_s);
    SqliteDatabaseFactory::open(file);
    RawDatabase database(file);
    database.run(u"BEGIN;"
                 u"INSERT INTO ServerConfiguration (alias) VALUES ('a'), ('b'), ('c');"
                 u"INSERT INTO AuthenticationConfiguration (userName, encryptedPassword)"
                 u" VALUES ('kim', x'00FF10');"
                 u"INSERT INTO ProductConfiguration (name) VALUES ('p'), ('q'), ('r');"
                 u"DELETE FROM ProductConfiguration WHERE name = 'r';"
                 u"INSERT INTO FolderConfiguration (parentId, rootId, name) VALUES (0, 1, 'root'),"
                 u" (1, 1, 'sub');"
                 u"UPDATE FolderConfiguration SET rootId = -1 WHERE id = 1;"
                 u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1)"
                 u" INSERT INTO FileConfiguration (folderConfigurationId, name, size, clientPath)"
                 u" SELECT 2, 'file' || i, i * 1000000007, hex(zeroblob(100)) FROM n;"
                 u"UPDATE FileConfiguration SET nameValueProperties = "
                 u"replace(hex(zeroblob(10000)), '0', 'o')"
                 u" WHERE id = %2;"
                 u"INSERT INTO GeneratedFileConfiguration (parentFileId) VALUES (7);"
                 u"INSERT INTO BaseFileConfiguration (parentFileId) VALUES (8);"
                 u"COMMIT; PRAGMA wal_checkpoint(TRUNCATE)"_s.arg(Files)
                     .arg(FileWithLongText));
    whole = readFile(file);
}

void TestSalvage::init()
{
    folder = std::make_unique<QTemporaryDir>(sync::test::temporaryPlaceInMemory());
    path = folder->filePath(u"store.db"_s);
    writeFile(path, whole);
}

// The id that a new file would get.
qint64 TestSalvage::nextFileId() const
{
    RawDatabase database(path);
    database.run(u"BEGIN; INSERT INTO FileConfiguration (name) VALUES ('new')"_s);
    const QString id = database.value(u"SELECT max(id) FROM FileConfiguration"_s);
    database.run(u"ROLLBACK"_s);
    return id.toLongLong();
}

void TestSalvage::takesAWholeDatabaseAlong()
{
    const Rows before = rowsOf(path);

    const auto salvaged = backups().salvage();

    QCOMPARE(rowsOf(path), before);
    QCOMPARE(RawDatabase(path).value(u"PRAGMA integrity_check"_s), u"ok"_s);
    QCOMPARE(salvaged.tables.size(), 8);
    qint64 rows = 0;
    for (const auto& table : salvaged.tables) {
        QCOMPARE(table.unreadableIds.size(), 0);
        QVERIFY(table.complete);
        rows += table.rows;
    }
    QCOMPARE(rows, before.size());
    QCOMPARE(rowsOf(salvaged.keptPath), before);
    QCOMPARE(nextFileId(), Files + 1);
    QCOMPARE(QDir(folder->path()).entryList({u"store.db.*"_s}, QDir::AllEntries), QStringList());
}

void TestSalvage::takesAlongWhatLiesAroundDamagedPages()
{
    const Rows before = rowsOf(path, u"FileConfiguration"_s);
    const auto leaves = leavesOf(path, u"FileConfiguration"_s);
    QVERIFY2(leaves.size() > 60, qPrintable(QString::number(leaves.size())));
    const auto last = leaves.size() - 1;
    for (const qsizetype leaf : {qsizetype(0), qsizetype(3), qsizetype(4), qsizetype(20), last})
        damagePage(path, leaves[leaf].page);
    const QByteArray damaged = readFile(path);

    const auto salvaged = backups().salvage();

    QCOMPARE(
        unreadableIdsOf(salvaged, u"FileConfiguration"_s),
        (Ranges{
            {1, leaves[0].lastId},
            {leaves[2].lastId + 1, leaves[4].lastId},
            {leaves[19].lastId + 1, leaves[20].lastId},
            {leaves[last - 1].lastId + 1, Files}}));
    const Rows after = rowsOf(path, u"FileConfiguration"_s);
    for (int id = 1; id <= Files; ++id) {
        const QString key = u"FileConfiguration %1"_s.arg(id);
        const bool isLost = contains(unreadableIdsOf(salvaged, u"FileConfiguration"_s), id);
        QCOMPARE(after.value(key), isLost ? QString() : before.value(key));
    }
    QCOMPARE(readFile(salvaged.keptPath), damaged);
    QCOMPARE(RawDatabase(path).value(u"PRAGMA integrity_check"_s), u"ok"_s);
    SqliteDatabaseFactory::open(path);
}

void TestSalvage::losesOneRowWithItsLongText()
{
    Rows rows = rowsOf(path);
    // A page that a part of the text fills, and that leads to the next one.
    const QByteArray part(PageBytes - 4, 'o');
    qsizetype page = 1;
    while (whole.mid(page * PageBytes + 4, part.size()) != part)
        ++page;
    QVERIFY(qFromBigEndian<quint32>(whole.constData() + page * PageBytes) != 0);
    damagePage(path, page + 1);

    const auto salvaged = backups().salvage();

    QCOMPARE(
        unreadableIdsOf(salvaged, u"FileConfiguration"_s),
        (Ranges{{FileWithLongText, FileWithLongText}}));
    rows.remove(u"FileConfiguration %1"_s.arg(FileWithLongText));
    QCOMPARE(rowsOf(path), rows);
}

void TestSalvage::findsRowsWithoutTheTopOfTheirTree()
{
    const Rows before = rowsOf(path);
    damagePage(path, rootPageOf(path, u"FileConfiguration"_s));

    const auto salvaged = backups().salvage();

    QVERIFY(isComplete(salvaged));
    QCOMPARE(rowsOf(path), before);
    QCOMPARE(nextFileId(), Files + 1);
}

void TestSalvage::findsRowsWithoutTheFirstPage()
{
    const Rows before = rowsOf(path);
    damagePage(path, 1);

    const auto salvaged = backups().salvage();

    QVERIFY(isComplete(salvaged));
    QCOMPARE(rowsOf(path), before);
}

// The page of the one is read in its place, and is not damaged in itself.
void TestSalvage::noticesAPageInThePlaceOfAnother()
{
    const auto leaves = leavesOf(path, u"FileConfiguration"_s);
    overwrite(
        path, (leaves[5].page - 1) * PageBytes,
        whole.mid((leaves[30].page - 1) * PageBytes, PageBytes));

    const auto salvaged = backups().salvage();

    QVERIFY(!isComplete(salvaged));
    QCOMPARE(
        unreadableIdsOf(salvaged, u"FileConfiguration"_s),
        (Ranges{{leaves[4].lastId + 1, leaves[5].lastId}}));
}

// Its rows are not those that were removed, but those that were there.
void TestSalvage::namesOnlyRowsThatTheIndexesKnow()
{
    RawDatabase(path).run(u"DELETE FROM FileConfiguration WHERE id BETWEEN 500 AND 520;"
                          u"PRAGMA wal_checkpoint(TRUNCATE)"_s);
    for (const Leaf& leaf : leavesOf(path, u"FileConfiguration"_s))
        damagePage(path, leaf.page);

    const auto salvaged = backups().salvage();

    QCOMPARE(unreadableIdsOf(salvaged, u"FileConfiguration"_s), (Ranges{{1, 499}, {521, Files}}));
}

void TestSalvage::bringsNoRemovedRowBack()
{
    RawDatabase(path).run(u"DELETE FROM FileConfiguration WHERE id > 1000;"
                          u"PRAGMA wal_checkpoint(TRUNCATE)"_s);
    const Rows before = rowsOf(path);
    damagePage(path, rootPageOf(path, u"FileConfiguration"_s));

    backups().salvage();

    QCOMPARE(rowsOf(path), before);
}

void TestSalvage::readsTheLog()
{
    RawDatabase(path).run(u"PRAGMA wal_autocheckpoint = 0;"
                          u"UPDATE ServerConfiguration SET alias = 'logged' WHERE id = 2"_s);
    damagePage(path, rootPageOf(path, u"FileConfiguration"_s));
    const QByteArray log = readFile(path + u"-wal"_s);
    QVERIFY(log.contains("logged"));

    const auto salvaged = backups().salvage();

    QCOMPARE(
        RawDatabase(path).value(u"SELECT alias FROM ServerConfiguration WHERE id = 2"_s),
        u"logged"_s);
    QCOMPARE(readFile(salvaged.keptPath + u"-wal"_s), log);
}

void TestSalvage::doesNotGiveLostIdsAgain()
{
    RawDatabase(path).run(u"DELETE FROM FileConfiguration WHERE id > 1900;"
                          u"PRAGMA wal_checkpoint(TRUNCATE)"_s);
    const auto leaves = leavesOf(path, u"FileConfiguration"_s);
    damagePage(path, leaves[leaves.size() - 1].page);

    backups().salvage();

    QCOMPARE(nextFileId(), Files + 1);
    RawDatabase(path).run(u"INSERT INTO ProductConfiguration (name) VALUES ('s')"_s);
    QCOMPARE(
        RawDatabase(path).value(u"SELECT id FROM ProductConfiguration WHERE name = 's'"_s), u"4"_s);
}

void TestSalvage::leavesIdsOutWhereTheLastOneIsUnknown()
{
    const auto leaves = leavesOf(path, u"FileConfiguration"_s);
    const auto last = leaves.size() - 1;
    damagePage(path, rootPageOf(path, u"sqlite_sequence"_s));
    for (const QString& index : indexesOf(path, u"FileConfiguration"_s))
        damagePage(path, rootPageOf(path, index));
    damagePage(path, leaves[last].page);

    const auto salvaged = backups().salvage();

    const qint64 lastRead = leaves[last - 1].lastId;
    QCOMPARE(
        unreadableIdsOf(salvaged, u"FileConfiguration"_s), (Ranges{{lastRead + 1, 2'147'483'647}}));
    QCOMPARE(nextFileId(), lastRead + 1'000'001);
}

void TestSalvage::takesRowsAsTheyAre()
{
    // The trigger would write the root's own id into it.
    damagePage(path, rootPageOf(path, u"ServerConfiguration"_s));

    backups().salvage();

    QCOMPARE(
        RawDatabase(path).value(u"SELECT rootId FROM FolderConfiguration WHERE id = 1"_s), u"-1"_s);
    // It is there for new ones.
    RawDatabase(path).run(u"INSERT INTO FolderConfiguration (parentId, rootId) VALUES (0, -1)"_s);
    QCOMPARE(
        RawDatabase(path).value(u"SELECT rootId FROM FolderConfiguration WHERE id = 3"_s), u"3"_s);
}

void TestSalvage::keepsTheDefaultScheduleWhereNoneCanBeRead()
{
    damagePage(path, rootPageOf(path, u"Schedules"_s));

    const auto salvaged = backups().salvage();

    QCOMPARE(unreadableIdsOf(salvaged, u"Schedules"_s), (Ranges{{1, 1}}));
    QCOMPARE(
        RawDatabase(path).run(u"SELECT folderConfigurationId || syncInterval FROM Schedules"_s),
        QStringList{u"030"_s});
}

void TestSalvage::takesSchedulesWithoutADefaultOne()
{
    RawDatabase(path).run(u"DELETE FROM Schedules; PRAGMA wal_checkpoint(TRUNCATE)"_s);

    backups().salvage();

    QCOMPARE(RawDatabase(path).value(u"SELECT count(*) FROM Schedules"_s), u"0"_s);
}

void TestSalvage::takesTheIdentityAlong()
{
    const Rows before = rowsOf(path, u"StoreIdentity"_s);
    QCOMPARE(before.size(), 1);
    damagePage(path, rootPageOf(path, u"Schedules"_s));

    backups().salvage();

    QCOMPARE(rowsOf(path, u"StoreIdentity"_s), before);
}

void TestSalvage::keepsTheDamagedFileToTheLastByte_data()
{
    using Damage = std::function<void(const QString&)>;
    QTest::addColumn<Damage>("damage");

    const auto withJournal = [](const QString& file) {
        RawDatabase(file).run(u"PRAGMA journal_mode = DELETE"_s);
    };
    const auto withSize = [](qint64 bytes) {
        return [bytes](const QString& file) { QVERIFY(QFile::resize(file, bytes)); };
    };
    QTest::newRow("cut off") << Damage(withSize(60 * PageBytes));
    QTest::newRow("cut off, with a journal") << Damage([=](const QString& file) {
        withJournal(file);
        withSize(60 * PageBytes)(file);
    });
    QTest::newRow("cut off within a page, with a journal") << Damage([=](const QString& file) {
        withJournal(file);
        withSize(60 * PageBytes + 100)(file);
    });
    QTest::newRow("cut to 512 bytes") << Damage(withSize(512));
    QTest::newRow("cut to 512 bytes, with a journal") << Damage([=](const QString& file) {
        withJournal(file);
        withSize(512)(file);
    });
    QTest::newRow("a header with another size, with a journal") << Damage([=](const QString& file) {
        withJournal(file);
        overwrite(file, 28, QByteArray::fromHex("00000007"));
    });
    QTest::newRow("the table of tables")
        << Damage([](const QString& file) { damagePage(file, 1); });
    QTest::newRow("the version of a later file format")
        << Damage([](const QString& file) { overwrite(file, 18, QByteArray("\x09", 1)); });
    QTest::newRow("a WAL that is not merged") << Damage([](const QString& file) {
        RawDatabase(file).run(u"PRAGMA wal_autocheckpoint = 0; DELETE FROM Schedules"_s);
        damagePage(file, rootPageOf(file, u"FileConfiguration"_s));
    });
    QTest::newRow("a journal that is not rolled back") << Damage([=](const QString& file) {
        withJournal(file);
        leaveJournal(file);
        damagePage(file, rootPageOf(file, u"FileConfiguration"_s));
    });
}

void TestSalvage::keepsTheDamagedFileToTheLastByte()
{
    QFETCH(const std::function<void(const QString&)>, damage);
    damage(path);
    const Contents before = contentsOf(folder->path());

    try {
        const auto salvaged = backups().salvage();

        // Beside the new database, there are only the old files under their new name.
        const QString kept = QFileInfo(salvaged.keptPath).fileName();
        Contents after = contentsOf(folder->path());
        QVERIFY(after.remove(u"store.db"_s));
        Contents expected;
        for (auto file = before.begin(); file != before.end(); ++file)
            expected.insert(kept + file.key().mid(8), file.value());
        QCOMPARE(after.keys(), expected.keys());
        QVERIFY(after == expected);
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), DatabaseError::Cause::Damaged);
        QVERIFY(contentsOf(folder->path()) == before);
    }
}

void TestSalvage::losesNoRowThatItDoesNotTell()
{
    const Rows before = rowsOf(path);
    const qint64 pages = whole.size() / PageBytes;
    std::mt19937 random(20261120);
    const int rounds = sync::test::repetitions(60);
    int salvagedRounds = 0;

    for (int round = 0; round < rounds; ++round) {
        init();
        const auto anyPage = [&] {
            return std::uniform_int_distribution<qint64>(2, pages)(random);
        };
        for (int page = 0; page < 1 + round % 5; ++page)
            damagePage(path, anyPage(), round % 2 == 0 ? '\xA5' : '\0');
        if (round % 3 == 0)
            QVERIFY(QFile::resize(path, anyPage() * PageBytes));
        const QByteArray damaged = readFile(path);
        DatabaseBackups::Salvaged salvaged;
        try {
            salvaged = backups().salvage();
        } catch (const DatabaseError& error) {
            QCOMPARE(error.cause(), DatabaseError::Cause::Damaged);
            QCOMPARE(readFile(path), damaged);
            continue;
        }
        ++salvagedRounds;

        Rows after = rowsOf(path);
        for (const auto& table : salvaged.tables) {
            const Ranges lost = unreadableIdsOf(salvaged, table.name);
            const Rows tableBefore = rowsOfTable(before, table.name);
            for (auto row = tableBefore.begin(); row != tableBefore.end(); ++row) {
                QVERIFY2(!table.complete || after.contains(row.key()), qPrintable(row.key()));
                const QString now = after.take(row.key());
                const bool isLost = contains(lost, row.key().section(u' ', 1).toLongLong());
                QVERIFY2(now == row.value() || (now.isEmpty() && isLost), qPrintable(row.key()));
            }
        }
        // Apart from the default schedule there is nothing new.
        QVERIFY(after.isEmpty());
    }
    QVERIFY2(salvagedRounds * 60 > rounds * 50, qPrintable(QString::number(salvagedRounds)));
}

void TestSalvage::refusesWhatIsNoDatabase()
{
    writeFile(path, QByteArray(50'000, 'x'));

    QVERIFY_THROWS_EXCEPTION(DatabaseError, backups().salvage());

    QCOMPARE(readFile(path), QByteArray(50'000, 'x'));
    QCOMPARE(QDir(folder->path()).entryList(QDir::Files), QStringList{u"store.db"_s});
}

void TestSalvage::refusesALaterVersion()
{
    RawDatabase(path).run(u"PRAGMA user_version = 99"_s);

    try {
        backups().salvage();
        QFAIL("salvage() took it");
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), DatabaseError::Cause::TooNew);
    }
}

void TestSalvage::refusesWhileTheStoreIsOpen()
{
    RawDatabase other(path);
    other.run(u"SELECT 1 FROM Schedules"_s);

    try {
        backups().salvage();
        QFAIL("salvage() took it");
    } catch (const DatabaseError& error) {
        QCOMPARE(error.cause(), DatabaseError::Cause::Busy);
    }
}

QTEST_GUILESS_MAIN(TestSalvage)
#include "TestSalvage.moc"
