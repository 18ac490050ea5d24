#include "VelmioctlRunner.h"

#include <support/RawDatabase.h>

#include <QDir>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

/// Runs over one root folder "/.../root" of sign-in 3 with the folders a, a/b and c.
class TestVelmioctlFolder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        root = tool->makeFolder(u"root"_s);
        tool->makeFolder(u"root/a/b"_s);
        tool->makeFolder(u"root/c"_s);
        tool->makeFolder(u"other"_s);
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QVERIFY(tool->execute(u"INSERT INTO AuthenticationConfiguration (id) VALUES (3), (4)"_s));
        QVERIFY(tool->execute(u"INSERT INTO ProductConfiguration (id) VALUES (5)"_s));
        QCOMPARE(
            run({u"add"_s, root, u"--server-path"_s, u"/Team/Root/"_s, u"--signin"_s, u"3"_s})
                .exitCode,
            0);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
    }

    void cleanup() { tool.reset(); }

    void addStoresWhatIsGiven()
    {
        const auto added = json(
            {u"add"_s,
             u"other/../other"_s,
             u"--server-path"_s,
             u"/Other//x/"_s,
             u"--signin"_s,
             u"4"_s,
             u"--product"_s,
             u"5"_s,
             u"--name"_s,
             u"Name"_s,
             u"--status"_s,
             u"out-of-sync"_s,
             u"--privileges"_s,
             u"view share"_s,
             u"--sync-option"_s,
             u"6"_s,
             u"--drive-type"_s,
             u"7"_s,
             u"--owner"_s,
             u"me"_s,
             u"--server-root"_s,
             u"/Root"_s,
             u"--server-folder-id"_s,
             u"sf"_s,
             u"--short-key"_s,
             u"sk"_s,
             u"--long-key"_s,
             u"lk"_s,
             u"--property"_s,
             u"Key=value"_s,
             u"--top-level"_s});

        QCOMPARE(added.exitCode, 0);
        const QJsonObject expected{
            {u"id"_s, 5},
            {u"parentId"_s, 0},
            {u"rootId"_s, 5},
            {u"name"_s, u"Name"_s},
            {u"clientPath"_s, tool->path(u"other"_s)},
            {u"serverPath"_s, u"/Other/x"_s},
            {u"authenticationId"_s, 4},
            {u"productConfigurationId"_s, 5},
            {u"syncStatus"_s, 2},
            {u"folderOption"_s, 1},
            {u"syncOption"_s, 6},
            {u"syncDriveType"_s, 7},
            {u"privileges"_s, 17},
            {u"lastOperationType"_s, 0},
            {u"lastOperationTime"_s, QJsonValue()},
            {u"lastSyncTime"_s, QJsonValue()},
            {u"ownerId"_s, u"me"_s},
            {u"serverRoot"_s, u"/Root"_s},
            {u"serverFolderId"_s, u"sf"_s},
            {u"remoteShortKey"_s, u"sk"_s},
            {u"remoteLongKey"_s, u"lk"_s},
            {u"properties"_s, QJsonObject{{u"Key"_s, u"value"_s}}},
        };
        QCOMPARE(added.object(), expected);
        QCOMPARE(added.errors, QString());
    }

    void unknownReferencesAreRefused_data()
    {
        QTest::addColumn<QStringList>("reference");
        QTest::addColumn<QString>("remedy");
        QTest::newRow("sign-in") << QStringList{u"--signin"_s, u"9"_s}
                                 << u"velmioctl signin list"_s;
        QTest::newRow("product") << QStringList{u"--product"_s, u"9"_s}
                                 << u"velmioctl product list"_s;
    }

    void unknownReferencesAreRefused()
    {
        QFETCH(QStringList, reference);
        QFETCH(QString, remedy);
        const QStringList addOther{u"add"_s, u"other"_s, u"--server-path"_s, u"/Else"_s};

        const auto added = run(addOther + reference);
        const auto changed = run(QStringList{u"set"_s, u"2"_s} + reference);

        QCOMPARE(added.exitCode, 3);
        QVERIFY(added.errors.contains(remedy));
        QCOMPARE(changed.exitCode, 3);
        QCOMPARE(allIds().size(), 4);
    }

    void addRefusesWhatOverlaps_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("the root itself") << u"root"_s;
        QTest::newRow("inside") << u"root/a"_s;
        QTest::newRow("around") << u"."_s;
    }

    void addRefusesWhatOverlaps()
    {
        QFETCH(QString, path);

        const auto added = run({u"add"_s, path, u"--server-path"_s, u"/Else"_s});

        QCOMPARE(added.exitCode, 2);
        QVERIFY(added.errors.contains(u'"' + root + u"\" (id 1)"_s));
        QCOMPARE(allIds().size(), 4);
    }

    void addRefusesOverlapOnTheServerOfOneSignIn()
    {
        const QStringList add{u"add"_s, u"other"_s, u"--server-path"_s, u"/Team"_s, u"--signin"_s};

        const auto same = run(add + QStringList{u"3"_s});
        const auto another = run(add + QStringList{u"4"_s});

        QCOMPARE(same.exitCode, 2);
        QVERIFY(same.errors.contains(u"\"/Team/Root\""_s));
        QCOMPARE(another.exitCode, 0);
    }

    void addNeedsAnExistingDirectory()
    {
        tool->writeFile(u"file"_s, "content");
        const QStringList toServer{u"--server-path"_s, u"/Else"_s};

        const auto missing = run(QStringList{u"add"_s, u"none"_s} + toServer);
        const auto file = run(QStringList{u"add"_s, u"file"_s, u"--missing-ok"_s} + toServer);
        const auto relative = run({u"add"_s, u"other"_s, u"--server-path"_s, u"Else"_s});
        const auto allowed = run(QStringList{u"add"_s, u"none"_s, u"--missing-ok"_s} + toServer);

        QCOMPARE(missing.exitCode, 3);
        QVERIFY(missing.errors.contains(u"--missing-ok"_s));
        QCOMPARE(file.exitCode, 2);
        QCOMPARE(relative.exitCode, 2);
        QCOMPARE(allowed.exitCode, 0);
    }

    void foldersAreNamedByIdOrPath_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("id") << u"3"_s;
        QTest::newRow("relative path") << u"root/a/../a/b"_s;
    }

    void foldersAreNamedByIdOrPath()
    {
        QFETCH(QString, name);

        const auto shown = json({u"show"_s, name});

        QCOMPARE(shown.exitCode, 0);
        QCOMPARE(shown.object()[u"id"_s].toInt(), 3);
        QCOMPARE(shown.object()[u"clientPath"_s].toString(), root + u"/a/b"_s);
        QCOMPARE(shown.object()[u"serverPath"_s].toString(), u"/Team/Root/a/b"_s);
        QVERIFY(run({u"show"_s, name}).output.contains(u"status               created (3)\n"_s));
    }

    void unknownFolderIsNotFound()
    {
        const auto byId = run({u"show"_s, u"99"_s});
        const auto byPath = run({u"show"_s, u"root/none"_s});

        QCOMPARE(byId.exitCode, 3);
        QCOMPARE(byPath.exitCode, 3);
        QVERIFY(byPath.errors.contains(u"velmioctl folder list"_s));
    }

    void listShowsRootsOrAll()
    {
        run({u"add"_s, u"other"_s, u"--server-path"_s, u"/Else"_s, u"--signin"_s, u"4"_s});

        QCOMPARE(json({u"list"_s}).array().size(), 2);
        QCOMPARE(json({u"list"_s, u"--signin"_s, u"4"_s}).array().size(), 1);
        QCOMPARE(json({u"list"_s, u"--all"_s}).array().size(), 5);
        QCOMPARE(json({u"list"_s, u"--all"_s, u"--signin"_s, u"3"_s}).array().size(), 4);
        QCOMPARE(json({u"list"_s, u"--root"_s, u"root"_s}).array().size(), 4);
        QCOMPARE(json({u"list"_s, u"--orphans"_s}).array().size(), 0);
        QCOMPARE(
            run({u"list"_s, u"--signin"_s, u"4"_s}).output,
            u"ID  ROOT  SIGN-IN  STATUS   SERVER PATH  CLIENT PATH\n"
            u" 5     5        4  syncing  /Else        "_s +
                tool->path(u"other"_s) + u'\n');
    }

    void treeShowsFoldersBelowTheirParents()
    {
        const QString head = root + u"  [1, syncing]"_s;

        QCOMPARE(
            run({u"tree"_s}).output, head + u"\n\u251c\u2500\u2500 a  [2, created]\n"
                                            u"\u2502   \u2514\u2500\u2500 b  [3, created]\n"
                                            u"\u2514\u2500\u2500 c  [4, created]\n"_s);
        QCOMPARE(run({u"tree"_s, u"1"_s, u"--depth"_s, u"0"_s}).output, head + u" (+2)\n"_s);
        QCOMPARE(run({u"tree"_s, u"root/none"_s}).exitCode, 3);
    }

    void treeAsJsonTellsDepths()
    {
        const QJsonArray tree = json({u"tree"_s, u"--depth"_s, u"1"_s}).array();

        QCOMPARE(tree.size(), 3);
        const QJsonObject expected{
            {u"id"_s, 2},
            {u"parentId"_s, 1},
            {u"depth"_s, 1},
            {u"name"_s, u"a"_s},
            {u"clientPath"_s, root + u"/a"_s},
            {u"syncStatus"_s, 3},
            {u"bytes"_s, 0},
            {u"files"_s, 0},
            {u"children"_s, 1},
        };
        QCOMPARE(tree[1].toObject(), expected);
    }

    void setChangesOnlyWhatIsGiven()
    {
        QJsonObject expected = json({u"show"_s, u"2"_s}).object();
        expected[u"name"_s] = u"New name"_s;
        expected[u"serverPath"_s] = u"/Moved"_s;
        expected[u"syncStatus"_s] = 1;
        expected[u"folderOption"_s] = 2;
        expected[u"privileges"_s] = 3;
        expected[u"properties"_s] = QJsonObject{{u"Key"_s, u"value"_s}};

        const auto changed = json(
            {u"set"_s, u"root/a"_s, u"--name"_s, u"New name"_s, u"--server-path"_s, u"/Moved/"_s,
             u"--status"_s, u"1"_s, u"--option"_s, u"subfolders"_s, u"--privileges"_s,
             u"view,download"_s, u"--property"_s, u"Key=value"_s});

        QCOMPARE(changed.exitCode, 0);
        QCOMPARE(changed.object(), expected);
    }

    void setRefusesWrongValues_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("status") << QStringList{u"--status"_s, u"synched"_s};
        QTest::newRow("option") << QStringList{u"--option"_s, u"deep"_s};
        QTest::newRow("privileges") << QStringList{u"--privileges"_s, u"view read"_s};
        QTest::newRow("sign-in") << QStringList{u"--signin"_s, u"me"_s};
    }

    void setRefusesWrongValues()
    {
        QFETCH(QStringList, arguments);
        const QJsonObject before = json({u"show"_s, u"2"_s}).object();

        QCOMPARE(run(QStringList{u"set"_s, u"2"_s} + arguments).exitCode, 2);

        QCOMPARE(json({u"show"_s, u"2"_s}).object(), before);
    }

    void checkAnswersByExitCode()
    {
        const auto inside = json({u"check"_s, u"root/none/file"_s});
        const auto outside = json({u"check"_s, u"rootless"_s});
        const auto otherSignIn = run({u"check"_s, u"root/a"_s, u"--signin"_s, u"4"_s});
        const auto scratch = run({u"check"_s, u"root/.{SyncTemp}/x"_s});

        QCOMPARE(inside.exitCode, 0);
        QCOMPARE(inside.object()[u"inside"_s].toBool(), true);
        QCOMPARE(inside.object()[u"root"_s][u"id"_s].toInt(), 1);
        QCOMPARE(outside.exitCode, 1);
        const QJsonObject nothing{
            {u"path"_s, tool->path(u"rootless"_s)},
            {u"inside"_s, false},
            {u"root"_s, QJsonValue()}};
        QCOMPARE(outside.object(), nothing);
        QCOMPARE(otherSignIn.exitCode, 1);
        QCOMPARE(scratch.exitCode, 1);
        QCOMPARE(run({u"set"_s, u"1"_s, u"--option"_s, u"top-level"_s}).exitCode, 0);
        QCOMPARE(run({u"check"_s, u"root/a/f"_s, u"--top-level"_s}).exitCode, 1);
        QCOMPARE(run({u"check"_s, u"root/a/f"_s}).exitCode, 0);
    }

    void checkServerAnswersByExitCode()
    {
        const auto above = json({u"check-server"_s, u"/Team"_s, u"--signin"_s, u"3"_s});
        const auto beside = json({u"check-server"_s, u"/Team/Roo"_s, u"--signin"_s, u"3"_s});

        QCOMPARE(above.exitCode, 0);
        QCOMPARE(above.object()[u"overlaps"_s].toBool(), true);
        QCOMPARE(above.object()[u"root"_s][u"serverPath"_s].toString(), u"/Team/Root"_s);
        QCOMPARE(beside.exitCode, 1);
        QCOMPARE(beside.object()[u"overlaps"_s].toBool(true), false);
        QCOMPARE(run({u"check-server"_s, u"/Team"_s}).exitCode, 2);
    }

    void removalNeedsAYes_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("remove") << u"remove"_s;
        QTest::newRow("clean") << u"clean"_s;
    }

    void removalNeedsAYes()
    {
        QFETCH(QString, command);

        const auto unasked = run({command, u"1"_s});

        QCOMPARE(unasked.exitCode, 2);
        QVERIFY(unasked.errors.contains(u"--yes"_s));
        QCOMPARE(allIds().size(), 4);
    }

    void removeTakesOneRow()
    {
        const auto removed = json({u"remove"_s, u"root/a"_s, u"--yes"_s});

        QCOMPARE(removed.exitCode, 0);
        QCOMPARE(removed.object()[u"removedFolders"_s].toInt(), 1);
        QCOMPARE(allIds(), (QList<int>{1, 3, 4}));
        QVERIFY(run({u"tree"_s}).errors.contains(u"Folders that belong to no root folder: 1."_s));
    }

    void cleanTakesASubtree()
    {
        const auto removed = json({u"clean"_s, u"root/a"_s, u"--yes"_s});

        QCOMPARE(removed.exitCode, 0);
        QCOMPARE(removed.object()[u"removedFolders"_s].toInt(), 2);
        QCOMPARE(allIds(), (QList<int>{1, 4}));
    }

    void cleanTakesAWholeRoot()
    {
        const auto removed = json({u"clean"_s, root, u"--yes"_s});

        QCOMPARE(removed.exitCode, 0);
        QCOMPARE(removed.object()[u"removedFolders"_s].toInt(), 4);
        QCOMPARE(allIds(), QList<int>());
        QVERIFY(QDir(root + u"/a/b"_s).exists());
    }

    void cleanTakesNothingWhenASubfolderCannotBeRead()
    {
        // More than one page holds, so that the row continues on overflow pages, and the database
        // is too large to be checked when it is opened.
        constexpr qint64 PageBytes = 4096;
        sync::test::RawDatabase(tool->databasePath())
            .run(u"PRAGMA journal_mode = DELETE; UPDATE FolderConfiguration SET "
                 u"nameValueProperties = "
                 u"replace(hex(zeroblob(1000000)), '00', 'q') WHERE name = 'b'"_s);
        QFile file(tool->databasePath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        const qint64 inTheRow = file.readAll().lastIndexOf(QByteArray(4000, 'q'));
        QVERIFY(inTheRow > 0);
        QVERIFY(file.seek((inTheRow / PageBytes - 10) * PageBytes));
        QCOMPARE(file.write(QByteArray(4, '\xff')), 4);
        file.close();

        const auto cleaned = run({u"clean"_s, u"root/a"_s, u"--yes"_s});

        QCOMPARE(cleaned.exitCode, 5);
        QCOMPARE(
            tool->json({u"stats"_s}).object()[u"tables"_s][u"FolderConfiguration"_s].toInt(), 4);
    }

    void controlsInNamesDoNotReachTheTerminal()
    {
        const QString evil = u"root/e\x1b[31m\nx"_s;
        tool->makeFolder(evil);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);

        for (const QStringList& arguments :
             {QStringList{u"list"_s, u"--all"_s},
              {u"tree"_s},
              {u"show"_s, evil},
              {u"check"_s, evil}}) {
            const auto shown = run(arguments);
            QCOMPARE(shown.exitCode, 0);
            QVERIFY(!shown.output.contains(u'\x1b'));
            QVERIFY(shown.output.contains(u"e\\x1b[31m\\nx"_s));
        }
    }

    void impossiblePathsAreRefused_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("longest name") << u"/"_s + QString(255, u'n') << 0;
        QTest::newRow("long name") << u"/"_s + QString(256, u'n') << 2;
        // Two bytes each.
        QTest::newRow("long name in bytes") << u"/"_s + QString(128, u'\u00e9') << 2;
        QTest::newRow("long path") << u"/name"_s.repeated(1000) << 2;
    }

    void impossiblePathsAreRefused()
    {
        QFETCH(const QString, path);
        QFETCH(const int, exitCode);

        const auto added = run({u"add"_s, path, u"--missing-ok"_s, u"--server-path"_s, u"/Long"_s});

        QCOMPARE(added.exitCode, exitCode);
        QCOMPARE(added.errors.contains(u"too long for this system"_s), exitCode == 2);
        QVERIFY(added.errors.size() < 300);
    }

    void rootItselfIsNamedAsOne()
    {
        const auto again = run({u"add"_s, root, u"--server-path"_s, u"/Again"_s});

        QCOMPARE(again.exitCode, 2);
        QCOMPARE(
            again.errors,
            u"error: \"%1\" (id 1) is a root folder already. Change it with 'velmioctl "
            u"folder set 1'.\n"_s.arg(root));
    }

    void countsAreInTheSingularToo()
    {
        tool->writeFile(u"root/c/file"_s, "content");
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);

        QVERIFY(run({u"tree"_s}).output.contains(u"  1 file, 7 bytes"_s));
        QVERIFY(run({u"clean"_s, u"root/a"_s, u"--yes"_s})
                    .output.endsWith(u"and 1 folder below it.\n"_s));
    }

    void unknownNumbersAreRefused()
    {
        QCOMPARE(run({u"set"_s, root, u"--status"_s, u"77"_s}).exitCode, 2);
        QCOMPARE(run({u"set"_s, root, u"--option"_s, u"9"_s}).exitCode, 2);
        QCOMPARE(run({u"set"_s, root, u"--status"_s, u"2"_s}).exitCode, 0);
    }

private:
    VelmioctlRun json(const QStringList& arguments) const
    {
        return tool->json(QStringList{u"folder"_s} + arguments);
    }
    VelmioctlRun run(const QStringList& arguments) const
    {
        return tool->run(QStringList{u"folder"_s} + arguments);
    }
    QList<int> allIds() const
    {
        QList<int> ids;
        for (const QJsonValue& folder : json({u"list"_s, u"--all"_s}).array())
            ids += folder[u"id"_s].toInt();
        return ids;
    }

    std::unique_ptr<VelmioctlRunner> tool;
    QString root;
};

QTEST_GUILESS_MAIN(TestVelmioctlFolder)
#include "TestVelmioctlFolder.moc"
