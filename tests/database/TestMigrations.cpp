#include <support/RawDatabase.h>

#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>

#include <QDir>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

using namespace Qt::StringLiterals;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;
using sync::test::RawDatabase;

namespace {

constexpr auto Tables = {"ServerConfiguration",   "AuthenticationConfiguration",
                         "ProductConfiguration",  "FolderConfiguration",
                         "FileConfiguration",     "GeneratedFileConfiguration",
                         "BaseFileConfiguration", "Schedules",
                         "sqlite_sequence"};

QStringList schemaOf(const QString& path)
{
    return RawDatabase(path).run(
        u"SELECT type || ' ' || name || ' ' || coalesce(sql, '') FROM sqlite_schema ORDER BY 1"_s);
}

// Each value as SQL, so that a text differs from a number.
QStringList rowsOf(const QString& path)
{
    RawDatabase database(path);
    QStringList rows;
    for (const char* const name : Tables) {
        const QString table = QString::fromLatin1(name);
        const QStringList columns = database.run(
            u"SELECT 'quote(' || name || ')' FROM pragma_table_info('%1')"_s.arg(table));
        const QStringList values = database.run(
            u"SELECT %1 FROM %2 ORDER BY 1"_s.arg(columns.join(u" || ',' || "_s), table));
        for (const QString& row : values)
            rows += table + u": "_s + row;
    }
    return rows;
}

QString watchedPath;
QSet<QByteArray> versionsOnDisk;

// sqlite.org/fileformat2.html#user_version_number
int noteVersionOnDisk(void* /*context*/)
{
    QFile file(watchedPath);
    if (file.open(QIODevice::ReadOnly) && file.seek(60))
        versionsOnDisk.insert(file.read(4));
    return 0;
}

int watchCommits(sqlite3* database, const char** /*error*/, const sqlite3_api_routines* /*api*/)
{
    sqlite3_commit_hook(database, noteVersionOnDisk, nullptr);
    return SQLITE_OK;
}

// Another program writes, if it can, just before the first change of the schema.
int writeBeforeChange(unsigned /*kind*/, void* /*context*/, void* /*statement*/, void* sql)
{
    if (QByteArrayView(static_cast<const char*>(sql)).contains("CREATE"))
        RawDatabase(watchedPath).tryRun("UPDATE Schedules SET syncInterval = 7");
    return 0;
}

int watchStatements(sqlite3* database, const char** /*error*/, const sqlite3_api_routines* /*api*/)
{
    sqlite3_trace_v2(database, SQLITE_TRACE_STMT, writeBeforeChange, nullptr);
    return SQLITE_OK;
}

} // namespace

/// Opens databases that the last program of an earlier schema version has left.
class TestMigrations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void schemaBecomesThatOfANewDatabase_data() { addVersions(); }
    void schemaBecomesThatOfANewDatabase();
    void noRowIsLost_data() { addVersions(); }
    void noRowIsLost();
    void anEarlierVersionGetsAnIdentity();
    void aBackupOfTheEarlierVersionIsMade_data() { addVersions(); }
    void aBackupOfTheEarlierVersionIsMade();
    void withoutABackupNothingIsMigrated();
    void aDamagedDatabaseIsNotMigrated();
    void whoMigratesHasTheTurn();
    void aNewDatabaseNeedsNoBackup();
    void nobodySeesAVersionBetween();

private:
    static void addVersions();
    // A copy of the database that the row of the table names, to be opened.
    QString copyOfVersion() const;

    std::unique_ptr<QTemporaryDir> folder;
};

// It would take the half-made schema for an earlier version and make a backup of it.
void TestMigrations::nobodySeesAVersionBetween()
{
    watchedPath = folder->filePath(u"new.db"_s);
    versionsOnDisk.clear();
    const auto watch = reinterpret_cast<void (*)()>(watchCommits);
    sqlite3_auto_extension(watch);

    SqliteDatabaseFactory::open(watchedPath);

    sqlite3_cancel_auto_extension(watch);
    const QByteArray current("\0\0\0\4", 4);
    QVERIFY(versionsOnDisk.contains(current));
    versionsOnDisk -= {QByteArray(), QByteArray(4, '\0'), current};
    QCOMPARE(versionsOnDisk, QSet<QByteArray>());
}

void TestMigrations::addVersions()
{
    QTest::addColumn<QString>("file");
    const QStringList files =
        QDir(QStringLiteral(VELMIO_TEST_DATA)).entryList({u"version-*.db"_s}, QDir::Files);
    QVERIFY(!files.isEmpty());
    for (const QString& file : files)
        QTest::newRow(qPrintable(file)) << file;
}

QString TestMigrations::copyOfVersion() const
{
    QFETCH(const QString, file);
    const QString path = folder->filePath(file);
    QFile::copy(QStringLiteral(VELMIO_TEST_DATA "/") + file, path);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    return path;
}

void TestMigrations::init()
{
    folder = std::make_unique<QTemporaryDir>();
}

