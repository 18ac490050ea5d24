#include <support/RawDatabase.h>

#include <database/SqliteDatabaseFactory.h>
#include <database/schema/Tables.h>

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::database::SqliteDatabaseFactory;
using sync::test::RawDatabase;

class TestSchema : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void hasTheEightTablesAndThoseOfTheEngine();
    void hasOneTrigger();
    void everyColumnIsExplained();
    void theDefaultScheduleIsThere();
    void aRootFolderNamesItselfInTheSameStatement();
    void textComparesCaseSensitively();
    void parentIdComparesWithQuotedNumbers();

private:
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<RawDatabase> database;
};

void TestSchema::initTestCase()
{
    folder = std::make_unique<QTemporaryDir>();
    const QString path = folder->filePath(u"store.db"_s);
    SqliteDatabaseFactory::open(path);
    database = std::make_unique<RawDatabase>(path);
}

void TestSchema::hasTheEightTablesAndThoseOfTheEngine()
{
    const QStringList tables = database->run(
        u"SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite_%'"
        u" ORDER BY name"_s);

    QCOMPARE(
        tables,
        (QStringList{
            u"AuthenticationConfiguration"_s, u"BackupCounter"_s, u"BaseFileConfiguration"_s,
            u"FileConfiguration"_s, u"FileOnDisk"_s, u"FolderConfiguration"_s, u"FolderOnDisk"_s,
            u"GeneratedFileConfiguration"_s, u"ProductConfiguration"_s, u"RootFolderMark"_s,
            u"RootFolderPlace"_s, u"Schedules"_s, u"ServerConfiguration"_s, u"StoreIdentity"_s}));
}

void TestSchema::hasOneTrigger()
{
    // No other one of the store may write.
    QCOMPARE(
        database->run(u"SELECT name FROM sqlite_schema WHERE type = 'trigger'"_s),
        QStringList{QString::fromLatin1(sync::database::OwnTriggers.at(0))});
    QCOMPARE(sync::database::OwnTriggers.size(), 1U);
}

void TestSchema::everyColumnIsExplained()
{
    // Columns whose names need no comment.
    const QStringList plain{u"id"_s, u"userName"_s};
    const QStringList texts =
        database->run(u"SELECT sql FROM sqlite_schema WHERE type = 'table' AND sql LIKE '%--%'"_s);
    QCOMPARE(texts.size(), 14);

    for (const QString& text : texts) {
        for (const QString& line : text.split(u'\n').mid(1)) {
            const QString name = line.simplified().section(u' ', 0, 0);
            if (name != u")" && !plain.contains(name))
                QVERIFY2(line.contains(u"-- "), qPrintable(line));
        }
    }
}

void TestSchema::theDefaultScheduleIsThere()
{
    QCOMPARE(
        database->value(
            u"SELECT folderConfigurationId || ',' || syncScheduleType || ',' || syncInterval"
            u" FROM Schedules WHERE startTime IS NULL AND expireTime IS NULL"_s),
        u"0,0,30"_s);
}

void TestSchema::aRootFolderNamesItselfInTheSameStatement()
{
    database->run(u"BEGIN;"
                  u"INSERT INTO FolderConfiguration (id, parentId, rootId) VALUES (40, 0, -1);"
                  u"INSERT INTO FolderConfiguration (id, parentId, rootId) VALUES (41, 0, 7);"
                  u"INSERT INTO FolderConfiguration (id, parentId, rootId) VALUES (42, 40, -1)"_s);

    QCOMPARE(
        database->run(u"SELECT rootId FROM FolderConfiguration ORDER BY id"_s),
        (QStringList{u"40"_s, u"7"_s, u"-1"_s}));
    database->run(u"ROLLBACK"_s);
}

void TestSchema::textComparesCaseSensitively()
{
    database->run(u"BEGIN; INSERT INTO FolderConfiguration (clientPath) VALUES ('/A')"_s);

    QCOMPARE(
        database->value(u"SELECT count(*) FROM FolderConfiguration WHERE clientPath = '/a'"_s),
        u"0"_s);
    database->run(u"ROLLBACK"_s);
}

void TestSchema::parentIdComparesWithQuotedNumbers()
{
    database->run(u"BEGIN; INSERT INTO FolderConfiguration (parentId) VALUES (0)"_s);

    QCOMPARE(
        database->value(u"SELECT count(*) FROM FolderConfiguration WHERE parentId = '0'"_s),
        u"1"_s);
    database->run(u"ROLLBACK"_s);
}

QTEST_GUILESS_MAIN(TestSchema)
#include "TestSchema.moc"
