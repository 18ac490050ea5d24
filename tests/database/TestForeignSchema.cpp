#include <support/FileBytes.h>
#include <support/RawDatabase.h>

#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/StoreInspection.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QTemporaryDir>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;
using namespace sync::database;
using sync::test::RawDatabase;

namespace {

using Cause = DatabaseError::Cause;

const QString Redirect =
    u"CREATE TRIGGER redirect AFTER INSERT ON AuthenticationConfiguration"
    u" BEGIN UPDATE ServerConfiguration SET davUrl = 'https://evil.example'; END;"_s;

// A view with the columns of ServerConfiguration in its place.
QString viewInPlace(const QString& with, const QString& from)
{
    return u"ALTER TABLE ServerConfiguration RENAME TO Away; CREATE VIEW ServerConfiguration AS"
           u" %1 SELECT 1 AS id, 'main' AS alias, 'https://evil.example' AS davUrl,"
           u" '' AS webServiceUrl, '' AS nameValueProperties, '' AS binaryDiffEncoder %2;"_s.arg(
               with, from);
}

// Changes a text of the schema, as an editor of the file would.
QString editing(const QString& object, const QString& from, const QString& to)
{
    return u"PRAGMA writable_schema = ON; UPDATE sqlite_schema SET sql = replace(sql, '%2', '%3')"
           u" WHERE name = '%1'; PRAGMA writable_schema = RESET;"_s.arg(object, from, to);
}

QString causeOf(const std::function<void()>& work)
{
    try {
        work();
        return u"none"_s;
    } catch (const DatabaseError& error) {
        return error.cause() == Cause::AlteredSchema ? error.text() : u"another: "_s + error.text();
    }
}

} // namespace

