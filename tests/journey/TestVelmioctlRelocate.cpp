#include "VelmioctlRunner.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// Runs over the root folder 1 at "root", with the files a.txt and sub/b.txt.
class TestVelmioctlRelocate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { tool.reset(); }

    void movedRootIsRelocatedThereAndBack();
    void dryRunChangesNothing();
    void anotherTreeIsRefused();
    void contentIsComparedInFullOnRequest();
    void placesThatCannotBeARootAreRefused_data();
    void placesThatCannotBeARootAreRefused();
    void aRootOfWindowsIsNamedByItsPath();
    void withoutAYesNothingChanges();
    void anImportedRootWaits();

private:
    VelmioctlRun relocate(const QStringList& arguments) const
    {
        return tool->run(QStringList{u"folder"_s, u"relocate"_s} + arguments);
    }
    QJsonObject status() const { return tool->json({u"status"_s}).object(); }
    void move(const QString& from, const QString& to) const
    {
        QVERIFY(QDir().rename(tool->path(from), tool->path(to)));
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

void TestVelmioctlRelocate::init()
{
    tool = std::make_unique<VelmioctlRunner>();
    tool->makeFolder(u"root/sub"_s);
    tool->writeFile(u"root/a.txt"_s, "a");
    tool->writeFile(u"root/sub/b.txt"_s, "b");
    QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
    const QStringList add{u"folder"_s, u"add"_s, u"root"_s, u"--server-path"_s, u"/Team"_s};
    QCOMPARE(tool->run(add).exitCode, 0);
    QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
}

void TestVelmioctlRelocate::movedRootIsRelocatedThereAndBack()
{
    const QByteArray before = tool->json({u"file"_s, u"list"_s}).output.toUtf8();
    move(u"root"_s, u"elsewhere"_s);
    QCOMPARE(tool->run({u"scan"_s}).exitCode, 1);

    const auto run =
        tool->json({u"folder"_s, u"relocate"_s, u"root"_s, u"elsewhere"_s, u"--yes"_s});

    QCOMPARE(run.exitCode, 0);
    const QJsonObject answer = run.object();
    QCOMPARE(answer[u"to"_s].toString(), tool->path(u"elsewhere"_s));
    QCOMPARE(answer[u"comparison"_s][u"missing"_s].toInt(-1), 0);
    QCOMPARE(answer[u"comparison"_s][u"otherTime"_s].toInt(-1), 0);
    QCOMPARE(answer[u"comparison"_s][u"read"_s].toInt(), 2);
    QCOMPARE(answer[u"changes"_s][u"folders"_s].toInt(), 2);
    QCOMPARE(answer[u"changes"_s][u"files"_s].toInt(), 2);
    QVERIFY2(run.errors.contains(u"Made a backup first"_s), qPrintable(run.errors));
    QCOMPARE(status()[u"clean"_s], QJsonValue(true));
    QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);

    move(u"elsewhere"_s, u"root"_s);
    QCOMPARE(relocate({u"1"_s, u"root"_s, u"--yes"_s}).exitCode, 0);
    QCOMPARE(status()[u"clean"_s], QJsonValue(true));
    QCOMPARE(tool->json({u"file"_s, u"list"_s}).output.toUtf8(), before);
}

void TestVelmioctlRelocate::dryRunChangesNothing()
{
    move(u"root"_s, u"elsewhere"_s);
    const QByteArray before = tool->databaseBytes();

    const auto run = relocate({u"1"_s, u"elsewhere"_s, u"--dry-run"_s});

    QCOMPARE(run.exitCode, 0);
    QCOMPARE(
        run.output,
        u"At the new place are 1 of 1 folder and 2 of 2 files. Of another size: 0. Modified at "
        u"another time: 0. Read: 2, with other content: 0.\n"
        u"Paths that change: 2 folders, 2 files, 0 generated files and 0 base copies. Records with "
        u"links that change: 0.\n"_s);
    QCOMPARE(tool->databaseBytes(), before);
}

void TestVelmioctlRelocate::anotherTreeIsRefused()
{
    tool->makeFolder(u"other"_s);
    tool->writeFile(u"other/a.txt"_s, "longer");
    const QByteArray before = tool->databaseBytes();

    const auto refused = relocate({u"1"_s, u"other"_s, u"--yes"_s});

    QCOMPARE(refused.exitCode, 1);
    QVERIFY2(refused.errors.contains(u"does not hold most of"_s), qPrintable(refused.errors));
    QCOMPARE(tool->databaseBytes(), before);
    QCOMPARE(relocate({u"1"_s, u"other"_s, u"--force"_s, u"--yes"_s}).exitCode, 0);
    QCOMPARE(
        tool->json({u"folder"_s, u"show"_s, u"1"_s}).object()[u"clientPath"_s].toString(),
        tool->path(u"other"_s));
}

