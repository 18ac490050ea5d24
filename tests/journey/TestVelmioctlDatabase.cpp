#include "VelmioctlRunner.h"

#include <support/RawDatabase.h>

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::database::SqliteDatabaseFactory;

/// Where the database is, which state it has, and how command lines are answered.
class TestVelmioctlDatabase : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initCreatesAndThenFindsTheDatabase()
    {
        const VelmioctlRunner tool;

        const auto first = tool.json({u"init"_s});
        const auto second = tool.json({u"init"_s});
        const auto third = tool.run({u"init"_s});

        QCOMPARE(first.exitCode, 0);
        QCOMPARE(
            first.object(), (QJsonObject{{u"path"_s, tool.databasePath()}, {u"created"_s, true}}));
        QCOMPARE(second.exitCode, 0);
        QCOMPARE(
            second.object(),
            (QJsonObject{{u"path"_s, tool.databasePath()}, {u"created"_s, false}}));
        QVERIFY(third.output.contains(u"exists already"_s));
    }

    // In a folder without velmioctl-fleet.
    void aFleetNeedsTheOtherProgram()
    {
        const VelmioctlRunner tool;
        const QTemporaryDir folder;
        const QString alone = folder.filePath(u"velmioctl"_s);
        QVERIFY(QFile::copy(tool.programPath(), alone));
        const QString fleet = u"postgresql://localhost/fleet"_s;

        for (const QStringList& command :
             {QStringList{u"fleet"_s, u"list"_s, u"--to"_s, fleet},
              QStringList{u"--database"_s, fleet, u"--store"_s, u"1"_s, u"stats"_s}}) {
            QProcess process;
            process.start(alone, QStringList{u"--json"_s} + command);
            QVERIFY(process.waitForFinished());

            QCOMPARE(process.exitCode(), 2);
            const QByteArray answer = process.readAllStandardError();
            QCOMPARE(
                QJsonDocument::fromJson(answer).object()[u"remedy"_s],
                u"Install it beside velmioctl."_s);
        }
    }

    void anEmptyFileIsNamedAndStaysOne()
    {
        const VelmioctlRunner tool;
        const QString path = tool.databasePath();
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        QCOMPARE(tool.run({u"backup"_s}).exitCode, 0);
        const QString backup = tool.json({u"backup"_s}).object()[u"path"_s].toString();
        QVERIFY(QFile::resize(path, 0));

        for (const QStringList& command :
             {QStringList{u"server"_s, u"list"_s}, QStringList{u"stats"_s},
              QStringList{u"schedule"_s, u"remove"_s, u"1"_s}, QStringList{u"export"_s},
              QStringList{u"init"_s}}) {
            const auto run = tool.run(command);

            QCOMPARE(run.exitCode, 5);
            QVERIFY2(run.errors.contains(u"is empty"_s), qPrintable(run.errors));
            QVERIFY2(run.errors.contains(backup), qPrintable(run.errors));
            QCOMPARE(QFileInfo(path).size(), 0);
        }
        QCOMPARE(tool.run({u"recover"_s, u"--from-backup"_s, u"--yes"_s}).exitCode, 0);
        QCOMPARE(tool.run({u"stats"_s}).exitCode, 0);
    }

    void initFillsAnEmptyFileWithoutBackups()
    {
        const VelmioctlRunner tool;
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        QVERIFY(QFile::resize(tool.databasePath(), 0));
        QVERIFY(QFile::setPermissions(
            tool.databasePath(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));

        QCOMPARE(tool.run({u"server"_s, u"list"_s}).exitCode, 5);
        const auto init = tool.json({u"init"_s});

        QCOMPARE(init.object()[u"created"_s], QJsonValue(true));
        QCOMPARE(QFile::permissions(tool.databasePath()) & QFile::ReadOther, QFile::Permissions());
        QCOMPARE(tool.run({u"server"_s, u"list"_s}).exitCode, 0);
    }

    void defaultPlaceIsInTheUsersData()
    {
        const VelmioctlRunner tool;

        const auto run = tool.runPlain({u"init"_s, u"--json"_s});

        QCOMPARE(run.exitCode, 0);
        QCOMPARE(
            run.object()[u"path"_s].toString(), tool.homePath() + u"/velmio/configuration.db"_s);
        QVERIFY(QFile::exists(tool.homePath() + u"/velmio/configuration.db"_s));
    }

    void relativePathCountsFromTheCurrentFolder()
    {
        const VelmioctlRunner tool;

        QCOMPARE(tool.runPlain({u"init"_s, u"--database"_s, u"sub/../x.db"_s}).exitCode, 0);

        QVERIFY(QFile::exists(tool.path(u"x.db"_s)));
    }

    void emptyPathIsNotTheDefaultPlace()
    {
        const VelmioctlRunner tool;

        QCOMPARE(tool.runPlain({u"init"_s, u"--database"_s, QString()}).exitCode, 2);

        QVERIFY(!QFile::exists(tool.homePath()));
    }

    void missingDatabaseIsNotCreated_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("list servers") << QStringList{u"server"_s, u"list"_s};
        QTest::newRow("add a server") << QStringList{
            u"server"_s,      u"add"_s, u"--dav-url"_s, u"https://a.b/"_s, u"--web-service-url"_s,
            u"https://a.b/"_s};
        QTest::newRow("add a folder")
            << QStringList{u"folder"_s, u"add"_s, u"."_s, u"--server-path"_s, u"/a"_s};
        QTest::newRow("tree") << QStringList{u"folder"_s, u"tree"_s};
        QTest::newRow("scan") << QStringList{u"scan"_s};
        QTest::newRow("stats") << QStringList{u"stats"_s, u"--json"_s};
    }

    void missingDatabaseIsNotCreated()
    {
        QFETCH(QStringList, arguments);
        const VelmioctlRunner tool;

        const auto run = tool.run(arguments);

        QCOMPARE(run.exitCode, 3);
        QVERIFY(run.errors.contains(u"velmioctl init"_s));
        QCOMPARE(run.output, QString());
        QVERIFY(!QFile::exists(tool.databasePath()));
    }

    void unusableFilesAreTold_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("init") << u"init"_s;
        QTest::newRow("stats") << u"stats"_s;
    }

    void unusableFilesAreTold()
    {
        QFETCH(QString, command);
        const VelmioctlRunner tool;
        const QByteArray text = "This is a text about configurations.\n";
        tool.writeFile(u"text"_s, text.repeated(100));
        tool.makeFolder(u"folder"_s);

        const auto onText = tool.runPlain({command, u"--database"_s, u"text"_s});
        const auto onFolder = tool.runPlain({command, u"--database"_s, u"folder"_s});

        QCOMPARE(onText.exitCode, 5);
        QVERIFY(onText.errors.contains(tool.path(u"text"_s)));
        QCOMPARE(onFolder.exitCode, 5);
        QVERIFY(onFolder.errors.contains(tool.path(u"folder"_s)));
    }

    void newerDatabaseIsTold()
    {
        const VelmioctlRunner tool;
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        sync::test::RawDatabase(tool.databasePath())
            .run(
                u"PRAGMA user_version = 1000; UPDATE StoreIdentity SET lastCompatibleVersion = 999"_s);

        QCOMPARE(tool.run({u"stats"_s}).exitCode, 6);
    }

    void damagedPagesAreNoEmptyTable()
    {
        const VelmioctlRunner tool;
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        QCOMPARE(
            tool.run({u"server"_s, u"add"_s, u"--dav-url"_s, u"https://a.b/"_s,
                      u"--web-service-url"_s, u"https://a.b/"_s})
                .exitCode,
            0);
        QFile file(tool.databasePath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        constexpr qint64 PageBytes = 4096;
        const QByteArray noise(int(PageBytes), '\x5a');
        for (qint64 at = PageBytes; at < file.size(); at += PageBytes) {
            QVERIFY(file.seek(at));
            QCOMPARE(file.write(noise), PageBytes);
        }
        file.close();

        const auto run = tool.run({u"server"_s, u"list"_s});

        QCOMPARE(run.exitCode, 5);
        QCOMPARE(run.output, QString());
        QVERIFY(run.errors.startsWith(u"error: "_s));
    }

    void lockedDatabaseIsBusy()
    {
        const VelmioctlRunner tool;
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        tool.makeFolder(u"root/a"_s);
        QCOMPARE(
            tool.run({u"folder"_s, u"add"_s, u"root"_s, u"--server-path"_s, u"/r"_s}).exitCode, 0);
        const auto factory = SqliteDatabaseFactory::open(tool.databasePath());
        const auto database = factory->GetDatabase();
        QVERIFY(database->transaction());

        const auto run = tool.json({u"scan"_s});
        QVERIFY(database->rollback());

        QCOMPARE(run.exitCode, 4);
        const QString holder =
            u"process %1 (TestVelmioctlDa)"_s.arg(QCoreApplication::applicationPid());
        QVERIFY2(run.errors.contains(holder), qPrintable(run.errors));
        QCOMPARE(run.object()[u"failed"_s].toInt(), 1);
        QCOMPARE(run.object()[u"new"_s].toInt(), 0);
        QCOMPARE(run.errors.count(u'\n'), 1);
    }

    void statsCountEverything()
    {
        const VelmioctlRunner tool;
        tool.makeFolder(u"root/a/b"_s);
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        QCOMPARE(
            tool.run({u"folder"_s, u"add"_s, u"root"_s, u"--server-path"_s, u"/r"_s}).exitCode, 0);
        QCOMPARE(tool.run({u"scan"_s}).exitCode, 0);

        const auto run = tool.json({u"stats"_s});
        const auto forPeople = tool.run({u"stats"_s});

        QCOMPARE(run.exitCode, 0);
        const QJsonObject stats = run.object();
        QCOMPARE(stats[u"path"_s].toString(), tool.databasePath());
        QCOMPARE(stats[u"schemaVersion"_s].toInt(), 4);
        QCOMPARE(stats[u"storeId"_s].toString().size(), 32);
        QCOMPARE(stats[u"moved"_s], QJsonValue(false));
        QCOMPARE(stats[u"writeAheadLog"_s], QJsonValue(true));
        QVERIFY(stats[u"fileBytes"_s].toInt() > 0);
        QVERIFY(stats[u"sqliteVersion"_s].toString().startsWith(u"3."_s));
        QCOMPARE(stats[u"tables"_s].toObject().size(), 8);
        QCOMPARE(stats[u"tables"_s][u"FolderConfiguration"_s].toInt(), 3);
        QCOMPARE(stats[u"tables"_s][u"Schedules"_s].toInt(), 1);
        const QJsonArray roots{QJsonObject{
            {u"id"_s, 1},
            {u"clientPath"_s, tool.path(u"root"_s)},
            {u"files"_s, 0},
            {u"bytes"_s, 0},
            {u"folders"_s, 3}}};
        QCOMPARE(stats[u"roots"_s].toArray(), roots);
        QVERIFY(forPeople.output.contains(u"   3  FolderConfiguration\n"_s));
    }

    void metricsAreTheSameNumbers()
    {
        const VelmioctlRunner tool;
        tool.makeFolder(u"ro\\o\n\"t"_s);
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        QCOMPARE(
            tool.run({u"folder"_s, u"add"_s, u"ro\\o\n\"t"_s, u"--server-path"_s, u"/r"_s})
                .exitCode,
            0);

        const auto run = tool.run({u"stats"_s, u"--prometheus"_s});

        QCOMPARE(run.exitCode, 0);
        // Each line is a comment of a metric or a sample: a name, labels and a number.
        static const QRegularExpression form(
            u"^(?:# (?:HELP|TYPE) [a-z_]+ \\S.*|"
            u"[a-z_]+(?:\\{(?:[a-z]+=\"(?:[^\"\\\\]|\\\\[n\"\\\\])*\",?)+\\})? -?\\d+)$"_s);
        QVERIFY(run.output.endsWith(u'\n'));
        for (const QString& line : run.output.chopped(1).split(u'\n'))
            QVERIFY2(form.match(line).hasMatch(), qPrintable(line));
        QVERIFY(run.output.contains(u"velmio_store_rows{table=\"Schedules\"} 1\n"_s));
        QVERIFY(run.output.contains(u"velmio_root_folders{root=\"1\",path=\"%1\"} 1\n"_s.arg(
            tool.path(u"ro\\\\o\\n\\\"t"_s))));
    }

    void movedDatabaseIsScannedWhenItIsAdopted()
    {
        const VelmioctlRunner tool;
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        sync::test::RawDatabase(tool.databasePath())
            .run(u"UPDATE StoreIdentity SET machineStamp = 'elsewhere'"_s);

        const auto listed = tool.run({u"schedule"_s, u"show"_s});
        const auto scanned = tool.run({u"scan"_s});
        const auto unasked = tool.run({u"adopt"_s});
        const auto adopted = tool.json({u"adopt"_s, u"--yes"_s});
        const auto again = tool.run({u"adopt"_s});
        const auto scannedThen = tool.run({u"scan"_s});

        QCOMPARE(listed.exitCode, 0);
        QVERIFY(listed.errors.startsWith(u"warning: The database "_s));
        QVERIFY(listed.errors.contains(u"'velmioctl adopt'"_s));
        QCOMPARE(listed.errors.count(u'\n'), 2);
        QCOMPARE(scanned.exitCode, 8);
        QVERIFY(scanned.errors.contains(u"error: Nothing was scanned"_s));
        QCOMPARE(unasked.exitCode, 2);
        QCOMPARE(adopted.exitCode, 0);
        QCOMPARE(adopted.object()[u"adopted"_s], QJsonValue(true));
        QCOMPARE(adopted.object()[u"storeId"_s].toString().size(), 32);
        QCOMPARE(again.errors, QString());
        QVERIFY(again.output.contains(u"already"_s));
        QCOMPARE(scannedThen.exitCode, 0);
    }

    void newerDatabaseThatMayBeUsedIsToldAndUsed()
    {
        const VelmioctlRunner tool;
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        sync::test::RawDatabase(tool.databasePath()).run(u"PRAGMA user_version = 99"_s);

        const auto run = tool.run({u"schedule"_s, u"show"_s});

        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.errors.startsWith(u"warning: "_s));
        QVERIFY(run.errors.contains(u"schema version 99"_s));
        QCOMPARE(run.errors.count(u'\n'), 1);
    }

    void databaseWithoutALogIsToldAndUsed()
    {
        const VelmioctlRunner tool;
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        sync::test::RawDatabase other(tool.databasePath());
        other.run(u"PRAGMA journal_mode = DELETE; BEGIN IMMEDIATE"_s);

        const auto writing = tool.run({u"init"_s});
        const auto forPeople = tool.run({u"stats"_s});
        const auto run = tool.json({u"stats"_s});

        QCOMPARE(writing.exitCode, 0);
        QVERIFY(writing.errors.startsWith(u"warning: "_s));
        QCOMPARE(writing.errors.count(u'\n'), 1);
        QCOMPARE(forPeople.exitCode, 0);
        QVERIFY(forPeople.output.contains(u"a journal is used"_s));
        QCOMPARE(run.object()[u"writeAheadLog"_s], QJsonValue(false));
    }

    void wrongArgumentsAreUsageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("nothing") << QStringList{};
        QTest::newRow("unknown command") << QStringList{u"frobnicate"_s};
        QTest::newRow("noun alone") << QStringList{u"server"_s};
        QTest::newRow("unknown option") << QStringList{u"stats"_s, u"--frobnicate"_s};
        QTest::newRow("missing value") << QStringList{u"server"_s, u"show"_s};
        QTest::newRow("no number") << QStringList{u"server"_s, u"show"_s, u"one"_s};
        QTest::newRow("too many words") << QStringList{u"server"_s, u"list"_s, u"all"_s};
        QTest::newRow("option that excludes another")
            << QStringList{u"folder"_s, u"list"_s, u"--all"_s, u"--orphans"_s};
        QTest::newRow("negative depth")
            << QStringList{u"folder"_s, u"tree"_s, u"--depth"_s, u"-1"_s};
    }

    void wrongArgumentsAreUsageErrors()
    {
        QFETCH(QStringList, arguments);
        const VelmioctlRunner tool;
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);

        const auto run = tool.run(arguments);

        QCOMPARE(run.exitCode, 2);
        QCOMPARE(run.output, QString());
        QVERIFY(run.errors.startsWith(u"error: "_s));
        QVERIFY(run.errors.contains(u"--help"_s));
    }

    void argumentThatIsNoTextIsRefused()
    {
        const VelmioctlRunner tool;
        // QProcess writes its arguments as UTF-8, so a shell makes the byte.
        QProcess shell;
        shell.setProcessEnvironment(tool.environment);
        shell.start(
            u"sh"_s,
            {u"-c"_s, u"\"$0\" folder check \"$(printf 'a\\377')\""_s, tool.programPath()});
        QVERIFY(shell.waitForFinished());

        QCOMPARE(shell.exitCode(), 2);
        QVERIFY(shell.readAllStandardError().contains("a\\xff"));
    }

    void helpAndVersionGoToOutput_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("start");
        QTest::newRow("version") << QStringList{u"--version"_s} << u"velmioctl 1."_s;
        QTest::newRow("help") << QStringList{u"--help"_s} << u"Inspects and"_s;
        QTest::newRow("help of a command")
            << QStringList{u"folder"_s, u"add"_s, u"--help"_s} << u"Register a directory"_s;
    }

    void helpAndVersionGoToOutput()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, start);
        const VelmioctlRunner tool;

        const auto run = tool.runPlain(arguments);

        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.output.startsWith(start));
        QCOMPARE(run.errors, QString());
    }

    void optionsMayStandBehindTheCommand()
    {
        const VelmioctlRunner tool;
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);

        const auto run = tool.runPlain(
            {u"server"_s, u"list"_s, u"--json"_s, u"--database"_s, tool.databasePath()});

        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.output, u"[\n]\n"_s);
    }

    void asciiLocaleIsNoTrouble()
    {
        VelmioctlRunner tool;
        tool.environment.remove(u"LC_ALL"_s);
        tool.environment.insert(u"LANG"_s, u"C"_s);
        tool.makeFolder(u"r\u00e9/\u65e5"_s);
        QCOMPARE(tool.run({u"init"_s}).errors, QString());
        QCOMPARE(
            tool.run({u"folder"_s, u"add"_s, tool.path(u"r\u00e9"_s), u"--server-path"_s, u"/r"_s})
                .exitCode,
            0);
        QCOMPARE(tool.run({u"scan"_s}).exitCode, 0);

        const auto tree = tool.run({u"folder"_s, u"tree"_s});

        QCOMPARE(
            tree.output, tool.path(u"r\u00e9"_s) + u"  [1, syncing]\n`-- \u65e5  [2, created]\n"_s);
        QCOMPARE(tree.errors, QString());
    }

    void nothingIsColouredInAPipe()
    {
        VelmioctlRunner tool;
        tool.environment.insert(u"TERM"_s, u"xterm-256color"_s);

        QVERIFY(!tool.run({u"stats"_s}).errors.contains(u'\x1b'));
        QVERIFY(!tool.run({u"init"_s}).output.contains(u'\x1b'));
    }

    void databaseInAClosedFolderIsNotMissing()
    {
        VelmioctlRunner tool;
        QCOMPARE(tool.run({u"init"_s}).exitCode, 0);
        const QString folder = QFileInfo(tool.databasePath()).path();
        QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner));
        tool.asNobody = true;

        const auto run = tool.run({u"server"_s, u"list"_s});
        QVERIFY(
            QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

        QCOMPARE(run.exitCode, 8);
        QVERIFY2(
            run.errors.contains(u"is not accessible: Permission denied"_s), qPrintable(run.errors));
        QVERIFY(!run.errors.contains(u"velmioctl init"_s));
    }

    void linkWithoutItsTargetIsNotMissing()
    {
        const VelmioctlRunner tool;
        const QString target = tool.path(u"drive/configuration.db"_s);
        QVERIFY(QFile::link(target, tool.databasePath()));

        const auto run = tool.run({u"server"_s, u"list"_s});

        QCOMPARE(run.exitCode, 3);
        QVERIFY(run.errors.contains(u"is a link to \"%1\", which does not exist"_s.arg(target)));
        QVERIFY(!run.errors.contains(u"velmioctl init"_s));
    }

    void variableNamesTheDatabase()
    {
        VelmioctlRunner tool;
        tool.environment.insert(u"VELMIO_DATABASE"_s, tool.path(u"own.db"_s));

        const auto made = tool.runPlain({u"init"_s});
        const auto chosen = tool.run({u"init"_s});
        tool.environment.insert(u"VELMIO_DATABASE"_s, QString());
        const auto other = tool.runPlain({u"--json"_s, u"init"_s});

        QCOMPARE(made.exitCode, 0);
        QVERIFY(made.output.contains(tool.path(u"own.db"_s)));
        QVERIFY(chosen.output.contains(tool.databasePath()));
        QVERIFY(other.object()[u"path"_s].toString().startsWith(tool.homePath()));
    }

    void helpOfACommand()
    {
        const VelmioctlRunner tool;

        const auto help = tool.runPlain({u"help"_s, u"server"_s, u"add"_s});

        QCOMPARE(help.exitCode, 0);
        QCOMPARE(help.output, tool.runPlain({u"server"_s, u"add"_s, u"--help"_s}).output);
        QCOMPARE(tool.runPlain({u"help"_s}).output, tool.runPlain({u"--help"_s}).output);
        QCOMPARE(tool.runPlain({u"help"_s, u"server"_s, u"fly"_s}).exitCode, 2);
    }
};

QTEST_GUILESS_MAIN(TestVelmioctlDatabase)
#include "TestVelmioctlDatabase.moc"
