#include "PseudoTerminal.h"
#include "VelmioctlRunner.h"

#include <support/RawDatabase.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;
using sync::test::RawDatabase;

class TestVelmioctlDoctor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        tool->makeFolder(u"one/a"_s);
        tool->writeFile(u"one/a/file"_s, "f");
        run({u"init"_s});
        run({u"folder"_s, u"add"_s, u"one"_s, u"--server-path"_s, u"/S"_s});
        run({u"scan"_s});
    }

    void cleanup() { tool.reset(); }

    void healthyStoreExitsWithZero()
    {
        const auto json = tool->json({u"doctor"_s});
        const auto text = tool->run({u"doctor"_s});

        QCOMPARE(json.exitCode, 0);
        QCOMPARE(json.object()[u"database"_s].toString(), tool->databasePath());
        QCOMPARE(json.object()[u"errors"_s].toInt(-1), 0);
        QCOMPARE(json.object()[u"warnings"_s].toInt(-1), 0);
        QVERIFY(json.object()[u"fix"_s].isNull());
        QCOMPARE(text.exitCode, 0);
        QVERIFY(text.output.startsWith(tool->databasePath() + u": 0 errors, 0 warnings, "_s));
    }

    void findingsTellRowsConsequenceAndRemedy()
    {
        execute(u"UPDATE FolderConfiguration SET authenticationId = 9 WHERE name = 'a'"_s);

        const auto json = tool->json({u"doctor"_s});
        const auto text = tool->run({u"doctor"_s});

        QCOMPARE(json.exitCode, 1);
        const QJsonObject finding = findingOf(json, u"folder.signin-missing"_s);
        QCOMPARE(finding[u"severity"_s].toString(), u"error"_s);
        QCOMPARE(finding[u"count"_s].toInt(), 1);
        QCOMPARE(
            finding[u"rows"_s].toArray(), QJsonArray{(QJsonObject{
                                              {u"table"_s, u"FolderConfiguration"_s},
                                              {u"id"_s, 2},
                                              {u"name"_s, tool->path(u"one/a"_s)},
                                              {u"detail"_s, u"authenticationId 9"_s}})});
        QVERIFY(
            finding[u"remedy"_s].toString().contains(u"'velmioctl folder set 2 --signin ID'"_s));
        QVERIFY(!finding[u"leadsTo"_s].toString().isEmpty());
        QCOMPARE(text.exitCode, 1);
        QVERIFY(text.output.contains(
            u"\nerror folder.signin-missing: folders whose sign-in does not exist (1)\n"
            u"    FolderConfiguration 2 \"%1\": authenticationId 9\n"
            u"  Leads to: "_s.arg(tool->path(u"one/a"_s))));
    }

    void worstComesFirst()
    {
        plant();
        execute(u"UPDATE FileConfiguration SET folderConfigurationId = -1"_s);

        const QString output = tool->run({u"doctor"_s}).output;

        const auto error = output.indexOf(u"\nerror root.not-itself"_s);
        const auto warning = output.indexOf(u"\nwarning base.file-missing"_s);
        const auto note = output.indexOf(u"\nnote file.no-folder"_s);
        QVERIFY(error > 0 && error < warning && warning < note);
        QVERIFY(output.lastIndexOf(u"\nerror "_s) < warning);
    }

    void peopleGetTheFirstRowsAndProgramsAll()
    {
        execute(u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500)"
                u" INSERT INTO Schedules (folderConfigurationId) SELECT 1000 + i FROM n"_s);

        const auto json = tool->json({u"doctor"_s});
        const QString output = tool->run({u"doctor"_s}).output;

        const QJsonObject finding = findingOf(json, u"schedule.folder-missing"_s);
        QCOMPARE(finding[u"count"_s].toInt(), 500);
        QCOMPARE(finding[u"rows"_s].toArray().size(), 500);
        QCOMPARE(finding[u"rows"_s][499][u"id"_s].toInt(), 501);
        QCOMPARE(output.count(u"    Schedules "_s), 10);
        QVERIFY(output.contains(u"\n    and 490 more; --json lists them all\n"_s));
    }

    void outputFitsTheTerminal()
    {
        plant();
        // Escape sequences take no columns.
        tool->environment.insert(u"NO_COLOR"_s, u"1"_s);

        PseudoTerminal terminal(*tool, {u"doctor"_s});

        QCOMPARE(terminal.exitCode(), 1);
        const QString shown = QString::fromUtf8(terminal.transcript());
        QVERIFY(shown.contains(u"Leads to: "_s));
        const QStringList lines = shown.split(u"\r\n"_s);
        for (const QString& line : lines) {
            // Quoted text may be long and is not broken.
            QVERIFY2(
                line.size() <= 80 || line.contains(u'"') || line.contains(u'\''), qPrintable(line));
        }
    }

    void aForeignTriggerIsRefusedAndRemoved()
    {
        tool->run(
            {u"server"_s, u"add"_s, u"--dav-url"_s, u"https://good.example/dav"_s,
             u"--web-service-url"_s, u"https://good.example/ws"_s});
        RawDatabase(tool->databasePath())
            .run(u"CREATE TRIGGER redirect AFTER INSERT ON AuthenticationConfiguration BEGIN"
                 u" UPDATE ServerConfiguration SET davUrl = 'https://evil.example'; END"_s);
        const QStringList signIn{u"signin"_s,   u"add"_s,    u"--domain"_s,
                                 u"d"_s,        u"--user"_s, u"me"_s,
                                 u"--server"_s, u"1"_s,      u"--password-stdin"_s};

        const auto refused = tool->feed(signIn, "secret\n");
        const auto fixed = tool->run({u"doctor"_s, u"--fix"_s, u"--yes"_s});
        const auto added = tool->feed(signIn, "secret\n");

        QCOMPARE(refused.exitCode, 5);
        QVERIFY2(
            refused.errors.contains(u"the trigger redirect of AuthenticationConfiguration"_s) &&
                refused.errors.contains(u"'velmioctl doctor --fix'"_s),
            qPrintable(refused.errors));
        QVERIFY2(fixed.exitCode == 0, qPrintable(fixed.errors + fixed.output));
        QCOMPARE(added.exitCode, 0);
        QVERIFY(tool->run({u"server"_s, u"list"_s}).output.contains(u"https://good.example/dav"_s));
    }

    void aViewInThePlaceOfATableIsLeftToSalvage()
    {
        RawDatabase(tool->databasePath())
            .run(u"ALTER TABLE Schedules RENAME TO Away; CREATE VIEW Schedules AS WITH RECURSIVE"
                 u" n(id) AS (SELECT 1 UNION ALL SELECT id + 1 FROM n) SELECT id FROM n"_s);

        const auto found = tool->json({u"doctor"_s});
        const auto fix = tool->run({u"doctor"_s, u"--fix"_s, u"--yes"_s});
        const auto salvaged = tool->run({u"recover"_s, u"--salvage"_s, u"--yes"_s});

        QVERIFY(findingOf(found, u"schema.foreign"_s)[u"remedy"_s].toString().contains(
            u"'velmioctl recover --salvage'"_s));
        QCOMPARE(fix.exitCode, 1);
        QVERIFY(fix.errors.contains(u"Nothing was changed"_s));
        QCOMPARE(salvaged.exitCode, 0);
        QCOMPARE(tool->run({u"schedule"_s, u"list"_s}).exitCode, 0);
    }

    void lookingChangesNothing_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::newRow("without an option") << QStringList();
        QTest::newRow("as JSON") << QStringList{u"--json"_s};
        QTest::newRow("dry run") << QStringList{u"--dry-run"_s};
        QTest::newRow("dry run of a fix") << QStringList{u"--fix"_s, u"--yes"_s, u"--dry-run"_s};
        QTest::newRow("fix that nobody agreed to") << QStringList{u"--fix"_s};
    }

    void lookingChangesNothing()
    {
        QFETCH(QStringList, options);
        plant();
        QVERIFY(QFile::setPermissions(
            tool->databasePath(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
        const QByteArray before = state();

        const auto answer = tool->run(QStringList{u"doctor"_s} + options);

        QCOMPARE(answer.exitCode, options == QStringList{u"--fix"_s} ? 2 : 1);
        QCOMPARE(state(), before);
        QVERIFY(QFile::permissions(tool->databasePath()) & QFile::ReadOther);
        const bool hasPlan = answer.output.contains(
            u"\n  - sets the rootId of root folders to their own id (1)\n"_s);
        QCOMPARE(hasPlan, options.contains(u"--dry-run"_s) || options.contains(u"--fix"_s));
    }

    void fixMendsBehindABackup()
    {
        plant();

        const auto fixed = tool->json({u"doctor"_s, u"--fix"_s, u"--yes"_s});
        const auto again = tool->run({u"doctor"_s, u"--fix"_s, u"--yes"_s});

        QCOMPARE(fixed.exitCode, 0);
        const QJsonObject fix = fixed.object()[u"fix"_s].toObject();
        QCOMPARE(fix[u"mended"_s][u"records"_s].toInt(), 3);
        QCOMPARE(fix[u"mended"_s][u"remaining"_s].toArray(), QJsonArray());
        QCOMPARE(fix[u"records"_s].toArray().size(), 3);
        QCOMPARE(again.exitCode, 0);
        QCOMPARE(tool->run({u"status"_s}).exitCode, 0);
        QCOMPARE(backups().size(), 1);
        RawDatabase backup(tool->databasePath() + u"-backups/"_s + backups().first());
        QCOMPARE(
            backup.value(u"SELECT rootId FROM FolderConfiguration WHERE parentId = 0"_s), u"99"_s);
    }

    void fixSaysWhatItLeaves()
    {
        plant();
        execute(u"INSERT INTO AuthenticationConfiguration (serverId) VALUES (99)"_s);

        const auto fixed = tool->json({u"doctor"_s, u"--fix"_s, u"--yes"_s});

        QCOMPARE(fixed.exitCode, 1);
        QCOMPARE(
            fixed.object()[u"fix"_s][u"mended"_s][u"remaining"_s].toArray(),
            QJsonArray{u"signin.server-missing"_s});
    }

    void fixClosesFilesToOthers()
    {
        const auto open =
            QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther;
        QVERIFY(QFile::setPermissions(tool->databasePath(), open));

        const auto found = tool->run({u"doctor"_s});
        const auto fixed = tool->run({u"doctor"_s, u"--fix"_s, u"--yes"_s});

        QCOMPARE(found.exitCode, 1);
        QVERIFY(found.output.contains(u"mode 0644"_s));
        QCOMPARE(fixed.exitCode, 0);
        QCOMPARE(
            QFile::permissions(tool->databasePath()) & (QFile::ReadGroup | QFile::ReadOther),
            QFile::Permissions());
        QCOMPARE(backups(), QStringList());
    }

    void fixIsAskedFor()
    {
        plant();

        PseudoTerminal terminal(*tool, {u"doctor"_s, u"--fix"_s});
        QVERIFY(terminal.waitFor("repair 3 records"));
        QVERIFY(terminal.waitFor("[y/N] "));
        terminal.type("y\n");

        QCOMPARE(terminal.exitCode(), 0);
        QVERIFY(terminal.transcript().contains("Repaired 3 records."));
        QCOMPARE(tool->run({u"doctor"_s}).exitCode, 0);
    }

    void answerNoChangesNothing()
    {
        plant();
        const QByteArray before = state();

        PseudoTerminal terminal(*tool, {u"doctor"_s, u"--fix"_s});
        QVERIFY(terminal.waitFor("[y/N] "));
        terminal.type("n\n");

        QCOMPARE(terminal.exitCode(), 1);
        QCOMPARE(state(), before);
    }

    void damagedFileGetsAnAnswer()
    {
        run({u"backup"_s});
        plant();
        RawDatabase(tool->databasePath()).run(u"PRAGMA wal_checkpoint(TRUNCATE)"_s);
        QFile file(tool->databasePath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        constexpr qint64 PageBytes = 4096;
        for (qint64 at = PageBytes; at < file.size(); at += PageBytes)
            QVERIFY(file.seek(at) && file.write(QByteArray(PageBytes, 'x')) == PageBytes);
        file.close();
        const QByteArray before = state();

        const auto answer = tool->json({u"doctor"_s});
        const auto fix = tool->run({u"doctor"_s, u"--fix"_s, u"--yes"_s});

        QCOMPARE(tool->run({u"stats"_s}).exitCode, 5);
        QCOMPARE(answer.exitCode, 1);
        const QJsonObject finding = findingOf(answer, u"store.damaged"_s);
        QVERIFY(finding[u"count"_s].toInt() > 0);
        static const QRegularExpression backup(u"'velmioctl restore \"([^\"]+)\"'"_s);
        const QString path = backup.match(finding[u"remedy"_s].toString()).captured(1);
        QVERIFY(path.startsWith(tool->databasePath() + u"-backups/"_s));
        QCOMPARE(fix.exitCode, 1);
        QVERIFY(fix.errors.startsWith(u"error: Nothing was changed"_s));
        QCOMPARE(state(), before);
        run({u"restore"_s, path, u"--yes"_s});
        run({u"doctor"_s});
    }

    void readOnlyFileGetsAnAnswer()
    {
        plant();
        QVERIFY(QFile::setPermissions(tool->databasePath(), QFile::ReadOwner));
        const QByteArray before = state();

        const auto answer = tool->json({u"doctor"_s});

        QCOMPARE(answer.exitCode, 1);
        QCOMPARE(findingOf(answer, u"root.not-itself"_s)[u"count"_s].toInt(), 1);
        // Permissions do not restrict root.
        QCOMPARE(findingOf(answer, u"store.not-writable"_s).isEmpty(), ::geteuid() == 0);
        QCOMPARE(state(), before);
    }

    void lockedFileIsNamedWithTheProcessThatHoldsIt()
    {
        RawDatabase other(tool->databasePath());
        other.run(u"PRAGMA journal_mode = DELETE"_s);
        other.run(u"BEGIN EXCLUSIVE"_s);

        const auto answer = tool->run({u"doctor"_s});

        QCOMPARE(answer.exitCode, 1);
        const QString holder =
            u"by process %1 (TestVelmioctlDo)"_s.arg(QCoreApplication::applicationPid());
        QVERIFY2(answer.output.contains(holder), qPrintable(answer.output));
    }

    void passwordsAreNeverShown()
    {
        run(
            {u"server"_s, u"add"_s, u"--dav-url"_s, u"https://d.example/"_s, u"--web-service-url"_s,
             u"https://w.example/ws"_s});
        QCOMPARE(
            tool->feed(
                    {u"signin"_s, u"add"_s, u"--server"_s, u"1"_s, u"--domain"_s, u"dom"_s,
                     u"--user"_s, u"kim"_s, u"--password-stdin"_s},
                    "well hidden\n")
                .exitCode,
            0);
        const auto readable = tool->run({u"doctor"_s, u"--json"_s});
        QVERIFY(QFile::remove(tool->keyPath()));
        const auto unreadable = tool->run({u"doctor"_s, u"--json"_s});

        QCOMPARE(readable.exitCode, 0);
        QCOMPARE(unreadable.exitCode, 1);
        QVERIFY(unreadable.output.contains(u"secrets.key-missing"_s));
        QVERIFY(!QFileInfo::exists(tool->keyPath()));
        for (const VelmioctlRun& answer : {readable, unreadable})
            QVERIFY(!(answer.output + answer.errors).contains(u"hidden"_s));
    }

    void wrongUseIsRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("yes to nothing") << QStringList{u"doctor"_s, u"--yes"_s} << 2;
        QTest::newRow("no database")
            << QStringList{u"doctor"_s, u"--database"_s, u"nowhere.db"_s} << 3;
        QTest::newRow("directory") << QStringList{u"doctor"_s, u"--database"_s, u"one"_s} << 2;
    }

    void wrongUseIsRefused()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);

        const auto answer = tool->runPlain(arguments);

        QCOMPARE(answer.exitCode, exitCode);
        QCOMPARE(answer.output, QString());
    }

private:
    void run(const QStringList& arguments) const
    {
        const auto done = tool->run(arguments);
        QVERIFY2(done.exitCode == 0, qPrintable(done.errors));
    }
    void execute(const QString& sql) const { QVERIFY(tool->execute(sql)); }

    // A wrong root, a folder without a parent, and a lost base copy: 3 records to repair.
    void plant() const
    {
        execute(u"UPDATE FolderConfiguration SET rootId = 99 WHERE parentId = 0"_s);
        execute(u"UPDATE FolderConfiguration SET parentId = 77 WHERE name = 'a'"_s);
        execute(u"INSERT INTO BaseFileConfiguration (id, parentFileId, fileType, clientPath)"
                u" VALUES (5, 66, 2, '/nowhere')"_s);
    }
    static QJsonObject findingOf(const VelmioctlRun& answer, const QString& check)
    {
        const QJsonArray findings = answer.object()[u"findings"_s].toArray();
        for (const auto& finding : findings) {
            if (finding[u"check"_s].toString() == check)
                return finding.toObject();
        }
        return {};
    }
    // The bytes of the database and its WAL, and the names of all files beside it.
    QByteArray state() const
    {
        const auto filters = QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot;
        return tool->databaseBytes() +
               QDir(tool->path(u"."_s)).entryList(filters).join(u'\n').toUtf8();
    }
    QStringList backups() const
    {
        return QDir(tool->databasePath() + u"-backups"_s).entryList({u"*.fix.db"_s}, QDir::Files);
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlDoctor)
#include "TestVelmioctlDoctor.moc"