void TestVelmioctlRelocate::contentIsComparedInFullOnRequest()
{
    tool->makeFolder(u"other/sub"_s);
    tool->writeFile(u"other/a.txt"_s, "x");
    tool->writeFile(u"other/sub/b.txt"_s, "y");

    const auto run = tool->json(
        {u"folder"_s, u"relocate"_s, u"1"_s, u"other"_s, u"--verify"_s, u"all"_s, u"--dry-run"_s});

    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.contains(u"does not hold most of"_s), qPrintable(run.errors));
}

void TestVelmioctlRelocate::placesThatCannotBeARootAreRefused_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("same") << u"root"_s << u"has that path already"_s << 2;
    QTest::newRow("missing") << u"none"_s << u"does not exist"_s << 3;
    QTest::newRow("file") << u"root/a.txt"_s << u"not a directory"_s << 2;
    QTest::newRow("in another root") << u"second/sub"_s << u"already in the root folder"_s << 2;
    QTest::newRow("around a root") << u"around"_s << u"contains the root folder"_s << 2;
    QTest::newRow("empty") << u""_s << u"A path is empty"_s << 2;
}

void TestVelmioctlRelocate::placesThatCannotBeARootAreRefused()
{
    QFETCH(const QString, path);
    QFETCH(const QString, text);
    QFETCH(const int, exitCode);
    tool->makeFolder(u"second/sub"_s);
    tool->makeFolder(u"around/third"_s);
    for (const QString& root : {u"second"_s, u"around/third"_s}) {
        const QString server = u'/' + root;
        QCOMPARE(tool->run({u"folder"_s, u"add"_s, root, u"--server-path"_s, server}).exitCode, 0);
    }
    const QByteArray before = tool->databaseBytes();

    const auto run = relocate({u"1"_s, path, u"--force"_s, u"--yes"_s});

    QCOMPARE(run.exitCode, exitCode);
    QVERIFY2(run.errors.contains(text), qPrintable(run.errors));
    QCOMPARE(tool->databaseBytes(), before);
}

void TestVelmioctlRelocate::aRootOfWindowsIsNamedByItsPath()
{
    QVERIFY(tool->execute(
        u"UPDATE FolderConfiguration SET clientPath = 'C:\\Users\\kim\\Work' ||"
        u" replace(substr(clientPath, %1), '/', '\\')"_s.arg(tool->path(u"root"_s).size() + 1)));
    QVERIFY(tool->execute(
        u"UPDATE FileConfiguration SET clientPath = 'C:\\Users\\kim\\Work' ||"
        u" replace(substr(clientPath, %1), '/', '\\')"_s.arg(tool->path(u"root"_s).size() + 1)));

    const auto run = relocate({u"C:/Users/Kim/Work"_s, u"root"_s, u"--yes"_s});

    QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
    QCOMPARE(status()[u"clean"_s], QJsonValue(true));
    const auto unknown = relocate({u"D:\\Work"_s, u"root"_s, u"--yes"_s});
    QCOMPARE(unknown.exitCode, 3);
    QVERIFY2(unknown.errors.contains(u"velmioctl folder list"_s), qPrintable(unknown.errors));
}

void TestVelmioctlRelocate::withoutAYesNothingChanges()
{
    move(u"root"_s, u"elsewhere"_s);
    const QByteArray before = tool->databaseBytes();

    const auto run = relocate({u"1"_s, u"elsewhere"_s});

    QCOMPARE(run.exitCode, 2);
    QVERIFY2(run.errors.contains(u"Add --yes to agree"_s), qPrintable(run.errors));
    QCOMPARE(tool->databaseBytes(), before);
}

void TestVelmioctlRelocate::anImportedRootWaits()
{
    QCOMPARE(tool->run({u"export"_s, u"all.json"_s}).exitCode, 0);
    move(u"root"_s, u"elsewhere"_s);
    const QString map = tool->path(u"root"_s) + u'=' + tool->path(u"elsewhere"_s);
    const QStringList import{u"import"_s, u"all.json"_s, u"--map"_s, map, u"--yes"_s};
    QCOMPARE(tool->run(import).exitCode, 0);

    const auto scan = tool->run({u"scan"_s});
    const auto paused = status();

    QCOMPARE(scan.exitCode, 1);
    QVERIFY2(scan.errors.contains(u"folder relocate 1"_s), qPrintable(scan.errors));
    QCOMPARE(paused[u"rootState"_s].toString(), u"paused"_s);
    QCOMPARE(relocate({u"1"_s, u"elsewhere"_s, u"--yes"_s}).exitCode, 0);
    QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
    QCOMPARE(status()[u"clean"_s], QJsonValue(true));
}

QTEST_GUILESS_MAIN(TestVelmioctlRelocate)
#include "TestVelmioctlRelocate.moc"
