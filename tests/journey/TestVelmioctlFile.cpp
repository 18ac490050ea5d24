#include "VelmioctlRunner.h"

#include <config/FileConfigManager.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QFile>
#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::config::FileConfigManager;
using sync::config::FileLink;
using sync::database::SqliteDatabaseFactory;

class TestVelmioctlFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        tool->makeFolder(u"one/a"_s);
        tool->writeFile(u"one/b.txt"_s, "bb");
        tool->writeFile(u"one/c.txt"_s, "c");
        tool->writeFile(u"one/a/d.txt"_s, "dddd");
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QVERIFY(tool->execute(u"INSERT INTO ProductConfiguration (id) VALUES (7)"_s));
        QCOMPARE(
            tool->run({u"folder"_s, u"add"_s, u"one"_s, u"--server-path"_s, u"/S"_s, u"--product"_s,
                       u"7"_s})
                .exitCode,
            0);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
    }

    void cleanup() { tool.reset(); }

    void listShowsOneFolderOrAWholeTree()
    {
        QCOMPARE(
            names(list({u"--order"_s, u"name"_s})),
            (QStringList{u"b.txt"_s, u"c.txt"_s, u"d.txt"_s}));
        QCOMPARE(names(list({u"one/a"_s})), QStringList{u"d.txt"_s});
        QCOMPARE(list({u"one"_s}).size(), 3);
        QCOMPARE(list({u"--type"_s, u"generated"_s}).size(), 0);

        const auto table = tool->run({u"file"_s, u"list"_s, u"one/a"_s});
        QVERIFY(table.output.contains(u"out-of-sync     4  "_s));
        QVERIFY(table.output.contains(tool->path(u"one/a/d.txt"_s)));
    }

    void listFilters_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char* name, const QStringList& arguments,
                            const QStringList& expected) {
            QTest::newRow(name) << arguments << expected;
        };
        row("status", {u"--status"_s, u"syncing"_s}, {u"c.txt"_s});
        row("size", {u"--larger-than"_s, u"1"_s}, {u"b.txt"_s, u"d.txt"_s});
        row("path", {u"--path"_s, u"*/a/?.txt"_s}, {u"d.txt"_s});
        row("day", {u"--modified-since"_s, u"2024-03-01"_s}, {u"c.txt"_s, u"d.txt"_s});
        row("time", {u"--modified-since"_s, u"2024-03-01T10:00:00.001"_s}, {u"d.txt"_s});
        row("time in another zone", {u"--modified-since"_s, u"2024-03-01T12:00:00+02:00"_s},
            {u"c.txt"_s, u"d.txt"_s});
        row("several", {u"--path"_s, u"*.txt"_s, u"--larger-than"_s, u"2"_s, u"one"_s},
            {u"d.txt"_s});
    }

    void listFilters()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, expected);
        QVERIFY(tool->execute(
            u"UPDATE FileConfiguration SET syncStatus = CASE name WHEN 'c.txt' THEN 1 ELSE 2 END,"
            u" lastModifiedDateTime = CASE name WHEN 'b.txt' THEN '2024-02-29T23:59:59.999'"
            u" WHEN 'c.txt' THEN '2024-03-01T10:00:00.000Z' ELSE '2024-03-02T00:00:00.000' END"_s));

        QCOMPARE(names(list(QStringList{u"--order"_s, u"name"_s} + arguments)), expected);
    }

    void listShowsChosenColumns()
    {
        const auto table = tool->run(
            {u"file"_s, u"list"_s, u"one/a"_s, u"--columns"_s, u"client-path,size,status"_s});
        const auto unknown = tool->run({u"file"_s, u"list"_s, u"--columns"_s, u"id,colour"_s});

        QCOMPARE(table.output.section(u'\n', 0, 0).simplified(), u"CLIENT PATH SIZE STATUS"_s);
        QCOMPARE(
            table.output.section(u'\n', 1, 1).simplified(),
            tool->path(u"one/a/d.txt"_s) + u" 4 out-of-sync"_s);
        QCOMPARE(unknown.exitCode, 2);
        QVERIFY2(unknown.errors.contains(u"client-path, server-path"), qPrintable(unknown.errors));
    }

    void listWritesAnObjectOnEachLine()
    {
        const auto run = tool->run({u"file"_s, u"list"_s, u"--ndjson"_s});

        QJsonArray lines;
        for (const QString& line : run.output.split(u'\n', Qt::SkipEmptyParts))
            lines.append(QJsonDocument::fromJson(line.toUtf8()).object());
        QCOMPARE(lines, list());
        QCOMPARE(lines.size(), 3);
    }

    void listPagesInEachOrder_data()
    {
        QTest::addColumn<QString>("order");
        for (const char* const order :
             {"id", "name", "folder", "client-path", "server-path", "checksum", "created",
              "modified", "status", "operation", "size"}) {
            const QString name = QString::fromLatin1(order);
            QTest::newRow(order) << name;
            QTest::newRow(qPrintable(name + u"-desc"_s)) << name + u"-desc"_s;
        }
    }

    void listPagesInEachOrder()
    {
        QFETCH(const QString, order);
        const QJsonArray whole = list({u"--order"_s, order});

        QStringList paged;
        for (int offset = 0; offset < 4; ++offset) {
            paged += names(list(
                {u"--order"_s, order, u"--limit"_s, u"1"_s, u"--offset"_s,
                 QString::number(offset)}));
        }

        QCOMPARE(whole.size(), 3);
        QCOMPARE(paged, names(whole));
        const bool down = order.endsWith(u"-desc");
        if (order.startsWith(u"size"))
            QCOMPARE(whole.first()[u"size"_s].toInt(), down ? 4 : 1);
        if (order.startsWith(u"name") || order.startsWith(u"server-path"))
            QCOMPARE(names(whole).first() == u"d.txt", down == order.startsWith(u"name"));
    }

    void unknownOrderAndTypeAreRefused()
    {
        QCOMPARE(tool->run({u"file"_s, u"list"_s, u"--order"_s, u"colour"_s}).exitCode, 2);
        QCOMPARE(tool->run({u"file"_s, u"list"_s, u"--type"_s, u"thing"_s}).exitCode, 2);
    }

    void showNamesAFileByIdAndByPath()
    {
        const QJsonObject byPath = tool->json({u"file"_s, u"show"_s, u"one/a/d.txt"_s}).object();
        const QString id = QString::number(byPath[u"id"_s].toInt());

        QCOMPARE(tool->json({u"file"_s, u"show"_s, id}).object(), byPath);
        QCOMPARE(byPath[u"serverPath"_s].toString(), u"/S/a/d.txt"_s);
        QCOMPARE(byPath[u"productConfigurationId"_s].toInt(), 7);
        QCOMPARE(tool->run({u"file"_s, u"show"_s, u"99"_s}).exitCode, 3);
        QCOMPARE(tool->run({u"file"_s, u"show"_s, u"one/none"_s}).exitCode, 3);
    }

    void addFillsARecordFromTheDisk()
    {
        tool->writeFile(u"one/a/new"_s, "abc");

        const auto added =
            tool->json({u"file"_s, u"add"_s, u"one/a/new"_s, u"--owner"_s, u"kim"_s});

        QCOMPARE(added.exitCode, 0);
        const QJsonObject file = added.object();
        QCOMPARE(file[u"size"_s].toInt(), 3);
        QCOMPARE(
            file[u"checkSum"_s].toString(),
            u"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"_s);
        QCOMPARE(file[u"serverPath"_s].toString(), u"/S/a/new"_s);
        QCOMPARE(file[u"ownerId"_s].toString(), u"kim"_s);
        QCOMPARE(file[u"rootFolderId"_s].toInt(), 1);
        QCOMPARE(tool->run({u"status"_s}).exitCode, 0);
    }

    void addWantsARegisteredFolderAndAFile()
    {
        tool->makeFolder(u"other"_s);
        tool->writeFile(u"other/x"_s, "x");

        QCOMPARE(tool->run({u"file"_s, u"add"_s, u"other/x"_s}).exitCode, 3);
        QCOMPARE(tool->run({u"file"_s, u"add"_s, u"one/none"_s}).exitCode, 3);
        QCOMPARE(tool->run({u"file"_s, u"add"_s, u"one/none"_s, u"--missing-ok"_s}).exitCode, 0);
    }

    void setChangesWhatIsGiven()
    {
        const QJsonObject before = tool->json({u"file"_s, u"show"_s, u"one/b.txt"_s}).object();

        const auto set = tool->json(
            {u"file"_s, u"set"_s, u"one/b.txt"_s, u"--status"_s, u"syncing"_s,
             u"--server-file-id"_s, u"f9"_s, u"--property"_s, u"Kind=plan"_s});

        QCOMPARE(set.exitCode, 0);
        QJsonObject expected = before;
        expected[u"syncStatus"_s] = 1;
        expected[u"serverFileId"_s] = u"f9"_s;
        expected[u"properties"_s] = QJsonObject{{u"Kind"_s, u"plan"_s}};
        QCOMPARE(set.object(), expected);
    }

    void missingGeneratedFilesAreSaidSo()
    {
        const auto generated = tool->run({u"file"_s, u"generated"_s, u"1"_s});

        QCOMPARE(generated.exitCode, 0);
        QVERIFY(generated.errors.startsWith(u"No files were generated from \""_s));
    }

    void generatedFilesAndBaseCopiesAreShown()
    {
        const QString id = QString::number(
            tool->json({u"file"_s, u"show"_s, u"one/b.txt"_s}).object()[u"id"_s].toInt());
        tool->makeFolder(u"backup"_s);
        tool->writeFile(u"backup/b"_s, "old");
        tool->writeFile(u"preview"_s, "p");

        QCOMPARE(
            tool->run(
                    {u"file"_s, u"add"_s, u"backup/b"_s, u"--type"_s, u"base"_s, u"--parent"_s, id})
                .exitCode,
            0);
        QCOMPARE(
            tool->run({u"file"_s, u"add"_s, u"preview"_s, u"--type"_s, u"generated"_s,
                       u"--parent"_s, id})
                .exitCode,
            0);

        QCOMPARE(
            tool->json({u"file"_s, u"base"_s, id}).object()[u"clientPath"_s].toString(),
            tool->path(u"backup/b"_s));
        const QJsonArray generated = tool->json({u"file"_s, u"generated"_s, id}).array();
        QCOMPARE(names(generated), QStringList{u"preview"_s});
        QCOMPARE(names(list({u"--type"_s, u"base"_s})), QStringList{u"b"_s});
        QCOMPARE(tool->run({u"file"_s, u"base"_s, u"one/c.txt"_s}).exitCode, 3);
        QCOMPARE(
            tool->run({u"file"_s, u"add"_s, u"preview"_s, u"--type"_s, u"base"_s}).exitCode, 2);
    }

    void removeDeletesBaseCopyAndGeneratedFiles()
    {
        generatedFilesAndBaseCopiesAreShown();

        const auto removed = tool->json({u"file"_s, u"remove"_s, u"one/b.txt"_s, u"--yes"_s});

        QCOMPARE(removed.exitCode, 0);
        QCOMPARE(
            removed.object()[u"deleted"_s].toArray(),
            (QJsonArray{tool->path(u"backup/b"_s), tool->path(u"preview"_s)}));
        QVERIFY(!QFile::exists(tool->path(u"backup"_s)));
        QVERIFY(!QFile::exists(tool->path(u"preview"_s)));
        QVERIFY(QFile::exists(tool->path(u"one/b.txt"_s)));
        QCOMPARE(list().size(), 2);
        QCOMPARE(list({u"--type"_s, u"generated"_s}).size(), 0);
    }

    void removeWantsToBeConfirmed()
    {
        generatedFilesAndBaseCopiesAreShown();

        const auto refused = tool->run({u"file"_s, u"remove"_s, u"one/b.txt"_s});

        QCOMPARE(refused.exitCode, 2);
        QVERIFY(refused.errors.contains(tool->path(u"backup/b"_s)));
        QVERIFY(refused.errors.contains(tool->path(u"preview"_s)));
        QCOMPARE(list().size(), 3);
        QVERIFY(QFile::exists(tool->path(u"preview"_s)));
    }

    void removeTakesNothingWhenItsDependantsCannotBeRead_data()
    {
        QTest::addColumn<QString>("table");
        QTest::newRow("base copy") << u"BaseFileConfiguration"_s;
        QTest::newRow("generated files") << u"GeneratedFileConfiguration"_s;
    }

    void removeTakesNothingWhenItsDependantsCannotBeRead()
    {
        QFETCH(QString, table);
        generatedFilesAndBaseCopiesAreShown();
        QVERIFY(tool->execute(u"ALTER TABLE %1 RENAME COLUMN ownerId TO owner"_s.arg(table)));

        const auto removed = tool->run({u"file"_s, u"remove"_s, u"one/b.txt"_s, u"--yes"_s});

        QCOMPARE(removed.exitCode, 8);
        const QJsonObject rows = tool->json({u"stats"_s}).object()[u"tables"_s].toObject();
        QCOMPARE(rows[u"FileConfiguration"_s].toInt(), 3);
        QCOMPARE(rows[u"BaseFileConfiguration"_s].toInt(), 1);
        QCOMPARE(rows[u"GeneratedFileConfiguration"_s].toInt(), 1);
        QVERIFY(QFile::exists(tool->path(u"backup/b"_s)));
        QVERIFY(QFile::exists(tool->path(u"preview"_s)));
    }

    void linksAreListed()
    {
        const auto none = tool->json({u"file"_s, u"links"_s, u"one/b.txt"_s});
        const auto factory = SqliteDatabaseFactory::open(tool->databasePath());
        FileConfigManager files(factory, nullptr, nullptr, nullptr);
        FileLink link;
        link.FileId = 5;
        link.Path = u"a/d.txt"_s;
        link.RefId = u"r7"_s;
        link.ServerFileId = u"s8"_s;
        const auto query = factory->CreateQuery();
        query->prepare(u"UPDATE FileConfiguration SET fileLinks = :links WHERE name = 'b.txt'"_s);
        query->bindValue(
            u":links"_s,
            files.GetXmlStringFromFileLinkArray({link}, QDateTime(QDate(2024, 5, 6), QTime(7, 8))));
        QVERIFY(query->exec());

        const auto links = tool->json({u"file"_s, u"links"_s, u"one/b.txt"_s});

        QCOMPARE(none.exitCode, 0);
        QCOMPARE(none.array(), QJsonArray());
        const QJsonObject expected{
            {u"fileId"_s, 5},
            {u"path"_s, u"a/d.txt"_s},
            {u"refId"_s, u"r7"_s},
            {u"serverFileId"_s, u"s8"_s},
        };
        QCOMPARE(links.array(), QJsonArray{expected});
    }

    void treeAndStatsCountFilesAndBytes()
    {
        const QJsonArray tree = tool->json({u"folder"_s, u"tree"_s}).array();
        const QJsonValue root = tool->json({u"stats"_s}).object()[u"roots"_s][0];
        const auto drawn = tool->run({u"folder"_s, u"tree"_s});

        QCOMPARE(tree[0][u"files"_s].toInt(), 2);
        QCOMPARE(tree[0][u"bytes"_s].toInt(), 3);
        QCOMPARE(tree[1][u"files"_s].toInt(), 1);
        QCOMPARE(tree[1][u"bytes"_s].toInt(), 4);
        QCOMPARE(root[u"files"_s].toInt(), 3);
        QCOMPARE(root[u"bytes"_s].toInt(), 7);
        QVERIFY(drawn.output.contains(u"2 files, 3 bytes"_s));
    }

private:
    QJsonArray list(const QStringList& arguments = {}) const
    {
        return tool->json(QStringList{u"file"_s, u"list"_s} + arguments).array();
    }
    static QStringList names(const QJsonArray& files)
    {
        QStringList names;
        for (const QJsonValue& file : files)
            names += file[u"name"_s].toString();
        return names;
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlFile)
#include "TestVelmioctlFile.moc"
