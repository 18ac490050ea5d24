#include "VelmioctlRunner.h"

#include <support/RawDatabase.h>

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

class TestVelmioctlQuery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QVERIFY(tool->execute(
            u"INSERT INTO ProductConfiguration (name, consumerSecret) VALUES ('p', 'canary')"_s));
        QVERIFY(tool->execute(
            u"INSERT INTO AuthenticationConfiguration (userName, encryptedPassword) VALUES"
            u" ('kim', x'00')"_s));
    }

    void cleanup() { tool.reset(); }

    void rowsAreShown()
    {
        const QString select =
            u"SELECT id, syncInterval / 4.0 AS quarter, x'ff' AS bytes, NULL AS none, 'a' AS "
            u"text FROM v1_schedules;"_s;

        const auto text = tool->run({u"query"_s, select});
        const auto json = tool->json({u"query"_s, select});

        QCOMPARE(text.output, u"id  quarter  bytes  none  text\n1   7.5      ff           a\n"_s);
        const QJsonObject expected{
            {u"id"_s, 1},
            {u"quarter"_s, 7.5},
            {u"bytes"_s, u"ff"_s},
            {u"none"_s, QJsonValue()},
            {u"text"_s, u"a"_s}};
        QCOMPARE(json.array(), QJsonArray{expected});
        QCOMPARE(tool->json({u"query"_s, u"SELECT 1 WHERE 0"_s}).exitCode, 0);
    }

    void viewsWithSecretsAreReadable()
    {
        const auto answer =
            tool->json({u"query"_s, u"SELECT userName, hasPassword FROM v1_signins"_s});

        QCOMPARE(
            answer.array(),
            (QJsonArray{QJsonObject{{u"userName"_s, u"kim"_s}, {u"hasPassword"_s, 1}}}));
    }

    void allElseIsRefused_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::newRow("change") << u"DELETE FROM Schedules"_s;
        QTest::newRow("change in a query")
            << u"WITH a AS (SELECT 1) INSERT INTO Schedules DEFAULT VALUES RETURNING id"_s;
        QTest::newRow("other file") << u"ATTACH 'other.db' AS other"_s;
        QTest::newRow("setting") << u"PRAGMA journal_mode = DELETE"_s;
        QTest::newRow("transaction") << u"BEGIN IMMEDIATE"_s;
        QTest::newRow("copy") << u"VACUUM INTO 'other.db'"_s;
        QTest::newRow("two statements") << u"SELECT 1; DELETE FROM Schedules"_s;
        QTest::newRow("extension") << u"SELECT load_extension('x')"_s;
        QTest::newRow("plan") << u"EXPLAIN SELECT 1"_s;
        QTest::newRow("parameter") << u"SELECT :id"_s;
        QTest::newRow("nothing") << u" "_s;
        QTest::newRow("no SQL") << u"SELEKT"_s;
        QTest::newRow("secret") << u"SELECT consumerSecret FROM ProductConfiguration"_s;
        QTest::newRow("all columns") << u"SELECT * FROM ProductConfiguration"_s;
        QTest::newRow("named like a view")
            << u"WITH v1_signins AS (SELECT consumerSecret AS a FROM ProductConfiguration) "
               u"SELECT a FROM v1_signins"_s;
        QTest::newRow("password by another name")
            << u"WITH a AS (SELECT encryptedPassword FROM AuthenticationConfiguration) "
               u"SELECT * FROM a"_s;
        QTest::newRow("password by the name of a view")
            << u"WITH v1_signins AS (SELECT encryptedPassword FROM AuthenticationConfiguration) "
               u"SELECT * FROM v1_signins"_s;
        QTest::newRow("mistyped name") << u"SELECT \"foo\" FROM v1_files"_s;
        QTest::newRow("equal names") << u"SELECT 1 AS id, 2 AS id"_s;
        QTest::newRow("password") << u"SELECT encryptedPassword FROM AuthenticationConfiguration"_s;
    }

    void allElseIsRefused()
    {
        QFETCH(const QString, sql);
        const QByteArray before = tool->databaseBytes();

        const auto answer = tool->run({u"query"_s, sql});

        QCOMPARE(answer.exitCode, 2);
        QVERIFY(answer.errors.startsWith(u"error: The query "_s));
        QVERIFY(!answer.output.contains(u"canary"_s));
        QCOMPARE(tool->databaseBytes(), before);
    }

    void schemaRunsNothing()
    {
        const QString written = tool->path(u"written.db"_s);
        sync::test::RawDatabase(tool->databasePath())
            .run(u"CREATE TABLE notes (text); PRAGMA writable_schema = ON;"
                 u"UPDATE sqlite_schema SET sql = sql || '; ATTACH ''%1'' AS other;"
                 u" CREATE TABLE other.planted (text)' WHERE name = 'notes'"_s.arg(written));

        const auto answer = tool->run({u"query"_s, u"SELECT count(*) AS notes FROM notes"_s});

        QCOMPARE(answer.exitCode, 0);
        QCOMPARE(answer.output, u"notes\n0\n"_s);
        QVERIFY(!QFile::exists(written));
    }

private:
    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlQuery)
#include "TestVelmioctlQuery.moc"
