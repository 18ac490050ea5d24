#include "VelmioctlRunner.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

class TestVelmioctlStatus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        tool->makeFolder(u"one/a"_s);
        for (const QString& name : {u"b"_s, u"c"_s, u"a/d"_s, u"a/e"_s})
            tool->writeFile(u"one/"_s + name, name.toUtf8());
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QCOMPARE(
            tool->run({u"folder"_s, u"add"_s, u"one"_s, u"--server-path"_s, u"/S"_s}).exitCode, 0);
    }

    void cleanup() { tool.reset(); }

    void cleanAfterAScan()
    {
        const auto before = tool->json({u"status"_s});
        scan();
        const auto after = tool->json({u"status"_s});

        QCOMPARE(before.exitCode, 1);
        QCOMPARE(before.object()[u"new"_s].toInt(), 4);
        QCOMPARE(after.exitCode, 0);
        QCOMPARE(after.object()[u"clean"_s].toBool(), true);
        QCOMPARE(after.object()[u"files"_s].toInt(), 4);
        QCOMPARE(after.object()[u"outOfSync"_s].toInt(), 4);
        QCOMPARE(after.object()[u"roots"_s][0][u"folders"_s].toArray(), QJsonArray());
    }

    void namesExactlyWhatDiffers()
    {
        scan();
        touch(u"one/b"_s);
        // Of the same size, within the same second.
        tool->writeFile(u"one/c"_s, "C");
        tool->writeFile(u"one/a/new"_s, "n");
        QVERIFY(QFile::remove(tool->path(u"one/a/d"_s)));

        const auto status = tool->json({u"status"_s});
        const auto text = tool->run({u"status"_s, u"one"_s});

        QCOMPARE(status.exitCode, 1);
        const QJsonArray folders = status.object()[u"roots"_s][0][u"folders"_s].toArray();
        QCOMPARE(folders.size(), 2);
        QCOMPARE(folders[0][u"modified"_s].toArray(), QJsonArray{u"c"_s});
        QCOMPARE(folders[0][u"new"_s].toArray(), QJsonArray());
        QCOMPARE(folders[0][u"missing"_s].toArray(), QJsonArray());
        QCOMPARE(folders[0][u"outOfSync"_s].toInt(), 2);
        QCOMPARE(folders[1][u"new"_s].toArray(), QJsonArray{u"new"_s});
        QCOMPARE(folders[1][u"missing"_s].toArray(), QJsonArray{u"d"_s});
        QCOMPARE(folders[1][u"modified"_s].toArray(), QJsonArray());
        QVERIFY(text.output.startsWith(
            tool->path(u"one"_s) + u"\n  modified  c\n"_s + tool->path(u"one/a"_s) +
            u"\n  new       new\n  missing   d\n"_s));
    }

    void whatWasMovedIsShown()
    {
        scan();
        const QByteArray before = tool->databaseBytes();
        QVERIFY(QDir().rename(tool->path(u"one/a"_s), tool->path(u"one/z"_s)));
        QVERIFY(QFile::rename(tool->path(u"one/b"_s), tool->path(u"one/z/b"_s)));
        tool->writeFile(u"one/z/d"_s, "changed");

        const auto json = tool->json({u"status"_s});
        const auto text = tool->run({u"status"_s});
        const auto without = tool->json({u"status"_s, u"--no-moves"_s});

        const QJsonArray expected{
            QJsonObject{
                {u"id"_s, 2},
                {u"kind"_s, u"folder"_s},
                {u"from"_s, tool->path(u"one/a"_s)},
                {u"to"_s, tool->path(u"one/z"_s)}},
            QJsonObject{
                {u"id"_s, 1},
                {u"kind"_s, u"file"_s},
                {u"from"_s, tool->path(u"one/b"_s)},
                {u"to"_s, tool->path(u"one/z/b"_s)}}};
        QCOMPARE(json.object()[u"roots"_s][0][u"moves"_s].toArray(), expected);
        QCOMPARE(json.object()[u"moved"_s].toInt(), 2);
        QCOMPARE(json.object()[u"missing"_s].toInt(-1), 0);
        QCOMPARE(json.object()[u"new"_s].toInt(-1), 0);
        QCOMPARE(json.object()[u"modified"_s].toInt(), 1);
        QCOMPARE(json.exitCode, 1);
        const QString line = u"moved %1 -> %2\n"_s;
        QVERIFY2(
            text.output.startsWith(
                line.arg(tool->path(u"one/a"_s), tool->path(u"one/z"_s)) +
                line.arg(tool->path(u"one/b"_s), tool->path(u"one/z/b"_s)) +
                tool->path(u"one/z"_s) + u"\n  modified  d\n"_s),
            qPrintable(text.output));
        QCOMPARE(without.object()[u"moved"_s].toInt(-1), 0);
        QCOMPARE(without.object()[u"missing"_s].toInt(), 3);
        QCOMPARE(without.object()[u"new"_s].toInt(), 3);
        QCOMPARE(tool->databaseBytes(), before);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        QCOMPARE(tool->run({u"status"_s}).exitCode, 0);
    }

    void summaryOnlyCounts()
    {
        tool->makeFolder(u"one/new"_s);

        const auto text = tool->run({u"status"_s, u"--summary"_s});
        const auto json = tool->json({u"status"_s, u"--summary"_s});

        QCOMPARE(text.exitCode, 1);
        QVERIFY(text.output.trimmed().startsWith(u"ROOT "_s));
        QCOMPARE(json.object()[u"new"_s].toInt(), 4);
        QCOMPARE(json.object()[u"newFolders"_s].toInt(), 2);
        QCOMPARE(json.object()[u"roots"_s][0][u"folders"_s].toArray(), QJsonArray());
    }

    void newAndMissingFoldersAreShown()
    {
        scan();
        QVERIFY(QDir(tool->path(u"one/a"_s)).removeRecursively());
        tool->makeFolder(u"one/f"_s);

        const auto status = tool->json({u"status"_s});

        QCOMPARE(status.exitCode, 1);
        QCOMPARE(status.object()[u"newFolders"_s].toInt(), 1);
        QCOMPARE(status.object()[u"missingFolders"_s].toInt(), 1);
        const QJsonArray folders = status.object()[u"roots"_s][0][u"folders"_s].toArray();
        QCOMPARE(folders[0][u"state"_s].toString(), u"missing"_s);
        QCOMPARE(folders[0][u"missing"_s].toArray(), (QJsonArray{u"d"_s, u"e"_s}));
        QCOMPARE(folders[1][u"state"_s].toString(), u"new"_s);
    }

    void touchedFileIsModifiedWhereNoChecksumTells()
    {
        scan({u"--hash"_s, u"never"_s});
        QCOMPARE(tool->run({u"status"_s}).exitCode, 0);

        touch(u"one/b"_s);

        QCOMPARE(tool->json({u"status"_s}).object()[u"modified"_s].toInt(), 1);
    }

    void writesNothing()
    {
        scan();
        tool->writeFile(u"one/new"_s, "n");
        const QByteArray bytes = tool->databaseBytes();
        const auto filters = QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot;
        const QStringList entries = QDir(tool->path(u"."_s)).entryList(filters);
        const QStringList rootEntries = QDir(tool->path(u"one"_s)).entryList(filters);

        QCOMPARE(tool->run({u"status"_s}).exitCode, 1);

        QCOMPARE(tool->databaseBytes(), bytes);
        QCOMPARE(QDir(tool->path(u"."_s)).entryList(filters), entries);
        QCOMPARE(QDir(tool->path(u"one"_s)).entryList(filters), rootEntries);
    }

    void vanishedRootIsAFinding()
    {
        scan();
        QVERIFY(QDir(tool->path(u"one"_s)).removeRecursively());

        const auto status = tool->json({u"status"_s});

        QCOMPARE(status.exitCode, 1);
        QCOMPARE(status.object()[u"rootMissing"_s].toBool(), true);
        QCOMPARE(status.object()[u"missing"_s].toInt(-1), 0);
        QVERIFY(status.errors.contains(tool->path(u"one"_s)));
    }

    void ownDatabaseIsPassedOver()
    {
        const QString database = tool->path(u"one/a/own.db"_s);
        const auto run = [this, &database](const QStringList& arguments) {
            return tool->runPlain(QStringList{u"--json"_s, u"--database"_s, database} + arguments);
        };
        QCOMPARE(run({u"init"_s}).exitCode, 0);
        QCOMPARE(run({u"folder"_s, u"add"_s, u"one"_s, u"--server-path"_s, u"/S"_s}).exitCode, 0);

        const auto scanned = run({u"scan"_s});
        const auto status = run({u"status"_s});

        QCOMPARE(scanned.object()[u"files"_s][u"new"_s].toInt(), 4);
        QCOMPARE(status.exitCode, 0);
    }

    void topLevelRootHasItsDirectFilesOnly()
    {
        QCOMPARE(
            tool->run({u"folder"_s, u"set"_s, u"1"_s, u"--option"_s, u"top-level"_s}).exitCode, 0);

        scan();

        const auto status = tool->json({u"status"_s});
        QCOMPARE(status.exitCode, 0);
        QCOMPARE(status.object()[u"files"_s].toInt(), 2);
        QCOMPARE(tool->json({u"file"_s, u"list"_s}).array().size(), 2);
    }

private:
    void scan(const QStringList& options = {}) const
    {
        QCOMPARE(tool->run(QStringList{u"scan"_s} + options).exitCode, 0);
    }
    void touch(const QString& name) const
    {
        QFile file(tool->path(name));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(
            QDateTime(QDate(2021, 3, 4), QTime(5, 6, 7)), QFileDevice::FileModificationTime));
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlStatus)
#include "TestVelmioctlStatus.moc"
