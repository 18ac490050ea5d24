#include "DoctorSample.h"

#include <velmioctl/doctor/RecordChecks.h>

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace velmioctl::doctor {

/// The checks of records: each is planted, found, and repaired where that is safe.
class TestDoctor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanStoreHasNoFindings()
    {
        const DoctorSample sample;

        QCOMPARE(sample.findings(), QStringList());
    }

    void plantedFaultIsFoundAndRepaired_data()
    {
        QTest::addColumn<QStringList>("statements");
        QTest::addColumn<QStringList>("found");
        QTest::addColumn<QStringList>("left");

        const auto add = [](const char* name, const QStringList& statements,
                            const QStringList& found, const QStringList& left) {
            QTest::newRow(name) << statements << found << left;
        };
        const auto repaired = [&add](
                                  const char* name, const QString& sql, const QStringList& found) {
            add(name, {sql}, found, {});
        };
        const auto stays = [&add](const char* name, const QString& sql, const QStringList& found) {
            add(name, {sql}, found, found);
        };

        stays(
            "ids that no record can have",
            u"INSERT INTO ServerConfiguration (id) VALUES (-4), (0), (3000000000)"_s,
            {u"record.id-out-of-range ServerConfiguration -4"_s,
             u"record.id-out-of-range ServerConfiguration 0"_s,
             u"record.id-out-of-range ServerConfiguration 3000000000"_s,
             u"record.ids-used-up sqlite_sequence 2"_s});
        repaired(
            "last id that leaves no other",
            u"UPDATE sqlite_sequence SET seq = 9223372036854775807 WHERE name = 'Schedules'"_s,
            {u"record.ids-used-up sqlite_sequence 1"_s});
        stays(
            "properties that no client writes",
            u"UPDATE ServerConfiguration SET nameValueProperties ="
            u" '<NameValueXml><k>v</k><k><![CDATA[]]><a/></k></NameValueXml>' WHERE id = 1"_s,
            {u"record.xml-nested ServerConfiguration 1"_s});
        stays(
            "links that no client writes",
            u"UPDATE FileConfiguration SET fileLinks ="
            u" '<FileLinks><FileLink FileId=\"2\"><a/></FileLink></FileLinks>' WHERE id = 1"_s,
            {u"record.xml-nested FileConfiguration 1"_s});
        stays(
            "sign-in of no server",
            u"UPDATE AuthenticationConfiguration SET serverId = 9 WHERE id = 2"_s,
            {u"signin.server-missing AuthenticationConfiguration 2"_s});
        stays(
            "product of no server", u"UPDATE ProductConfiguration SET serverId = 9 WHERE id = 2"_s,
            {u"product.server-missing ProductConfiguration 2"_s});
        stays(
            "folder of no sign-in",
            u"UPDATE FolderConfiguration SET authenticationId = 9 WHERE id = 3"_s,
            {u"folder.signin-missing FolderConfiguration 3"_s});
        repaired(
            "folder of no product",
            u"UPDATE FolderConfiguration SET productConfigurationId = 9 WHERE id = 4"_s,
            {u"folder.product-missing FolderConfiguration 4"_s});
        repaired(
            "folder of no parent", u"UPDATE FolderConfiguration SET parentId = 9 WHERE id = 3"_s,
            {u"folder.parent-missing FolderConfiguration 3"_s});
        repaired(
            "folder of no parent but -1",
            u"UPDATE FolderConfiguration SET parentId = -1 WHERE id = 2"_s,
            {u"folder.parent-missing FolderConfiguration 2"_s});
        add("folder of no parent, nor one by its path",
            {u"UPDATE FolderConfiguration SET parentId = 9, clientPath = '%R/root/c/b' WHERE id = 3"_s,
             u"UPDATE FileConfiguration SET clientPath = '%R/root/a/two' WHERE id = 3"_s},
            {u"folder.parent-missing FolderConfiguration 3"_s,
             u"folder.gone FolderConfiguration 3"_s},
            {u"folder.parent-missing FolderConfiguration 3"_s,
             u"folder.gone FolderConfiguration 3"_s});
        repaired(
            "folder that is its own parent",
            u"UPDATE FolderConfiguration SET parentId = 3 WHERE id = 3"_s,
            {u"folder.circular FolderConfiguration 3"_s});
        repaired(
            "folders that are each other's parents",
            u"UPDATE FolderConfiguration SET parentId = 3 WHERE id = 2"_s,
            {u"folder.circular FolderConfiguration 2"_s,
             u"folder.circular FolderConfiguration 3"_s});
        repaired(
            "root of another root", u"UPDATE FolderConfiguration SET rootId = 1 WHERE id = 4"_s,
            {u"root.not-itself FolderConfiguration 4"_s});
        repaired(
            "root of no root", u"UPDATE FolderConfiguration SET rootId = NULL WHERE id = 4"_s,
            {u"root.not-itself FolderConfiguration 4"_s});
        repaired(
            "folder that has become a root",
            u"UPDATE FolderConfiguration SET parentId = 0 WHERE id = 2"_s,
            {u"root.not-itself FolderConfiguration 2"_s,
             u"folder.root-differs FolderConfiguration 3"_s,
             u"root.client-overlap FolderConfiguration 2"_s,
             u"root.server-overlap FolderConfiguration 2"_s});
        repaired(
            "folder of another root", u"UPDATE FolderConfiguration SET rootId = 4 WHERE id = 3"_s,
            {u"folder.root-differs FolderConfiguration 3"_s,
             u"file.root-differs FileConfiguration 3"_s});
        stays(
            "folder below another root than its path's",
            u"UPDATE FolderConfiguration SET parentId = 4 WHERE id = 3"_s,
            {u"folder.root-differs FolderConfiguration 3"_s});
        add("folders of no root",
            {u"DELETE FROM FolderConfiguration WHERE id = 4"_s,
             u"UPDATE FolderConfiguration SET parentId = 4, rootId = 4, clientPath = '%R/other'"
             u" WHERE id = 3"_s,
             u"UPDATE FileConfiguration SET rootFolderId = 4 WHERE id = 3"_s},
            {u"folder.parent-missing FolderConfiguration 3"_s,
             u"folder.root-missing FolderConfiguration 3"_s},
            {u"folder.parent-missing FolderConfiguration 3"_s,
             u"folder.root-missing FolderConfiguration 3"_s});
        repaired(
            "empty folder twice",
            u"INSERT INTO FolderConfiguration (id, parentId, rootId, authenticationId,"
            u" productConfigurationId, name, clientPath, serverPath)"
            u" VALUES (8, 2, 1, 1, 0, 'b', '%R/root/a/b', '/S/root/a/b')"_s,
            {u"folder.duplicate-path FolderConfiguration 8"_s});
        stays(
            "folder twice, of which one is different",
            u"INSERT INTO FolderConfiguration (id, parentId, rootId, authenticationId,"
            u" productConfigurationId, name, clientPath, serverPath)"
            u" VALUES (8, 2, 1, 1, 0, 'b', '%R/root/a/b', '/S/else')"_s,
            {u"folder.duplicate-path FolderConfiguration 8"_s});
        repaired(
            "file of no folder",
            u"UPDATE FileConfiguration SET folderConfigurationId = 9 WHERE id = 3"_s,
            {u"file.folder-missing FileConfiguration 3"_s});
        add("file of no folder, beside another record of its path",
            {u"UPDATE FileConfiguration SET folderConfigurationId = 9,"
             u" clientPath = '%R/root/a/two' WHERE id = 3"_s},
            {u"file.folder-missing FileConfiguration 3"_s},
            {u"file.folder-missing FileConfiguration 3"_s});
        repaired(
            "generated file of no folder",
            u"UPDATE GeneratedFileConfiguration SET folderConfigurationId = 9"_s,
            {u"file.folder-missing GeneratedFileConfiguration 5"_s});
        repaired(
            "base copy of no folder",
            u"UPDATE BaseFileConfiguration SET folderConfigurationId = 9"_s,
            {u"file.folder-missing BaseFileConfiguration 6"_s});
        repaired(
            "file in no folder",
            u"UPDATE FileConfiguration SET folderConfigurationId = -1 WHERE id = 3"_s,
            {u"file.no-folder FileConfiguration 3"_s});
        repaired(
            "file of no product",
            u"UPDATE FileConfiguration SET productConfigurationId = 9 WHERE id = 2"_s,
            {u"file.product-missing FileConfiguration 2"_s});
        repaired(
            "base copy of no product",
            u"UPDATE BaseFileConfiguration SET productConfigurationId = 9"_s,
            {u"file.product-missing BaseFileConfiguration 6"_s});
        repaired(
            "generated file of no file",
            u"UPDATE GeneratedFileConfiguration SET parentFileId = 9"_s,
            {u"generated.file-missing GeneratedFileConfiguration 5"_s});
        repaired(
            "base copy of no file but -1", u"UPDATE BaseFileConfiguration SET parentFileId = -1"_s,
            {u"base.file-missing BaseFileConfiguration 6"_s});
        stays(
            "schedule of no folder",
            u"UPDATE Schedules SET folderConfigurationId = 9 WHERE id = 7"_s,
            {u"schedule.folder-missing Schedules 7"_s});
        repaired(
            "file of another root", u"UPDATE FileConfiguration SET rootFolderId = 4 WHERE id = 3"_s,
            {u"file.root-differs FileConfiguration 3"_s});
        repaired(
            "generated file of another root",
            u"UPDATE GeneratedFileConfiguration SET rootFolderId = 4"_s,
            {u"file.root-differs GeneratedFileConfiguration 5"_s});
        repaired(
            "base copy of no root", u"UPDATE BaseFileConfiguration SET rootFolderId = 9"_s,
            {u"file.root-missing BaseFileConfiguration 6"_s});
        repaired(
            "file of another type", u"UPDATE FileConfiguration SET fileType = 1 WHERE id = 3"_s,
            {u"file.wrong-type FileConfiguration 3"_s});
        repaired(
            "base copy without a type", u"UPDATE BaseFileConfiguration SET fileType = NULL"_s,
            {u"file.wrong-type BaseFileConfiguration 6"_s});
        repaired(
            "file twice",
            u"INSERT INTO FileConfiguration (id, folderConfigurationId, rootFolderId, parentFileId,"
            u" productConfigurationId, fileType, name, clientPath, fileLinks)"
            u" VALUES (8, 3, 1, -1, 0, 0, 'one', '%R/root/a/b/one', '')"_s,
            {u"file.duplicate-path FileConfiguration 8"_s});
        stays(
            "file twice, of which one is different",
            u"INSERT INTO FileConfiguration (id, folderConfigurationId, rootFolderId, parentFileId,"
            u" productConfigurationId, fileType, name, clientPath, fileLinks, serverFileId)"
            u" VALUES (8, 3, 1, -1, 0, 0, 'one', '%R/root/a/b/one', '', 's')"_s,
            {u"file.duplicate-path FileConfiguration 8"_s});
        add("file twice, of which the later one has a base copy",
            {u"INSERT INTO FileConfiguration (id, folderConfigurationId, rootFolderId, "
             u"parentFileId,"
             u" productConfigurationId, fileType, name, clientPath, fileLinks)"
             u" VALUES (8, 3, 1, -1, 0, 0, 'one', '%R/root/a/b/one', '')"_s,
             u"UPDATE BaseFileConfiguration SET parentFileId = 8"_s},
            {u"file.duplicate-path FileConfiguration 8"_s},
            {u"file.duplicate-path FileConfiguration 8"_s});
        add("root in a root",
            {u"UPDATE FolderConfiguration SET clientPath = '%R/ROOT/a' WHERE id = 4"_s},
            {u"root.client-overlap FolderConfiguration 4"_s,
             u"root.unreachable FolderConfiguration 4"_s},
            {u"root.client-overlap FolderConfiguration 4"_s,
             u"root.unreachable FolderConfiguration 4"_s});
        add("root on the server in a root",
            {u"UPDATE FolderConfiguration SET authenticationId = 1, serverPath = '/s/ROOT/x'"
             u" WHERE id = 4"_s},
            {u"root.server-overlap FolderConfiguration 4"_s},
            {u"root.server-overlap FolderConfiguration 4"_s});
        add("folders that differ in case",
            {u"INSERT INTO FolderConfiguration (id, parentId, rootId, clientPath, serverPath)"
             u" VALUES (8, 2, 1, '%R/root/a/B', '/S/root/a/B')"_s},
            {u"folder.spelling FolderConfiguration 3"_s, u"folder.gone FolderConfiguration 8"_s},
            {u"folder.spelling FolderConfiguration 3"_s, u"folder.gone FolderConfiguration 8"_s});
        add("files that differ in normal form",
            {u"UPDATE FileConfiguration SET clientPath = '%R/root/a/\u00e9' WHERE id = 1"_s,
             u"UPDATE FileConfiguration SET clientPath = '%R/root/a/e\u0301' WHERE id = 2"_s},
            {u"file.spelling FileConfiguration 2"_s, u"file.gone FileConfiguration 1"_s,
             u"file.gone FileConfiguration 2"_s},
            {u"file.spelling FileConfiguration 2"_s, u"file.gone FileConfiguration 1"_s,
             u"file.gone FileConfiguration 2"_s});
        add("a folder that Windows cannot have",
            {u"INSERT INTO FolderConfiguration (id, parentId, rootId, clientPath, serverPath)"
             u" VALUES (8, 2, 1, '%R/root/a/b.', '/S/root/a/b.')"_s},
            {u"folder.windows-name FolderConfiguration 8"_s,
             u"folder.gone FolderConfiguration 8"_s},
            {u"folder.windows-name FolderConfiguration 8"_s,
             u"folder.gone FolderConfiguration 8"_s});
        add("a file that Windows cannot have",
            {u"UPDATE FileConfiguration SET clientPath = '%R/root/a/12:30' WHERE id = 1"_s},
            {u"file.windows-name FileConfiguration 1"_s, u"file.gone FileConfiguration 1"_s},
            {u"file.windows-name FileConfiguration 1"_s, u"file.gone FileConfiguration 1"_s});
        stays(
            "link to no file",
            u"UPDATE FileConfiguration SET fileLinks = replace(fileLinks, '\"1\"', '\"9\"')"_s,
            {u"file.link-missing FileConfiguration 2"_s});
    }

    void plantedFaultIsFoundAndRepaired()
    {
        QFETCH(QStringList, statements);
        QFETCH(QStringList, found);
        QFETCH(QStringList, left);
        DoctorSample sample;
        for (const QString& statement : statements)
            sample.run(statement);

        const QStringList before = sample.findings();
        repair(sample.session);
        const QStringList after = sample.findings();

        QCOMPARE(before, found);
        QCOMPARE(after, left);
    }

    void everyCheckOfRecordsIsPlanted()
    {
        QFile source(QStringLiteral(VELMIO_SOURCE_DIR "/tests/tool/TestDoctor.cpp"));
        QVERIFY(source.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(source.readAll());

        QStringList missing;
        for (const RecordCheck& check : recordChecks()) {
            if (!text.contains(u"u\""_s + check.check.id + u' '))
                missing += check.check.id;
        }

        QCOMPARE(missing, QStringList());
    }

    void everyCheckHasAnIdOfItsOwn()
    {
        QStringList ids;
        for (const Check& check : allChecks())
            ids += check.id;

        QCOMPARE(QSet<QString>(ids.begin(), ids.end()).size(), ids.size());
    }

    void everyCheckIsDocumented()
    {
        QFile page(QStringLiteral(VELMIO_SOURCE_DIR "/docs/doctor.md"));
        QVERIFY(page.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(page.readAll());
        static const QRegularExpression row(u"^\\| `([a-z]+\\.[a-z-]+)` \\| ([a-z]+) \\|"_s);

        QStringList documented;
        for (const QString& line : text.split(u'\n')) {
            if (const auto match = row.match(line); match.hasMatch())
                documented += match.captured(1) + u' ' + match.captured(2);
        }
        QStringList checks;
        for (const Check& check : allChecks()) {
            const QStringList words{u"error"_s, u"warning"_s, u"note"_s};
            checks += check.id + u' ' + words.at(int(check.severity));
        }

        documented.sort();
        checks.sort();
        QCOMPARE(documented, checks);
    }

    void mendingTakesOneTransaction()
    {
        DoctorSample sample;
        sample.run(u"UPDATE FolderConfiguration SET rootId = 9 WHERE id = 4"_s);
        sample.run(u"UPDATE BaseFileConfiguration SET parentFileId = 9"_s);
        // The last repair fails.
        sample.run(u"CREATE TRIGGER Refuse BEFORE DELETE ON BaseFileConfiguration"
                   u" BEGIN SELECT raise(ABORT, 'refused'); END"_s);
        const QStringList before = sample.findings();

        QVERIFY_THROWS_EXCEPTION(CommandError, repair(sample.session));

        QCOMPARE(before.size(), 3); // with the trigger
        QCOMPARE(sample.findings(), before);
    }

    void nothingIsRepairedThatLeadsToNewErrors()
    {
        DoctorSample sample;
        sample.run(u"UPDATE FolderConfiguration SET rootId = 9 WHERE id = 4"_s);
        sample.run(u"CREATE TEMP TRIGGER Harm AFTER UPDATE ON FolderConfiguration"
                   u" BEGIN UPDATE AuthenticationConfiguration SET serverId = 9; END"_s);
        const QStringList before = sample.findings();

        QVERIFY_THROWS_EXCEPTION(CommandError, repair(sample.session));

        QCOMPARE(sample.findings(), before);
    }

    void nothingIsRepairedAfterAFailedRead()
    {
        DoctorSample sample;
        sample.run(u"UPDATE FolderConfiguration SET rootId = 9 WHERE id = 4"_s);
        sample.run(u"ALTER TABLE Schedules RENAME COLUMN folderConfigurationId TO folderId"_s);

        QVERIFY_THROWS_EXCEPTION(CommandError, repair(sample.session));

        QCOMPARE(
            sample.session.database().number(
                u"SELECT rootId FROM FolderConfiguration WHERE id = 4"_s),
            9);
    }

    // Parents, roots and files' roots at once, although each depends on the one before.
    void brokenTreeIsRepairedAtOnce()
    {
        DoctorSample sample;
        sample.run(u"UPDATE FolderConfiguration SET rootId = 9 WHERE id = 1"_s);
        sample.run(
            u"UPDATE FolderConfiguration SET parentId = 77, rootId = 9 WHERE id IN (2, 3)"_s);
        sample.run(u"UPDATE FileConfiguration SET folderConfigurationId = 88, rootFolderId = 9"_s);

        repair(sample.session);

        QCOMPARE(sample.findings(), QStringList());
    }

    // A search by path below a parent finds the right one.
    void samePathBelowAnotherParentIsNoDuplicate()
    {
        DoctorSample sample;
        sample.run(u"INSERT INTO FolderConfiguration (parentId, rootId, name, clientPath,"
                   u" serverPath) VALUES (1, 1, 'b', '%R/root/a/b', '/S/root/a/b')"_s);

        QCOMPARE(sample.findings().filter(u"folder.duplicate-path"_s), QStringList());
    }

    void folderThatFitsTwoParentsIsLeft()
    {
        DoctorSample sample;
        sample.run(u"INSERT INTO FolderConfiguration (parentId, rootId, clientPath, serverPath)"
                   u" VALUES (1, 1, '%R/root/a', '/S/other')"_s);
        sample.run(u"UPDATE FolderConfiguration SET parentId = 9 WHERE id = 3"_s);

        repair(sample.session);

        QCOMPARE(
            sample.session.database().number(
                u"SELECT parentId FROM FolderConfiguration WHERE id = 3"_s),
            9);
    }

    // More records than are read at once.
    void everyFileIsLookedFor()
    {
        DoctorSample sample;
        sample.run(
            u"WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1500)"
            u" INSERT INTO FileConfiguration (folderConfigurationId, rootFolderId,"
            u" parentFileId, fileType, clientPath)"
            u" SELECT 2, 1, -1, 0, '%R/root/a/gone ' || i FROM n"_s);

        QCOMPARE(sample.findings().filter(u"file.gone "_s).size(), 1500);
    }

    // If the comparison forgot a column, a row that differs in it would be removed.
    void copiesAreComparedInEveryColumn()
    {
        DoctorSample sample;
        int fixesSeen = 0;
        for (const Fix& fix : fixes()) {
            if (!fix.check.endsWith(u".duplicate-path"))
                continue;
            ++fixesSeen;
            const auto columns = sample.session.database().select(
                u"SELECT name FROM pragma_table_info('%1') WHERE name <> 'id'"_s.arg(fix.table));
            while (columns->next()) {
                const QString column = columns->value(0).toString();
                const QRegularExpression compared(u"\\bfirst\\.%1[,)]"_s.arg(column));
                QVERIFY2(fix.select.contains(compared), qPrintable(fix.table + u' ' + column));
            }
        }

        QCOMPARE(fixesSeen, 2);
    }

    void rootsAreComparedAsTheManagerDoes_data()
    {
        QTest::addColumn<QString>("clientPath");
        QTest::addColumn<QString>("serverPath");
        QTest::addColumn<QStringList>("found");

        const QString client = u"root.client-overlap FolderConfiguration 4"_s;
        const QString server = u"root.server-overlap FolderConfiguration 4"_s;
        QTest::newRow("beside") << u"%R/root2"_s << u"/S/root2"_s << QStringList();
        QTest::newRow("same") << u"%R/root"_s << u"/S/root"_s << QStringList{client, server};
        QTest::newRow("other case") << u"%R/Root"_s << u"/s/ROOT"_s << QStringList{client, server};
        QTest::newRow("far below")
            << u"%R/root/x/y"_s << u"/S/root/x/y"_s << QStringList{client, server};
        QTest::newRow("no place on the server") << u"%R/root2"_s << QString() << QStringList();
    }

    void rootsAreComparedAsTheManagerDoes()
    {
        QFETCH(QString, clientPath);
        QFETCH(QString, serverPath);
        QFETCH(QStringList, found);
        DoctorSample sample;
        sample.run(u"UPDATE FolderConfiguration SET authenticationId = 1, clientPath = '%1',"
                   u" serverPath = '%2' WHERE id = 4"_s.arg(clientPath, serverPath));

        const QStringList overlaps = sample.findings().filter(u"overlap"_s);

        QCOMPARE(overlaps, found);
    }
};

} // namespace velmioctl::doctor

QTEST_GUILESS_MAIN(velmioctl::doctor::TestDoctor)
#include "TestDoctor.moc"