void TestMigrations::schemaBecomesThatOfANewDatabase()
{
    const QString path = copyOfVersion();
    const QString fresh = folder->filePath(u"fresh.db"_s);

    SqliteDatabaseFactory::open(path);
    SqliteDatabaseFactory::open(fresh);

    QCOMPARE(schemaOf(path), schemaOf(fresh));
    QCOMPARE(
        RawDatabase(path).value(u"PRAGMA user_version"_s),
        RawDatabase(fresh).value(u"PRAGMA user_version"_s));
    QCOMPARE(RawDatabase(path).value(u"PRAGMA integrity_check"_s), u"ok"_s);
}

void TestMigrations::noRowIsLost()
{
    const QString path = copyOfVersion();
    const QStringList before = rowsOf(path);
    for (const char* const table : Tables)
        QVERIFY2(before.filter(QString::fromLatin1(table) + u": "_s).size() > 0, table);

    SqliteDatabaseFactory::open(path);

    QCOMPARE(rowsOf(path), before);
}

void TestMigrations::anEarlierVersionGetsAnIdentity()
{
    const QString path = folder->filePath(u"store.db"_s);
    QVERIFY(QFile::copy(QStringLiteral(VELMIO_TEST_DATA "/version-1.db"), path));

    const auto factory = SqliteDatabaseFactory::open(path);

    QCOMPARE(factory->storeId().size(), 32);
    QVERIFY(!factory->isMoved());
    QCOMPARE(RawDatabase(path).value(u"SELECT length(machineStamp) FROM StoreIdentity"_s), u"64"_s);
}

void TestMigrations::aBackupOfTheEarlierVersionIsMade()
{
    const QString path = copyOfVersion();
    const QStringList rows = rowsOf(path);
    const QString version = RawDatabase(path).value(u"PRAGMA user_version"_s);

    SqliteDatabaseFactory::open(path);
    SqliteDatabaseFactory::open(path);

    const auto backups = DatabaseBackups(path).list();
    QCOMPARE(backups.size(), 1);
    QCOMPARE(backups.first().reason, DatabaseBackups::Reason::Migration);
    QCOMPARE(rowsOf(backups.first().path), rows);
    QCOMPARE(RawDatabase(backups.first().path).value(u"PRAGMA user_version"_s), version);
    // The way back.
    DatabaseBackups(path).restore(backups.first().path);
    QCOMPARE(RawDatabase(path).value(u"PRAGMA user_version"_s), version);
    QCOMPARE(rowsOf(path), rows);
    SqliteDatabaseFactory::open(path);
    QCOMPARE(rowsOf(path), rows);
}

void TestMigrations::withoutABackupNothingIsMigrated()
{
    const QString path = folder->filePath(u"store.db"_s);
    QVERIFY(QFile::copy(QStringLiteral(VELMIO_TEST_DATA "/version-1.db"), path));
    // In the way of the folder.
    QFile file(DatabaseBackups(path).folder());
    QVERIFY(file.open(QIODevice::WriteOnly));

    try {
        SqliteDatabaseFactory::open(path);
        QFAIL("open() took it");
    } catch (const DatabaseError& error) {
        QVERIFY2(error.text().contains(path), error.what());
        QVERIFY2(
            error.text().contains(u"only changed to version 4 after a backup"_s), error.what());
        QVERIFY2(error.text().contains(file.fileName()), error.what());
    }

    QCOMPARE(RawDatabase(path).value(u"PRAGMA user_version"_s), u"1"_s);
}

void TestMigrations::aDamagedDatabaseIsNotMigrated()
{
    const QString path = folder->filePath(u"store.db"_s);
    QVERIFY(QFile::copy(QStringLiteral(VELMIO_TEST_DATA "/version-2.db"), path));
    RawDatabase(path).run(
        u"ALTER TABLE StoreIdentity RENAME COLUMN lastCompatibleVersion TO lost"_s);

    QVERIFY_THROWS_EXCEPTION(DatabaseError, SqliteDatabaseFactory::open(path));

    QCOMPARE(RawDatabase(path).value(u"PRAGMA user_version"_s), u"2"_s);
}

void TestMigrations::whoMigratesHasTheTurn()
{
    watchedPath = folder->filePath(u"store.db"_s);
    QVERIFY(QFile::copy(QStringLiteral(VELMIO_TEST_DATA "/version-2.db"), watchedPath));
    QCOMPARE(RawDatabase(watchedPath).value(u"PRAGMA journal_mode = WAL"_s), u"wal"_s);
    const auto watch = reinterpret_cast<void (*)()>(watchStatements);
    sqlite3_auto_extension(watch);

    const auto factory = SqliteDatabaseFactory::open(watchedPath);

    sqlite3_cancel_auto_extension(watch);
    RawDatabase database(watchedPath);
    QCOMPARE(database.value(u"PRAGMA user_version"_s), u"4"_s);
    QCOMPARE(database.value(u"SELECT count(*) FROM Schedules WHERE syncInterval = 7"_s), u"0"_s);
}

void TestMigrations::aNewDatabaseNeedsNoBackup()
{
    const QString path = folder->filePath(u"new.db"_s);

    SqliteDatabaseFactory::open(path);

    QVERIFY(!QFile::exists(DatabaseBackups(path).folder()));
}

QTEST_GUILESS_MAIN(TestMigrations)
#include "TestMigrations.moc"
