#include "VelmioctlRunner.h"

#include <support/RawDatabase.h>

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::test::RawDatabase;

class TestVelmioctlDiff : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        run({u"init"_s});
        RawDatabase(database())
            .run(u"INSERT INTO ServerConfiguration (id, alias, davUrl) VALUES (1, 'one', 'd'),"
                 u" (2, 'two', x'00'), (3, 'three', NULL);"
                 u"INSERT INTO AuthenticationConfiguration (id, domain, userName)"
                 u" VALUES (1, 'dom', 'kim');"
                 u"INSERT INTO ProductConfiguration (id, name, consumerSecret)"
                 u" VALUES (1, 'p', 'deep secret')"_s);
        run({u"backup"_s, u"old.db"_s});
        run({u"export"_s, u"old.json"_s});
    }

    void cleanup() { tool.reset(); }

    void databaseEqualsItsExport()
    {
        const auto answer = tool->run({u"diff"_s, database(), u"old.json"_s});

        QCOMPARE(answer.exitCode, 0);
        QVERIFY(answer.output.startsWith(u"ONLY IN A  ONLY IN B  CHANGED  SAME  TABLE\n"_s));
        QVERIFY(answer.output.contains(
            u"\n        0          0        0     3  ServerConfiguration\n"_s));
        QCOMPARE(answer.errors, u"The secrets in an export are not compared.\n"_s);
        QCOMPARE(tool->run({u"diff"_s, database(), u"old.db"_s}).exitCode, 0);
    }

    void differencesAreShownRowByRow()
    {
        execute(u"DELETE FROM ServerConfiguration WHERE id = 1"_s);
        execute(
            u"UPDATE ServerConfiguration SET alias = NULL, davUrl = 'x' || char(27) WHERE id = 2"_s);
        execute(u"INSERT INTO ServerConfiguration (id, alias) VALUES (9, 'nine')"_s);

        const auto answer = tool->run({u"diff"_s, u"old.db"_s, database()});

        QCOMPARE(answer.exitCode, 1);
        QVERIFY2(
            answer.output.startsWith(u"ServerConfiguration 1 (\"one\"): only in A\n"
                                     u"ServerConfiguration 2 (\"two\"):\n"
                                     u"    alias: \"two\" -> null\n"
                                     u"    davUrl: {\"blob\": \"AA==\"} -> \"x\\u001b\"\n"
                                     u"ServerConfiguration 9 (\"nine\"): only in B\n"
                                     u"ONLY IN A"_s),
            qPrintable(answer.output));
        QVERIFY(answer.output.contains(
            u"\n        1          1        1     1  ServerConfiguration\n"_s));
    }

    void differencesComeAsJson()
    {
        execute(u"DELETE FROM ServerConfiguration WHERE id = 1"_s);
        execute(u"UPDATE ServerConfiguration SET alias = 'zwei' WHERE id = 2"_s);

        const auto answer = tool->json({u"diff"_s, u"old.json"_s, database()});

        QCOMPARE(answer.exitCode, 1);
        const QJsonObject object = answer.object();
        QCOMPARE(object[u"a"_s].toString(), tool->path(u"old.json"_s));
        QCOMPARE(object[u"b"_s].toString(), database());
        QCOMPARE(object[u"same"_s].toBool(true), false);
        const QJsonObject table = object[u"tables"_s][u"ServerConfiguration"_s].toObject();
        QCOMPARE(table[u"same"_s].toInt(), 1);
        QCOMPARE(
            table[u"rows"_s][0].toObject(), (QJsonObject{{u"id"_s, 1}, {u"onlyIn"_s, u"a"_s}}));
        QCOMPARE(
            table[u"rows"_s][1][u"columns"_s].toObject(),
            (QJsonObject{{u"alias"_s, QJsonObject{{u"a"_s, u"two"_s}, {u"b"_s, u"zwei"_s}}}}));
        QCOMPARE(object[u"tables"_s].toObject().size(), 8);
    }

    void databaseInUseIsNamedAsSuch()
    {
        RawDatabase client(database());
        client.run(u"BEGIN; SELECT count(*) FROM Schedules"_s);
        const QString note = u"A client may have this database open"_s;

        const auto compared = tool->run({u"diff"_s, u"old.json"_s, database()});
        const auto planned = tool->run({u"import"_s, u"old.json"_s, u"--dry-run"_s});

        QCOMPARE(compared.errors.count(note), 1);
        QCOMPARE(planned.errors.count(note), 1);
    }

    void credentialsAreNotShown()
    {
        const QString change = u"UPDATE ServerConfiguration SET alias = 'https://kim:%1@h/x',"
                               u" davUrl = 'https://%2/dav?token=%1', nameValueProperties ="
                               u" '<NameValueXml><Key>%1</Key></NameValueXml>' WHERE id = 1"_s;
        execute(change.arg(u"hidden1"_s, u"one.example"_s));
        run({u"backup"_s, u"first.db"_s});
        run({u"export"_s, u"first.json"_s});
        execute(change.arg(u"hidden2"_s, u"two.example"_s));

        const auto text = tool->run({u"diff"_s, u"first.db"_s, database()});
        const auto json = tool->json({u"diff"_s, u"first.db"_s, database()});
        const auto other = tool->run({u"diff"_s, u"first.json"_s, database()});

        QVERIFY2(
            text.output.startsWith(
                u"ServerConfiguration 1 ({\"masked\": \"https://h/x\"}):\n"
                u"    alias: differs\n"
                u"    davUrl: {\"masked\": \"https://one.example/dav\"} -> {\"masked\": "
                u"\"https://two.example/dav\"}\n"
                u"    nameValueProperties: differs\n"_s),
            qPrintable(text.output));
        QCOMPARE(
            json.object()[u"tables"_s][u"ServerConfiguration"_s][u"rows"_s][0][u"columns"_s]
                         [u"alias"_s]
                             .toObject(),
            (QJsonObject{{u"differs"_s, true}}));
        for (const VelmioctlRun& answer : {text, json, other}) {
            QCOMPARE(answer.exitCode, 1);
            QVERIFY(!(answer.output + answer.errors).contains(u"hidden"_s));
        }
        // Only what the export shows can be compared with it.
        QVERIFY(other.output.contains(u"    davUrl: "_s));
        QVERIFY(!other.output.contains(u"    alias: "_s));
    }

    void exportsAreComparedWithEachOther()
    {
        execute(u"UPDATE ServerConfiguration SET alias = 'zwei' WHERE id = 2"_s);
        run({u"export"_s, u"new.json"_s});

        const auto answer = tool->run({u"diff"_s, u"old.json"_s, u"new.json"_s});

        QCOMPARE(answer.exitCode, 1);
        QVERIFY(answer.output.contains(u"    alias: \"two\" -> \"zwei\"\n"_s));
        QCOMPARE(tool->run({u"diff"_s, u"new.json"_s, u"new.json"_s}).exitCode, 0);
    }

    void secretsAreNeverShown()
    {
        storePassword("well hidden\n");
        execute(u"UPDATE ProductConfiguration SET consumerSecret = 'other secret'"_s);

        const auto text = tool->run({u"diff"_s, u"old.db"_s, database()});
        const auto json = tool->json({u"diff"_s, u"old.db"_s, database()});

        QCOMPARE(text.exitCode, 1);
        QVERIFY(text.output.contains(u"    encryptedPassword: differs\n"_s));
        QVERIFY(text.output.contains(u"    consumerSecret: differs\n"_s));
        QCOMPARE(
            json.object()[u"tables"_s][u"ProductConfiguration"_s][u"rows"_s][0][u"columns"_s]
                .toObject(),
            (QJsonObject{{u"consumerSecret"_s, QJsonObject{{u"differs"_s, true}}}}));
        for (const VelmioctlRun& answer : {text, json}) {
            const QString all = answer.output + answer.errors;
            QVERIFY(!all.contains(u"hidden"_s) && !all.contains(u" secret"_s));
            QVERIFY(!all.contains(u"blob"_s));
        }
    }

    void samePasswordIsSameWhateverItsBytes()
    {
        storePassword("well hidden\n");
        run({u"backup"_s, u"mid.db"_s});
        storePassword("well hidden\n");
        const auto same = tool->run({u"diff"_s, u"mid.db"_s, database()});
        storePassword("hidden better\n");
        const auto other = tool->run({u"diff"_s, u"mid.db"_s, database()});

        QCOMPARE(same.exitCode, 0);
        QCOMPARE(other.exitCode, 1);
    }

    void tablesThatOneLacksAreNotCompared()
    {
        run({u"export"_s, u"part.json"_s, u"--tables"_s, u"Schedules"_s});
        execute(u"DELETE FROM ServerConfiguration"_s);

        const auto answer = tool->run({u"diff"_s, database(), u"part.json"_s});

        QCOMPARE(answer.exitCode, 0);
        QVERIFY(
            answer.errors.startsWith(u"Not compared, because only one of the two has them: "
                                     u"AuthenticationConfiguration, BaseFileConfiguration, "_s));
    }

    void nothingIsWritten()
    {
        QFile file(tool->path(u"old.db"_s));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray backup = file.readAll();
        const QByteArray before = tool->databaseBytes();

        run({u"diff"_s, u"old.db"_s, database()});

        QVERIFY(file.seek(0));
        QCOMPARE(file.readAll(), backup);
        QCOMPARE(tool->databaseBytes(), before);
        QVERIFY(!QFile::exists(tool->path(u"old.db-wal"_s)));
    }

    void wrongUseIsRefused()
    {
        tool->writeFile(u"text"_s, "{\n}");

        QCOMPARE(tool->run({u"diff"_s, database()}).exitCode, 2);
        QCOMPARE(tool->run({u"diff"_s, database(), u"nowhere"_s}).exitCode, 3);
        const auto answer = tool->run({u"diff"_s, database(), u"text"_s});
        QCOMPARE(answer.exitCode, 2);
        QVERIFY(answer.errors.contains(u"/text\", line 2: \"format\" is missing."_s));
        tool->writeFile(u"database"_s, QByteArray("SQLite format 3\0", 16) + QByteArray(4080, 'x'));
        QCOMPARE(tool->run({u"diff"_s, database(), u"database"_s}).exitCode, 5);
    }

private:
    void run(const QStringList& arguments) const
    {
        const auto done = tool->run(arguments);
        QVERIFY2(done.exitCode == 0, qPrintable(done.errors));
    }
    void execute(const QString& sql) const { QVERIFY(tool->execute(sql)); }
    void storePassword(const QByteArray& password) const
    {
        const auto done =
            tool->feed({u"signin"_s, u"password"_s, u"1"_s, u"--password-stdin"_s}, password);
        QVERIFY2(done.exitCode == 0, qPrintable(done.errors));
    }
    QString database() const { return tool->databasePath(); }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlDiff)
#include "TestVelmioctlDiff.moc"
