#include <velmioctl/store/Columns.h>

#include <database/SqliteDatabaseFactory.h>
#include <support/RawDatabase.h>

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace velmioctl;
using sync::test::RawDatabase;

class TestColumns : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tablesAndColumnsAreThoseOfANewStore()
    {
        const QTemporaryDir directory;
        const QString path = directory.filePath(u"configuration.db"_s);
        sync::database::SqliteDatabaseFactory::open(path);

        QStringList columns;
        for (const TableShape& table : tableShapes()) {
            for (const Column& column : table.columns)
                columns += QString::fromLatin1(table.name + '.' + column.name);
        }

        QCOMPARE(
            columns,
            RawDatabase(path).run(
                u"SELECT t.name || '.' || c.name FROM sqlite_schema t, pragma_table_info(t.name) c"
                u" WHERE t.type = 'table' AND t.name NOT LIKE 'sqlite%' AND t.name NOT IN "
                u"('StoreIdentity', 'BackupCounter', 'RootFolderPlace', 'FolderOnDisk', "
                u"'FileOnDisk',"
                u" 'RootFolderMark')"
                u" ORDER BY t.name, c.cid"_s));
    }

    void bundlesShowNoSecretAndNothingThatMayHoldAnything()
    {
        for (const TableShape& table : tableShapes()) {
            for (const Column& column : table.columns) {
                if (column.isSecret() || column.kind == ValueKind::Properties)
                    QVERIFY2(column.disclosure == Disclosure::Denied, column.name.constData());
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestColumns)
#include "TestColumns.moc"
