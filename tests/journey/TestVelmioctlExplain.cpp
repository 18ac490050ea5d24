#include "VelmioctlRunner.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

class TestVelmioctlExplain : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        tool->makeFolder(u"one/a/deep"_s);
        tool->makeFolder(u"two"_s);
        tool->makeFolder(u"outside"_s);
        tool->writeFile(u"one/a/known"_s, "k");
        tool->writeFile(u"one/a/lost"_s, "l");
        QVERIFY(QFile::link(tool->path(u"one/a"_s), tool->path(u"one/link"_s)));
        QVERIFY(QFile::link(tool->path(u"one/a"_s), tool->path(u"outside/link"_s)));
        run({u"init"_s});
        run(
            {u"server"_s, u"add"_s, u"--dav-url"_s, u"https://d.example/"_s, u"--web-service-url"_s,
             u"https://w.example/ws"_s});
        QCOMPARE(
            tool->feed(
                    {u"signin"_s, u"add"_s, u"--server"_s, u"1"_s, u"--domain"_s, u"dom"_s,
                     u"--user"_s, u"kim"_s, u"--password-stdin"_s},
                    "x\n")
                .exitCode,
            0);
        run(
            {u"folder"_s, u"add"_s, u"one"_s, u"--server-path"_s, u"/S/one"_s, u"--signin"_s,
             u"1"_s});
        run({u"scan"_s});
        QVERIFY(QFile::remove(tool->path(u"one/a/lost"_s)));
        tool->writeFile(u"one/a/new"_s, "n");
    }

    void cleanup() { tool.reset(); }

    void tellsWhyAPathIsInOrOut_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("inside");
        QTest::addColumn<QString>("onDisk");
        QTest::addColumn<QStringList>("reasons");

        const auto in = [](const char* name, const QString& path, const QString& onDisk,
                           const QStringList& remarks = {}) {
            QTest::newRow(name) << path << true << onDisk << QStringList{u"inside"_s} + remarks;
        };
        const auto out = [](const char* name, const QString& path, const QString& onDisk,
                            const QString& reason) {
            QTest::newRow(name) << path << false << onDisk << QStringList{reason};
        };
        in("root folder", u"one"_s, u"folder"_s);
        in("folder by a roundabout way", u"two/../one//a/"_s, u"folder"_s);
        in("known file", u"one/a/known"_s, u"file"_s);
        in("new file", u"one/a/new"_s, u"file"_s, {u"unregistered"_s});
        in("known file that is gone", u"one/a/lost"_s, u"missing"_s, {u"gone"_s});
        in("file to come, in a folder to come", u"one/b/c"_s, u"missing"_s, {u"missing"_s});
        in("below a file", u"one/a/known/x"_s, u"missing"_s, {u"missing"_s});
        out("beside the root", u"outside"_s, u"folder"_s, u"no-root"_s);
        out("nowhere", u"nowhere/x"_s, u"missing"_s, u"no-root"_s);
        out("root in another case", u"ONE/a"_s, u"missing"_s, u"other-case"_s);
        out("link", u"one/link"_s, u"link"_s, u"link"_s);
        out("below a link", u"one/link/known"_s, u"link"_s, u"link"_s);
        out("link from outside", u"outside/link/known"_s, u"file"_s, u"link"_s);
        out("scratch folder", u"one/.{synctemp}/x"_s, u"missing"_s, u"scratch-folder"_s);
    }

    void tellsWhyAPathIsInOrOut()
    {
        QFETCH(QString, path);
        QFETCH(bool, inside);
        QFETCH(QString, onDisk);
        QFETCH(QStringList, reasons);

        const auto relative = tool->json({u"explain"_s, path});
        const auto absolute = tool->json({u"explain"_s, tool->path(path)});

        QCOMPARE(relative.exitCode, inside ? 0 : 1);
        QCOMPARE(relative.object()[u"inside"_s].toBool(), inside);
        QCOMPARE(relative.object()[u"onDisk"_s].toString(), onDisk);
        QCOMPARE(reasonIds(relative.object()), reasons);
        QCOMPARE(absolute.object(), relative.object());
    }

    void namesAllThatApplies()
    {
        QCOMPARE(
            tool->feed(
                    {u"product"_s, u"add"_s, u"--server"_s, u"1"_s, u"--name"_s, u"Desktop"_s,
                     u"--consumer-key"_s, u"key"_s, u"--secret-stdin"_s},
                    "hidden\n")
                .exitCode,
            0);
        run({u"folder"_s, u"set"_s, u"one/a"_s, u"--product"_s, u"1"_s});

        const auto answer = tool->json({u"explain"_s, u"one/a/new"_s});

        const QJsonObject all = answer.object();
        QCOMPARE(all[u"root"_s][u"id"_s].toInt(), 1);
        QCOMPARE(all[u"folder"_s][u"clientPath"_s].toString(), tool->path(u"one/a"_s));
        QCOMPARE(all[u"serverPath"_s].toString(), u"/S/one/a/new"_s);
        QCOMPARE(
            all[u"signIn"_s].toObject(),
            (QJsonObject{{u"id"_s, 1}, {u"exists"_s, true}, {u"name"_s, u"\"kim\" on \"dom\""_s}}));
        QCOMPARE(
            all[u"server"_s].toObject(),
            (QJsonObject{
                {u"id"_s, 1}, {u"exists"_s, true}, {u"name"_s, u"w, https://w.example/ws"_s}}));
        QCOMPARE(
            all[u"product"_s].toObject(),
            (QJsonObject{{u"id"_s, 1}, {u"exists"_s, true}, {u"name"_s, u"Desktop"_s}}));
        QCOMPARE(all[u"schedule"_s][u"folderConfigId"_s].toInt(-1), 0);
        QVERIFY(!answer.output.contains(u"hidden"_s));
    }

    void nearestScheduleApplies()
    {
        QVERIFY(tool->execute(u"INSERT INTO Schedules (id, folderConfigurationId, syncInterval)"
                              u" VALUES (7, 1, 5)"_s));

        QCOMPARE(explained(u"one/a/known"_s)[u"schedule"_s][u"id"_s].toInt(), 7);

        QVERIFY(tool->execute(u"INSERT INTO Schedules (id, folderConfigurationId, syncInterval)"
                              u" SELECT 8, id, 6 FROM FolderConfiguration WHERE name = 'a'"_s));

        QCOMPARE(explained(u"one/a/known"_s)[u"schedule"_s][u"id"_s].toInt(), 8);
        QCOMPARE(explained(u"one/other"_s)[u"schedule"_s][u"id"_s].toInt(), 7);
    }

    void missingReferencesAreNamedAsSuch()
    {
        QVERIFY(tool->execute(u"UPDATE FolderConfiguration SET authenticationId = 77,"
                              u" productConfigurationId = 88"_s));
        QVERIFY(tool->execute(u"DELETE FROM Schedules"_s));

        const QJsonObject all = explained(u"one/a"_s);

        QCOMPARE(all[u"signIn"_s][u"id"_s].toInt(), 77);
        QCOMPARE(all[u"signIn"_s][u"exists"_s].toBool(true), false);
        QCOMPARE(all[u"product"_s][u"exists"_s].toBool(true), false);
        QVERIFY(all[u"server"_s].isNull());
        QVERIFY(all[u"schedule"_s].isNull());
        QVERIFY(tool->run({u"explain"_s, u"one/a"_s}).output.contains(u"77  does not exist"_s));
    }

    void filesOfATopLevelRootAreInAndItsFoldersOut()
    {
        run({u"folder"_s, u"set"_s, u"one"_s, u"--option"_s, u"top-level"_s});
        tool->writeFile(u"one/direct"_s, "d");

        QCOMPARE(reasonIds(explained(u"one"_s)), QStringList{u"inside"_s});
        QCOMPARE(
            reasonIds(explained(u"one/direct"_s)), (QStringList{u"inside"_s, u"unregistered"_s}));
        QCOMPARE(reasonIds(explained(u"one/a"_s)), QStringList{u"top-level-only"_s});
        QCOMPARE(reasonIds(explained(u"one/a/known"_s)), QStringList{u"top-level-only"_s});
        QCOMPARE(reasonIds(explained(u"one/no/such"_s)), QStringList{u"top-level-only"_s});
    }

    void databaseFileIsPassedOver()
    {
        run({u"folder"_s, u"clean"_s, u"one"_s, u"--yes"_s});
        run({u"folder"_s, u"add"_s, u"."_s, u"--server-path"_s, u"/S"_s});

        QCOMPARE(reasonIds(explained(u"configuration.db"_s)), QStringList{u"own-file"_s});
        QCOMPARE(reasonIds(explained(u"configuration.db-wal"_s)), QStringList{u"own-file"_s});
        QCOMPARE(
            reasonIds(explained(u"configuration.db2"_s)), (QStringList{u"inside"_s, u"missing"_s}));
    }

    void unreachableRootIsTold()
    {
        QVERIFY(QDir().rename(tool->path(u"one"_s), tool->path(u"moved"_s)));

        const QJsonObject all = explained(u"one/a/known"_s);

        QCOMPARE(reasonIds(all), (QStringList{u"inside"_s, u"root-missing"_s}));
        QVERIFY(all[u"reasons"_s][1][u"remedy"_s].toString().contains(u"folder clean 1"_s));
    }

    void overlapsAreListed()
    {
        run({u"folder"_s, u"add"_s, u"two"_s, u"--server-path"_s, u"/T"_s, u"--signin"_s, u"1"_s});
        QVERIFY(tool->execute(u"UPDATE FolderConfiguration SET serverPath = '/s/ONE/a',"
                              u" clientPath = '%1' WHERE clientPath = '%2'"_s.arg(
                                  tool->path(u"one/a/deep"_s), tool->path(u"two"_s))));
        const int second = tool->json({u"folder"_s, u"list"_s}).array()[1][u"id"_s].toInt();

        QCOMPARE(
            overlaps(explained(u"one/a"_s)),
            (QStringList{u"below %1"_s.arg(second), u"server %1"_s.arg(second)}));
        QCOMPARE(
            overlaps(explained(u"one/a/deep/x"_s)), (QStringList{u"around 1"_s, u"server 1"_s}));
        QCOMPARE(explained(u"one/a/deep/x"_s)[u"root"_s][u"id"_s].toInt(), second);
        QVERIFY(reasonIds(explained(u"one/a/deep/x"_s)).contains(u"innermost-root"_s));
        QCOMPARE(overlaps(explained(u"one/b"_s)), QStringList());
    }

    void otherSpellingsAreListed()
    {
        tool->writeFile(u"one/a/caf\u00e9"_s, "1");
        tool->writeFile(u"one/a/CAFE\u0301"_s, "2");
        for (const QString& name : {u"one/a/caf\u00e9"_s, u"one/a/CAFE\u0301"_s})
            run({u"file"_s, u"add"_s, name});

        const auto list = tool->json({u"file"_s, u"list"_s}).array();
        int other = -1;
        for (const auto& file : list) {
            if (file[u"name"_s].toString() == u"CAFE\u0301"_s)
                other = file[u"id"_s].toInt();
        }

        QCOMPARE(
            overlaps(explained(u"one/a/caf\u00e9"_s)), QStringList{u"spelling %1"_s.arg(other)});
    }

    void recordOfAnotherTreeIsTold()
    {
        QVERIFY(tool->execute(u"UPDATE FolderConfiguration SET rootId = 99 WHERE name = 'a'"_s));

        QCOMPARE(
            reasonIds(explained(u"one/a/known"_s)), (QStringList{u"inside"_s, u"other-root"_s}));
    }

    void nameThatCannotBeStoredIsTold()
    {
        // QProcess writes its arguments as UTF-8, so a shell makes the byte.
        QProcess shell;
        shell.setProcessEnvironment(tool->environment);
        shell.start(
            u"sh"_s, {u"-c"_s, u"\"$0\" explain \"$(printf 'a\\377')\""_s, tool->programPath()});
        QVERIFY(shell.waitForFinished());

        QCOMPARE(shell.exitCode(), 2);
        QVERIFY(shell.readAllStandardError().contains("cannot be stored"));
    }

    void ignoreRuleIsNamedWithItsLine()
    {
        tool->writeFile(u"rules"_s, "# first\n*.tmp\na/\n!new\n");
        const auto ask = [this](const QString& path) {
            return tool->json({u"explain"_s, path, u"--ignore"_s, tool->path(u"rules"_s)});
        };

        const QJsonObject byFolder = ask(u"one/a/new"_s).object();
        const QJsonObject byName = ask(u"one/x.tmp"_s).object();

        QCOMPARE(reasonIds(byFolder), QStringList{u"ignored"_s});
        QVERIFY(byFolder[u"reasons"_s][0][u"text"_s].toString().startsWith(
            u"The rule \"a/\" in line 3 of "_s));
        QVERIFY(byName[u"reasons"_s][0][u"text"_s].toString().contains(u"in line 2 of"_s));
        QCOMPARE(reasonIds(ask(u"one/x"_s).object()), (QStringList{u"inside"_s, u"missing"_s}));
        QCOMPARE(tool->run({u"explain"_s, u"one"_s, u"--ignore"_s, u"none"_s}).exitCode, 2);
    }

    void scanAndStatusLeaveOutWhatIsIgnored()
    {
        tool->writeFile(u"rules"_s, "new\n");
        const QStringList rules{u"--ignore"_s, tool->path(u"rules"_s)};

        const auto status = tool->json(QStringList{u"status"_s} + rules).object();
        const auto scan = tool->json(QStringList{u"scan"_s} + rules).object();

        QCOMPARE(status[u"new"_s].toInt(), 0);
        QCOMPARE(scan[u"files"_s][u"new"_s].toInt(), 0);
        QCOMPARE(tool->json({u"status"_s}).object()[u"new"_s].toInt(), 1);
    }

    void recordSaysWhatTheClientAndTheServerDecided()
    {
        QVERIFY(tool->execute(u"UPDATE FileConfiguration SET syncOption = 3, privileges = 19,"
                              u" lastOperationTime = '2026-03-01T10:20:30.000Z'"
                              u" WHERE name = 'known'"_s));

        const QJsonArray reasons = explained(u"one/a/known"_s)[u"reasons"_s].toArray();

        QCOMPARE(
            reasonIds(explained(u"one/a/known"_s)),
            (QStringList{u"inside"_s, u"sync-option"_s, u"privileges"_s}));
        QVERIFY(reasons[1][u"text"_s].toString().contains(u"sync option 3"_s));
        QCOMPARE(
            reasons[2][u"text"_s].toString(),
            u"The user has no right to change or delete it on the server."_s);
        QVERIFY(reasons[0][u"since"_s].isNull());
        QVERIFY(reasons[2][u"since"_s].toString().startsWith(u"2026-03-01T10:20:30"_s));
        QVERIFY(tool->run({u"explain"_s, u"one/a/known"_s})
                    .output.contains(u"Its last operation was at 2026-03-01T10:20:30Z."_s));
    }

    void answerForPeopleBeginsWithTheVerdict()
    {
        QCOMPARE(::mkfifo(QFile::encodeName(tool->path(u"one/pipe"_s)).constData(), 0600), 0);

        const auto in = tool->run({u"explain"_s, u"one/a/new"_s});
        const auto out = tool->run({u"explain"_s, u"one/pipe"_s});

        QVERIFY(in.output.startsWith(
            tool->path(u"one/a/new"_s) + u"\nin: It is in the root folder \""_s +
            tool->path(u"one"_s) +
            u"\" (id 1). It has no record yet. Register it with 'velmioctl scan 1'.\n\n"_s));
        QVERIFY(in.output.contains(u"\nserver path  /S/one/a/new\n"_s));
        QVERIFY(out.output.contains(u"\nout: It is a pipe, socket or device"_s));
        QVERIFY(out.output.contains(u"\non disk      other\n"_s));
    }

    void changesNothing()
    {
        const QByteArray before = tool->databaseBytes();

        QCOMPARE(tool->run({u"explain"_s, u"one/a/new"_s}).exitCode, 0);

        QCOMPARE(tool->databaseBytes(), before);
    }

private:
    void run(const QStringList& arguments) const
    {
        const auto done = tool->run(arguments);
        QVERIFY2(done.exitCode == 0, qPrintable(done.errors));
    }
    QJsonObject explained(const QString& path) const
    {
        return tool->json({u"explain"_s, path}).object();
    }
    static QStringList reasonIds(const QJsonObject& explanation)
    {
        QStringList ids;
        const QJsonArray reasons = explanation[u"reasons"_s].toArray();
        for (const auto& reason : reasons)
            ids += reason[u"id"_s].toString();
        return ids;
    }
    static QStringList overlaps(const QJsonObject& explanation)
    {
        QStringList list;
        const QJsonArray overlaps = explanation[u"overlaps"_s].toArray();
        for (const auto& overlap : overlaps)
            list += u"%1 %2"_s.arg(overlap[u"kind"_s].toString()).arg(overlap[u"id"_s].toInt());
        return list;
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlExplain)
#include "TestVelmioctlExplain.moc"