/// Opens stores whose schema somebody else has changed.
class TestForeignSchema : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder = std::make_unique<QTemporaryDir>();
        path = folder->filePath(u"store.db"_s);
        SqliteDatabaseFactory::open(path);
    }

    void whatCanActIsRefused_data()
    {
        QTest::addColumn<QString>("statements");
        QTest::addColumn<QString>("name");
        const auto add = [](const char* row, const QString& statements, const QString& name) {
            QTest::newRow(row) << statements << name;
        };
        add("trigger that redirects", Redirect,
            u"the trigger redirect of AuthenticationConfiguration"_s);
        add("trigger that fills the disk",
            u"CREATE TABLE junk (x); CREATE TRIGGER fill AFTER INSERT ON ServerConfiguration"
            u" BEGIN INSERT INTO junk WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1"
            u" FROM n LIMIT 500) SELECT randomblob(1000000) FROM n; END"_s,
            u"the trigger fill of ServerConfiguration"_s);
        add("trigger on a view",
            u"CREATE TRIGGER catches INSTEAD OF DELETE ON v1_servers BEGIN SELECT 1; END"_s,
            u"the trigger catches of v1_servers"_s);
        add("trigger with another case",
            u"CREATE TRIGGER t AFTER INSERT ON serverconfiguration BEGIN SELECT 1; END"_s,
            u"the trigger t of "_s);
        add("trigger with a name of SQLite's own",
            u"PRAGMA writable_schema = ON; INSERT INTO sqlite_schema VALUES ('trigger', 'sqlite_t',"
            u" 'Schedules', 0, 'CREATE TRIGGER sqlite_t AFTER INSERT ON Schedules BEGIN SELECT 1;"
            u" END')"_s,
            u"the trigger sqlite_t of Schedules"_s);
        add("view in the place of a table", viewInPlace({}, {}), u"the view ServerConfiguration"_s);
        add("endless view in the place of a table",
            viewInPlace(
                u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n)"_s,
                u"FROM n WHERE i < 0"_s),
            u"the view ServerConfiguration"_s);
        add("virtual table in the place of a table",
            u"ALTER TABLE ServerConfiguration RENAME TO Away; CREATE VIRTUAL TABLE"
            u" ServerConfiguration USING fts4(alias, davUrl, webServiceUrl, nameValueProperties,"
            u" binaryDiffEncoder)"_s,
            u"the table ServerConfiguration"_s);
        add("generated column",
            u"ALTER TABLE ServerConfiguration ADD COLUMN evil TEXT AS (davUrl || 'x')"_s,
            u"the table ServerConfiguration"_s);
        add("default",
            editing(u"Schedules"_s, u"startTime TEXT"_s, u"startTime TEXT DEFAULT (zeroblob(9))"_s),
            u"the table Schedules"_s);
        add("type",
            editing(u"AuthenticationConfiguration"_s, u"userName TEXT"_s, u"USERNAME NUMERIC"_s),
            u"the table AuthenticationConfiguration"_s);
        add("id that is no key",
            editing(u"Schedules"_s, u"id INTEGER PRIMARY KEY AUTOINCREMENT"_s, u"id INTEGER"_s),
            u"the table Schedules"_s);
        add("condition",
            editing(u"ServerConfiguration"_s, u"alias TEXT,"_s, u"alias TEXT CHECK (alias > 1),"_s),
            u"the table ServerConfiguration"_s);
        add("index on an expression", u"CREATE INDEX i ON Schedules (length(startTime))"_s,
            u"the index i of Schedules"_s);
        add("index on a condition",
            u"CREATE INDEX i ON Schedules (id) WHERE startTime > abs(syncInterval)"_s,
            u"the index i of Schedules"_s);
        add("index with an order of its own",
            u"CREATE INDEX i ON Schedules (startTime COLLATE NOCASE)"_s,
            u"the index i of Schedules"_s);
        add("index that refuses rows", u"CREATE UNIQUE INDEX i ON Schedules (syncInterval)"_s,
            u"the index i of Schedules"_s);
        add("index of ours with another text",
            u"DROP INDEX SchedulesByFolder; CREATE INDEX SchedulesByFolder ON Schedules (id)"_s,
            u"the index SchedulesByFolder of Schedules"_s);
        add("view of ours with another text",
            u"DROP VIEW v1_servers; CREATE VIEW v1_servers AS SELECT 1 AS id"_s,
            u"the view v1_servers"_s);
        add("view of ours in another case",
            u"DROP VIEW v1_servers; CREATE VIEW V1_Servers AS SELECT 1 AS id"_s,
            u"the view V1_Servers"_s);
        add("trigger of ours with another text",
            editing(
                u"FolderConfigurationRootNamesItself"_s, u"rootId = NEW.id"_s,
                u"rootId = NEW.id, serverPath = name"_s),
            u"the trigger FolderConfigurationRootNamesItself of FolderConfiguration"_s);
        add("keyword as a name",
            u"DROP VIEW v1_servers; CREATE VIEW v1_servers AS SELECT id, alias, davUrl,"
            u" webServiceUrl, binaryDiffEncoder \"FROM\" FROM ServerConfiguration"_s,
            u"the view v1_servers"_s);
        add("newer version that lets this one use it", u"PRAGMA user_version = 99;"_s + Redirect,
            u"the trigger redirect of AuthenticationConfiguration"_s);
    }

    void whatCanActIsRefused()
    {
        QFETCH(const QString, statements);
        QFETCH(const QString, name);
        const QString backup = folder->filePath(u"backup.db"_s);
        const QString sound = folder->filePath(u"sound.db"_s);
        RawDatabase(path).run(statements);
        RawDatabase(path).run(u"PRAGMA wal_checkpoint(TRUNCATE)"_s);
        QVERIFY(QFile::copy(path, backup));
        SqliteDatabaseFactory::open(sound);
        const QByteArray before = sync::test::readFile(path);
        const auto refused = [&name](const std::function<void()>& work) {
            const QString text = causeOf(work);
            if (text.contains(u"could change or falsify records: "_s) && text.contains(name))
                return true;
            qWarning().noquote() << text;
            return false;
        };

        QVERIFY(refused([this] { SqliteDatabaseFactory::open(path); }));
        QVERIFY(refused([this] { SqliteDatabaseFactory::openReadOnly(path); }));
        QVERIFY(refused([&] { DatabaseBackups::verify(backup); }));
        QVERIFY(refused(
            [&] { DatabaseBackups(sound).restore(backup, DatabaseBackups::OtherStore::Allowed); }));
        QVERIFY(refused([this] { DatabaseBackups(path).make(DatabaseBackups::Reason::Manual); }));
        const StoreInspection inspection(path);
        QCOMPARE(inspection.kind(), StoreInspection::Kind::Altered);
        QCOMPARE(inspection.cause(), Cause::AlteredSchema);
        QCOMPARE(sync::test::readFile(path), before);
        QVERIFY(SqliteDatabaseFactory::open(sound));
        QCOMPARE(DatabaseBackups(path).list().size(), 0);
    }

    void anAlterationThatOnlyTheWalHasIsRefused()
    {
        const auto keepsTheWal = SqliteDatabaseFactory::open(path);
        RawDatabase(path).run(Redirect);

        QVERIFY(causeOf([this] { SqliteDatabaseFactory::open(path); }).contains(u"redirect"));
        QVERIFY(
            causeOf([this] { SqliteDatabaseFactory::openReadOnly(path); }).contains(u"redirect"));
    }

    void anOlderVersionIsRefusedBeforeItIsMigrated_data() { addOlderVersions(); }
    void anOlderVersionIsRefusedBeforeItIsMigrated()
    {
        const QString old = copyOfOlderVersion();
        RawDatabase(old).run(Redirect);
        const QByteArray before = sync::test::readFile(old);

        QVERIFY(causeOf([&old] { SqliteDatabaseFactory::open(old); }).contains(u"redirect"));

        QCOMPARE(sync::test::readFile(old), before);
        QCOMPARE(DatabaseBackups(old).list().size(), 0);
    }

    void whatCannotActIsLeftAlone_data()
    {
        QTest::addColumn<QString>("statements");
        QTest::newRow("table with all that belongs to it")
            << u"CREATE TABLE notes (text TEXT DEFAULT 'x', size AS (length(text)));"
               u"CREATE INDEX i ON notes (length(text)); CREATE VIEW mine AS SELECT * FROM notes;"
               u"CREATE TRIGGER t AFTER INSERT ON notes BEGIN DELETE FROM notes; END"_s;
        QTest::newRow("another column") << u"ALTER TABLE Schedules ADD COLUMN note TEXT"_s;
        QTest::newRow("another index on columns")
            << u"CREATE INDEX i ON FileConfiguration (syncStatus, \"size\")"_s;
        QTest::newRow("a column less")
            << u"ALTER TABLE ProductConfiguration DROP COLUMN nameValueProperties"_s;
        QTest::newRow("an index less") << u"DROP INDEX SchedulesByFolder"_s;
        QTest::newRow("a trigger less") << u"DROP TRIGGER FolderConfigurationRootNamesItself"_s;
        QTest::newRow("a view less") << u"DROP VIEW v1_roots"_s;
        QTest::newRow("statistics") << u"ANALYZE"_s;
        QTest::newRow("newer version with another table")
            << u"PRAGMA user_version = 99; CREATE TABLE later (a);"
               u"CREATE TRIGGER t AFTER INSERT ON later BEGIN DELETE FROM later; END"_s;
    }

    void whatCannotActIsLeftAlone()
    {
        QFETCH(const QString, statements);
        RawDatabase(path).run(statements);

        QVERIFY(SqliteDatabaseFactory::open(path));
        QVERIFY(SqliteDatabaseFactory::openReadOnly(path));
        QVERIFY(SqliteDatabaseFactory::open(restored()));
    }

    void anotherSpellingIsTheSameSchema_data()
    {
        QTest::addColumn<QString>("statements");
        QTest::newRow("compacted") << u"VACUUM"_s;
        QTest::newRow("table renamed and back")
            << u"ALTER TABLE FileConfiguration RENAME TO Away;"
               u"ALTER TABLE Away RENAME TO FileConfiguration"_s;
        QTest::newRow("column renamed and back")
            << u"ALTER TABLE ProductConfiguration RENAME COLUMN consumerKey TO away;"
               u"ALTER TABLE ProductConfiguration RENAME COLUMN away TO consumerKey"_s;
        QTest::newRow("column added and dropped")
            << u"ALTER TABLE Schedules ADD COLUMN away; ALTER TABLE Schedules DROP COLUMN away"_s;
        QTest::newRow("other blanks") << editing(u"v1_roots"_s, u", "_s, u" ,  "_s);
        QTest::newRow("other comments")
            << editing(u"ServerConfiguration"_s, u"-- name to show"_s, u"/* ; */ -- that"_s);
        QTest::newRow("other quotes")
            << editing(u"ServerConfiguration"_s, u"alias TEXT"_s, u"[alias] \"TEXT\""_s);
    }

    void anotherSpellingIsTheSameSchema()
    {
        QFETCH(const QString, statements);
        RawDatabase(path).run(statements);

        QCOMPARE(StoreInspection(path).schemaDifferences().size(), 0);
        QVERIFY(SqliteDatabaseFactory::open(path));
        QVERIFY(SqliteDatabaseFactory::openReadOnly(path));
    }

    // As the sqlite3 shell dumps and recovers: tables first, from their texts.
    void aReloadedDumpOpens()
    {
        const QString reloaded = folder->filePath(u"reloaded.db"_s);
        RawDatabase target(reloaded);
        RawDatabase source(path);
        target.run(u"ATTACH '%1' AS source"_s.arg(path));
        for (const auto* const order : {u"= 'table'", u"= 'index'", u"IN ('trigger', 'view')"}) {
            const QStringList texts = source.run(
                u"SELECT sql FROM sqlite_schema WHERE type %1 AND name NOT LIKE 'sqlite%'"_s.arg(
                    order));
            for (QString text : texts)
                target.run(text.replace(u"CREATE TABLE"_s, u"CREATE TABLE IF NOT EXISTS"_s));
        }
        target.run(
            u"INSERT INTO main.StoreIdentity SELECT * FROM source.StoreIdentity;"
            u"PRAGMA application_id = %1; PRAGMA user_version = %2"_s.arg(
                source.value(u"PRAGMA application_id"_s), source.value(u"PRAGMA user_version"_s)));
        QFile::setPermissions(reloaded, QFile::ReadOwner | QFile::WriteOwner);

        QVERIFY(SqliteDatabaseFactory::open(reloaded));
        QCOMPARE(StoreInspection(reloaded).schemaDifferences().size(), 0);
    }

    void whatASalvageAndMigrationsMakeOpens_data() { addOlderVersions(); }
    void whatASalvageAndMigrationsMakeOpens()
    {
        const QString old = copyOfOlderVersion();
        DatabaseBackups(old).salvage();

        QVERIFY(SqliteDatabaseFactory::open(old));
        QCOMPARE(StoreInspection(old).schemaDifferences().size(), 0);
    }

    void theOptionsLetItBeRepaired()
    {
        RawDatabase(path).run(Redirect);
        const OpenOptions options{.foreignSchema = true};

        QVERIFY(SqliteDatabaseFactory::openReadOnlyWith(options, path));
        const auto backup = DatabaseBackups(path, options).make(DatabaseBackups::Reason::Fix);
        QVERIFY(QFile::exists(backup.path));
        const auto factory = SqliteDatabaseFactory::openWith(options, path);
        QVERIFY(run(*factory, StoreInspection(path).schemaDifferences().value(0).repair.value(0)));

        QVERIFY(SqliteDatabaseFactory::open(path));
    }

    void aRepairRunsNoForeignTrigger()
    {
        const OpenOptions options{.foreignSchema = true};
        for (const auto& table : {u"StoreIdentity"_s, u"BackupCounter"_s}) {
            RawDatabase(path).run(
                u"CREATE TRIGGER redirect%1 AFTER UPDATE ON %1 BEGIN INSERT INTO"
                u" ServerConfiguration (davUrl) VALUES ('evil'); END"_s.arg(table));
        }
        RawDatabase(path).run(u"UPDATE StoreIdentity SET machineStamp = NULL"_s);
        RawDatabase(path).run(u"DELETE FROM ServerConfiguration"_s);

        const auto backup = DatabaseBackups(path, options).make(DatabaseBackups::Reason::Fix);
        SqliteDatabaseFactory::openWith(options, path);

        for (const QString& file : {path, backup.path})
            QCOMPARE(RawDatabase(file).run(u"SELECT davUrl FROM ServerConfiguration"_s), {});
    }

    // One that another program adds while the store is open.
    void aForeignTriggerDoesNotWrite()
    {
        const auto factory = SqliteDatabaseFactory::open(path);
        const QString addSignIn = u"INSERT INTO AuthenticationConfiguration DEFAULT VALUES"_s;
        QVERIFY(run(*factory, u"INSERT INTO ServerConfiguration (davUrl) VALUES ('x')"_s));
        QVERIFY(run(*factory, addSignIn));
        RawDatabase(path).run(Redirect);

        QVERIFY(!run(*factory, addSignIn));
        QVERIFY(!run(*factory, addSignIn + u' '));

        QVERIFY2(
            factory->lastFailure()->text.contains(u"the trigger redirect does not belong"),
            qPrintable(factory->lastFailure()->text));
        QCOMPARE(RawDatabase(path).run(u"SELECT davUrl FROM ServerConfiguration"_s), {u"x"_s});
    }

    void whatAFileDefinesIsLimited_data()
    {
        QTest::addColumn<QString>("statement");
        QTest::newRow("length") << u"SELECT length(zeroblob(600000000))"_s;
        QTest::newRow("depth") << u"SELECT "_s + u"1 + "_s.repeated(250) + u'1';
        QTest::newRow("attached databases")
            << u"SELECT * FROM other.sqlite_schema, another.sqlite_schema"_s;
    }

    void whatAFileDefinesIsLimited()
    {
        QFETCH(const QString, statement);
        const auto writer = SqliteDatabaseFactory::open(path);
        const auto reader = SqliteDatabaseFactory::openReadOnly(path);
        for (const auto& factory : {writer, reader}) {
            run(*factory, u"ATTACH ':memory:' AS other"_s);
            run(*factory, u"ATTACH ':memory:' AS another"_s);
            QVERIFY(!run(*factory, statement));
        }
    }

    void aTextOf100MegabytesIsStored()
    {
        const QString text(100 * 1024 * 1024, u'x');
        const auto factory = SqliteDatabaseFactory::open(path);
        const auto query = factory->CreateQuery();
        query->prepare(u"INSERT INTO ServerConfiguration (nameValueProperties) VALUES (:text)"_s);
        query->bindValue(u":text"_s, text);

        QVERIFY(query->exec());
        query->prepare(u"SELECT nameValueProperties FROM ServerConfiguration"_s);
        QVERIFY(query->exec() && query->next());

        QVERIFY(query->value(0).toString() == text);
    }

private:
    static void addOlderVersions()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("1") << u"version-1.db"_s;
        QTest::newRow("2") << u"version-2.db"_s;
        QTest::newRow("3") << u"version-3.db"_s;
    }
    QString copyOfOlderVersion() const
    {
        QFETCH(const QString, file);
        const QString copy = folder->filePath(file);
        QFile::copy(QStringLiteral(VELMIO_TEST_DATA "/") + file, copy);
        QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner);
        return copy;
    }
    // Another store with the content of this one.
    QString restored() const
    {
        const QString backup = folder->filePath(u"backup.db"_s);
        const QString other = folder->filePath(u"other.db"_s);
        DatabaseBackups(path).makeAt(backup);
        DatabaseBackups(other).restore(backup);
        return other;
    }
    static bool run(SqliteDatabaseFactory& factory, const QString& sql)
    {
        const auto query = factory.CreateQuery();
        query->prepare(sql);
        return query->exec();
    }

    std::unique_ptr<QTemporaryDir> folder;
    QString path;
};

QTEST_GUILESS_MAIN(TestForeignSchema)
#include "TestForeignSchema.moc"
