#include "VelmioctlRunner.h"

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using sync::database::SqliteDatabaseFactory;

class TestVelmioctlScan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        tool->makeFolder(u"one/a/b"_s);
        tool->makeFolder(u"one/.{SyncTemp}/x"_s);
        tool->makeFolder(u"two/c"_s);
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
    }

    void cleanup() { tool.reset(); }

    void secondScanFindsNothingNew()
    {
        addRoot(u"one"_s);
        addRoot(u"two"_s);

        const auto first = tool->json({u"scan"_s});
        const auto second = tool->json({u"scan"_s});
        const auto third = tool->run({u"scan"_s});

        QCOMPARE(first.exitCode, 0);
        QCOMPARE(first.object()[u"seen"_s].toInt(), 3);
        QCOMPARE(first.object()[u"new"_s].toInt(), 3);
        QVERIFY(first.object()[u"elapsedMs"_s].isDouble());
        const QJsonObject rootOne{
            {u"id"_s, 1},
            {u"clientPath"_s, tool->path(u"one"_s)},
            {u"seen"_s, 2},
            {u"new"_s, 2},
            {u"failed"_s, 0},
            {u"unreadable"_s, 0},
            {u"invalidNames"_s, 0},
            {u"moved"_s, 0},
            {u"gone"_s, 0},
            {u"pruned"_s, 0},
            {u"files"_s, first.object()[u"files"_s]},
            {u"missing"_s, false},
            {u"topLevel"_s, false},
            {u"state"_s, u"present"_s},
        };
        QCOMPARE(first.object()[u"roots"_s].toArray().at(0).toObject(), rootOne);
        QCOMPARE(second.exitCode, 0);
        QCOMPARE(second.object()[u"seen"_s].toInt(), 3);
        QCOMPARE(second.object()[u"new"_s].toInt(-1), 0);
        QVERIFY(third.output.contains(u" all        3    0 "_s));
        QCOMPARE(third.errors, QString());
        QCOMPARE(folderCount(), 5);
    }

    void newFoldersAreFoundLater()
    {
        addRoot(u"one"_s);
        tool->run({u"scan"_s});
        tool->makeFolder(u"one/a/new/deep"_s);

        const auto scan = tool->json({u"scan"_s});

        QCOMPARE(scan.object()[u"new"_s].toInt(), 2);
        const auto shown = tool->json({u"folder"_s, u"show"_s, u"one/a/new/deep"_s}).object();
        QCOMPARE(shown[u"serverPath"_s].toString(), u"/one/a/new/deep"_s);
        QCOMPARE(shown[u"syncStatus"_s].toInt(), 3);
    }

    void batchesCoverBigTrees()
    {
        for (int number = 0; number < 4500; ++number)
            QVERIFY(QDir(tool->path(u"two"_s)).mkdir(QString::number(number)));
        addRoot(u"two"_s);

        const auto scan = tool->json({u"scan"_s});

        QCOMPARE(scan.object()[u"new"_s].toInt(), 4501);
        QCOMPARE(folderCount(), 4502);
    }

    void oneRootCanBeChosen()
    {
        addRoot(u"one"_s);
        addRoot(u"two"_s);

        QCOMPARE(tool->json({u"scan"_s, u"2"_s}).object()[u"new"_s].toInt(), 1);
        QCOMPARE(tool->json({u"scan"_s, u"one"_s}).object()[u"new"_s].toInt(), 2);
    }

    void folderBelowARootCanBeChosen()
    {
        addRoot(u"one"_s);
        tool->writeFile(u"one/elsewhere"_s, "content");
        tool->run({u"scan"_s});
        tool->makeFolder(u"one/a/new"_s);
        tool->makeFolder(u"one/new"_s);
        tool->writeFile(u"one/a/file"_s, "content");
        QVERIFY(QDir(tool->path(u"one/a/b"_s)).removeRecursively());

        const auto status = tool->json({u"status"_s, u"one/a"_s});
        const auto scan = tool->json({u"scan"_s, u"one/a"_s, u"--prune"_s, u"--yes"_s});

        QCOMPARE(status.object()[u"outOfSync"_s].toInt(-1), 0);
        QCOMPARE(status.object()[u"newFolders"_s].toInt(), 1);
        QCOMPARE(status.object()[u"missingFolders"_s].toInt(), 1);
        QCOMPARE(
            status.object()[u"roots"_s][0][u"clientPath"_s].toString(), tool->path(u"one/a"_s));
        QCOMPARE(scan.exitCode, 0);
        QCOMPARE(scan.object()[u"new"_s].toInt(), 1);
        QCOMPARE(scan.object()[u"files"_s][u"new"_s].toInt(), 1);
        QCOMPARE(scan.object()[u"pruned"_s].toInt(), 1);
        QCOMPARE(tool->run({u"folder"_s, u"show"_s, u"one/new"_s}).exitCode, 3);
        QCOMPARE(tool->run({u"scan"_s, u"99"_s}).exitCode, 3);
    }

    void missingFolderBelowARootIsADifference()
    {
        addRoot(u"one"_s);
        tool->run({u"scan"_s});
        QVERIFY(QDir(tool->path(u"one/a"_s)).removeRecursively());

        QCOMPARE(tool->json({u"status"_s, u"one/a"_s}).object()[u"missingFolders"_s].toInt(), 2);
        const auto scan = tool->json({u"scan"_s, u"one/a"_s, u"--prune"_s, u"--yes"_s});

        QCOMPARE(scan.object()[u"pruned"_s].toInt(), 2);
        QCOMPARE(folderCount(), 1);
    }

    void folderBelowATopLevelRootIsRefused()
    {
        addRoot(u"one"_s);
        tool->run({u"scan"_s});
        tool->run({u"folder"_s, u"set"_s, u"one"_s, u"--option"_s, u"top-level"_s});

        QCOMPARE(tool->run({u"status"_s, u"one/a"_s}).exitCode, 2);
    }

    void detailsAndQuiet()
    {
        addRoot(u"one"_s);
        tool->writeFile(u"one/file"_s, "content");

        const auto verbose = tool->run({u"scan"_s, u"-v"_s});
        const auto quiet = tool->run({u"-q"_s, u"folder"_s, u"list"_s, u"--orphans"_s});
        const auto plain = tool->run({u"folder"_s, u"list"_s, u"--orphans"_s});

        QCOMPARE(
            verbose.errors, u"Opened the database \"%1\" for changes.\nNew: \"%2\"\n"_s.arg(
                                tool->databasePath(), tool->path(u"one/file"_s)));
        QVERIFY(!plain.errors.isEmpty());
        QCOMPARE(quiet.errors, QString());
    }

    void topLevelRootRegistersNothing()
    {
        addRoot(u"one"_s, {u"--top-level"_s});

        const auto scan = tool->json({u"scan"_s});

        QCOMPARE(scan.exitCode, 0);
        QCOMPARE(scan.object()[u"roots"_s][0][u"topLevel"_s].toBool(), true);
        QCOMPARE(folderCount(), 1);
    }

    void vanishedRootIsAFindingAndOthersGoOn()
    {
        addRoot(u"one"_s);
        addRoot(u"two"_s);
        QVERIFY(QDir(tool->path(u"one"_s)).removeRecursively());

        const auto scan = tool->json({u"scan"_s});

        QCOMPARE(scan.exitCode, 1);
        QVERIFY(scan.errors.contains(tool->path(u"one"_s)));
        QCOMPARE(scan.object()[u"roots"_s][0][u"missing"_s].toBool(), true);
        QCOMPARE(scan.object()[u"roots"_s][1][u"new"_s].toInt(), 1);
        QCOMPARE(folderCount(), 3);
    }

    void invalidNamesAreFindings()
    {
        addRoot(u"one"_s);
        const QByteArray bad = QFile::encodeName(tool->path(u"one/"_s)) + "bad\xff";
        QCOMPARE(::mkdir(bad.constData(), 0700), 0);

        const auto scan = tool->json({u"scan"_s});
        ::rmdir(bad.constData());

        QCOMPARE(scan.exitCode, 1);
        QCOMPARE(scan.object()[u"invalidNames"_s].toInt(), 1);
        QCOMPARE(scan.object()[u"new"_s].toInt(), 2);
        QVERIFY(scan.errors.contains(u"bad\\xff"_s));
    }

    void scanWithoutRootsSaysWhatToDo()
    {
        const auto scan = tool->run({u"scan"_s});

        QCOMPARE(scan.exitCode, 0);
        QVERIFY(scan.errors.contains(u"velmioctl folder add"_s));
    }

    void interruptEndsTheScanCleanly()
    {
        addRoot(u"missing"_s, {u"--missing-ok"_s});
        addRoot(u"one"_s);
        const auto factory = SqliteDatabaseFactory::open(tool->databasePath());
        const auto database = factory->GetDatabase();
        QVERIFY(database->transaction());
        QProcess process;
        process.setProcessEnvironment(tool->environment);
        process.start(
            tool->programPath(), {u"--json"_s, u"--database"_s, tool->databasePath(), u"scan"_s});
        process.setReadChannel(QProcess::StandardError);
        // When it reports the first root it already listens to signals; then it waits for the lock.
        QVERIFY(process.waitForReadyRead());

        QCOMPARE(::kill(pid_t(process.processId()), SIGINT), 0);
        QVERIFY(database->rollback());
        QVERIFY(process.waitForFinished());

        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 130);
        const QJsonObject answer =
            QJsonDocument::fromJson(process.readAllStandardOutput()).object();
        QCOMPARE(answer[u"interrupted"_s].toBool(), true);
        QCOMPARE(answer[u"new"_s].toInt(-1), 0);
        QCOMPARE(folderCount(), 2);
    }

private:
    void addRoot(const QString& name, const QStringList& options = {}) const
    {
        const auto added = tool->run(
            QStringList{u"folder"_s, u"add"_s, name, u"--server-path"_s, u"/"_s + name} + options);
        QCOMPARE(added.exitCode, 0);
    }
    qsizetype folderCount() const
    {
        return tool->json({u"folder"_s, u"list"_s, u"--all"_s}).array().size();
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlScan)
#include "TestVelmioctlScan.moc"
