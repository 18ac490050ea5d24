#include "VelmioctlRunner.h"

#include <database/DatabaseBackups.h>

#include <QDir>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

/// What keeps "scan --prune" from removing records by mistake.
class TestVelmioctlPrune : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        tool->makeFolder(u"one/a"_s);
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QCOMPARE(
            tool->run({u"folder"_s, u"add"_s, u"one"_s, u"--server-path"_s, u"/S"_s}).exitCode, 0);
    }

    void cleanup() { tool.reset(); }

    void dryRunListsAndChangesNothing()
    {
        makeFiles(2);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        addBaseCopy(u"one/0"_s, u"backup/0"_s);
        QVERIFY(QFile::remove(tool->path(u"one/0"_s)));
        QVERIFY(QDir(tool->path(u"one/a"_s)).removeRecursively());
        tool->writeFile(u"one/new"_s, "new");
        tool->makeFolder(u"one/b"_s);
        const QByteArray before = tool->databaseBytes();

        const auto text = tool->run({u"scan"_s, u"--prune"_s, u"--dry-run"_s});
        const auto json = tool->json({u"scan"_s, u"--prune"_s, u"--dry-run"_s});

        QCOMPARE(text.exitCode, 1);
        QVERIFY(text.output.startsWith(
            u"Would remove the record of \"%1\".\nWould remove the record of \"%2\".\n"
            u"Would delete \"%3\" from the disk.\nROOT "_s.arg(
                tool->path(u"one/0"_s), tool->path(u"one/a"_s), tool->path(u"backup/0"_s))));
        QCOMPARE(json.object()[u"new"_s].toInt(), 1);
        QCOMPARE(json.object()[u"files"_s][u"new"_s].toInt(), 1);
        const QJsonObject expected{
            {u"files"_s, QJsonArray{tool->path(u"one/0"_s)}},
            {u"folders"_s, QJsonArray{tool->path(u"one/a"_s)}},
            {u"dependants"_s, QJsonArray{tool->path(u"backup/0"_s)}},
            {u"deleted"_s, QJsonArray()},
        };
        QCOMPARE(json.object()[u"roots"_s][0][u"prune"_s].toObject(), expected);
        QCOMPARE(tool->databaseBytes(), before);
        QVERIFY(QFile::exists(tool->path(u"backup/0"_s)));
    }

    void deletedFilesAreListed()
    {
        makeFiles(2);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        addBaseCopy(u"one/0"_s, u"backup/0"_s);
        QVERIFY(QFile::remove(tool->path(u"one/0"_s)));

        const auto pruned = tool->run({u"scan"_s, u"--prune"_s, u"--yes"_s});

        QCOMPARE(pruned.exitCode, 0);
        QVERIFY(pruned.output.startsWith(u"Deleted \"%1\".\n"_s.arg(tool->path(u"backup/0"_s))));
        QVERIFY(!QFile::exists(tool->path(u"backup/0"_s)));
        QCOMPARE(backups(), 0);
    }

    void tooManyMissingRecordsAreRefused_data()
    {
        QTest::addColumn<int>("files");
        QTest::addColumn<int>("missing");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("half of them") << 29 << 15 << QStringList() << 0;
        QTest::newRow("more than half") << 29 << 16 << QStringList() << 2;
        QTest::newRow("forced") << 29 << 16 << QStringList{u"--force"_s} << 0;
        QTest::newRow("few records") << 19 << 19 << QStringList() << 0;
        QTest::newRow("more than few") << 20 << 20 << QStringList() << 2;
        QTest::newRow("up to a number") << 29 << 16 << QStringList{u"--max-prune"_s, u"16"_s} << 0;
        QTest::newRow("over a number") << 9 << 2 << QStringList{u"--max-prune"_s, u"1"_s} << 2;
        QTest::newRow("up to a share") << 29 << 16 << QStringList{u"--max-prune"_s, u"54%"_s} << 0;
        QTest::newRow("over a share") << 9 << 2 << QStringList{u"--max-prune"_s, u"10%"_s} << 2;
        QTest::newRow("no number") << 9 << 1 << QStringList{u"--max-prune"_s, u"many"_s} << 2;
    }

    // One folder is a record too, and stays.
    void tooManyMissingRecordsAreRefused()
    {
        QFETCH(const int, files);
        QFETCH(const int, missing);
        QFETCH(const QStringList, options);
        QFETCH(const int, exitCode);
        makeFiles(files);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        for (int number = 0; number < missing; ++number)
            QVERIFY(QFile::remove(tool->path(u"one/%1"_s.arg(number))));

        const auto listed =
            tool->run(QStringList{u"scan"_s, u"--prune"_s, u"--dry-run"_s} + options);
        const auto pruned = tool->run(QStringList{u"scan"_s, u"--prune"_s, u"--yes"_s} + options);

        QCOMPARE(listed.exitCode, exitCode == 0 ? 1 : exitCode);
        if (options.value(1) != u"many")
            QCOMPARE(listed.output.count(u"Would remove the record of "_s), missing);
        QCOMPARE(pruned.exitCode, exitCode);
        QCOMPARE(storedFiles(), exitCode == 0 ? files - missing : files);
        QCOMPARE(pruned.errors.contains(u"--max-prune"_s), exitCode == 2);
    }

    void manyRemovalsAreBackedUpFirst()
    {
        makeFiles(1001);
        QCOMPARE(tool->run({u"scan"_s, u"--hash"_s, u"never"_s}).exitCode, 0);
        for (int number = 0; number < 1001; ++number)
            QVERIFY(QFile::remove(tool->path(u"one/%1"_s.arg(number))));

        const auto pruned = tool->run({u"scan"_s, u"--prune"_s, u"--yes"_s, u"--force"_s});

        QCOMPARE(pruned.exitCode, 0);
        QVERIFY(pruned.errors.contains(u"Made a backup first: "_s));
        QCOMPARE(backups(), 1);
        QCOMPARE(storedFiles(), 0);
    }

    void emptyRootIsNamedAndKept_data()
    {
        QTest::addColumn<QStringList>("command");
        QTest::newRow("scan") << QStringList{u"scan"_s};
        QTest::newRow("prune") << QStringList{u"scan"_s, u"--prune"_s, u"--yes"_s};
        QTest::newRow("status") << QStringList{u"status"_s};
    }

    // As the mount point of a drive that is not connected.
    void emptyRootIsNamedAndKept()
    {
        QFETCH(const QStringList, command);
        makeFiles(3);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        QVERIFY(QDir().rename(tool->path(u"one"_s), tool->path(u"away"_s)));
        tool->makeFolder(u"one"_s);

        const auto text = tool->run(command);
        const auto json = tool->json(command);

        QCOMPARE(text.exitCode, 1);
        QVERIFY(text.errors.contains(
            u"The root folder \"%1\" (id 1) is empty"_s.arg(tool->path(u"one"_s))));
        const QString key = command.first() == u"scan"_s ? u"state"_s : u"rootState"_s;
        QCOMPARE(json.object()[u"roots"_s][0][key].toString(), u"empty"_s);
        QCOMPARE(storedFiles(), 3);

        QVERIFY(QDir().rmdir(tool->path(u"one"_s)));
        QVERIFY(QDir().rename(tool->path(u"away"_s), tool->path(u"one"_s)));
        QCOMPARE(tool->run(command).exitCode, 0);
    }

    void rootThatCannotBeReachedIsNotMissing()
    {
        makeFiles(3);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        QVERIFY(QDir().rename(tool->path(u"one"_s), tool->path(u"away"_s)));
        // A link to itself stands for whatever fails other than because nothing is there.
        QVERIFY(QFile::link(tool->path(u"one"_s), tool->path(u"one"_s)));

        const auto scan = tool->json({u"scan"_s, u"--prune"_s, u"--yes"_s, u"--force"_s});
        const auto status = tool->json({u"status"_s});

        QCOMPARE(scan.exitCode, 1);
        QCOMPARE(scan.object()[u"roots"_s][0][u"state"_s].toString(), u"unreadable"_s);
        QCOMPARE(status.object()[u"roots"_s][0][u"rootState"_s].toString(), u"unreadable"_s);
        QVERIFY2(scan.errors.contains(u"(id 1) is not accessible."_s), qPrintable(scan.errors));
        QVERIFY2(!scan.errors.contains(u"folder clean"_s), qPrintable(scan.errors));
        QCOMPARE(storedFiles(), 3);
    }

    void exchangedRootIsNamedUntilItIsAccepted()
    {
        makeFiles(3);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        exchange({u"other"_s});

        const auto scan = tool->json({u"scan"_s, u"--prune"_s, u"--yes"_s});
        const auto status = tool->json({u"status"_s});

        QCOMPARE(scan.exitCode, 1);
        QVERIFY(scan.errors.contains(u"'velmioctl scan 1 --force'"_s));
        QCOMPARE(scan.object()[u"roots"_s][0][u"state"_s].toString(), u"exchanged"_s);
        QCOMPARE(status.object()[u"roots"_s][0][u"rootState"_s].toString(), u"exchanged"_s);
        QCOMPARE(storedFiles(), 3);

        // The records of the old content are still there, and the new place is known.
        QCOMPARE(tool->json({u"scan"_s, u"--force"_s}).object()[u"files"_s][u"new"_s].toInt(), 1);
        QCOMPARE(tool->json({u"scan"_s}).object()[u"files"_s][u"gone"_s].toInt(), 3);
    }

    // As after the home folder was restored, or on a drive that assigns new file numbers.
    void sameContentInAnotherPlaceIsAccepted()
    {
        makeFiles(3);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        exchange({u"0"_s, u"1"_s});

        const auto first = tool->json({u"scan"_s});

        QCOMPARE(first.object()[u"roots"_s][0][u"state"_s].toString(), u"present"_s);
        QCOMPARE(first.object()[u"files"_s][u"gone"_s].toInt(), 1);
        // It is the known place from now on, whatever is in it.
        for (const QString& name : {u"0"_s, u"1"_s})
            QVERIFY(QFile::remove(tool->path(u"one/"_s + name)));
        tool->writeFile(u"one/other"_s, "other");
        QCOMPARE(tool->json({u"scan"_s}).object()[u"files"_s][u"gone"_s].toInt(), 3);
    }

    void copiedStoreForgetsThePlaces()
    {
        makeFiles(3);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        QVERIFY(tool->execute(u"UPDATE StoreIdentity SET machineStamp = 'another'"_s));
        QCOMPARE(tool->run({u"adopt"_s, u"--yes"_s}).exitCode, 0);
        exchange({u"other"_s});

        const auto scan = tool->json({u"scan"_s});

        QCOMPARE(scan.object()[u"roots"_s][0][u"state"_s].toString(), u"present"_s);
    }

private:
    // Another directory with other files, in the place of the root.
    void exchange(const QStringList& files) const
    {
        QVERIFY(QDir().rename(tool->path(u"one"_s), tool->path(u"away"_s)));
        tool->makeFolder(u"one"_s);
        for (const QString& name : files)
            tool->writeFile(u"one/"_s + name, "content");
    }
    void makeFiles(int count) const
    {
        for (int number = 0; number < count; ++number)
            tool->writeFile(u"one/%1"_s.arg(number), "content");
    }
    void addBaseCopy(const QString& file, const QString& copy) const
    {
        tool->makeFolder(u"backup"_s);
        tool->writeFile(copy, "old");
        const int id = tool->json({u"file"_s, u"show"_s, file}).object()[u"id"_s].toInt();
        const auto added = tool->run(
            {u"file"_s, u"add"_s, copy, u"--type"_s, u"base"_s, u"--parent"_s,
             QString::number(id)});
        QCOMPARE(added.exitCode, 0);
    }
    int storedFiles() const { return int(tool->json({u"file"_s, u"list"_s}).array().size()); }
    qsizetype backups() const
    {
        return sync::database::DatabaseBackups(tool->databasePath()).list().size();
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlPrune)
#include "TestVelmioctlPrune.moc"
