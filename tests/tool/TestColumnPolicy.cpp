#include <velmioctl/bundle/ColumnPolicy.h>
#include <velmioctl/exchange/TableShape.h>

#include <database/SqliteDatabaseFactory.h>
#include <support/RawDatabase.h>

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace velmioctl::bundle;
using namespace velmioctl::exchange;
using sync::database::SqliteDatabaseFactory;
using sync::test::RawDatabase;

class TestColumnPolicy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyColumnOfTheSchemaIsDecidedOn();
    void tablesAreThoseOfTheSchema();
    void secretsAreDenied();
    void unknownColumnsAreDenied();

private:
    QStringList tables() const
    {
        return RawDatabase(path).run(
            u"SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite%'"
            u" AND name <> 'StoreIdentity' ORDER BY name"_s);
    }
    QStringList columnsOf(const QString& table) const
    {
        return RawDatabase(path).run(u"SELECT name FROM pragma_table_info('%1')"_s.arg(table));
    }

    const QTemporaryDir directory;
    const QString path = directory.filePath(u"configuration.db"_s);
    const std::shared_ptr<SqliteDatabaseFactory> store = SqliteDatabaseFactory::open(path);
};

void TestColumnPolicy::everyColumnOfTheSchemaIsDecidedOn()
{
    for (const QString& table : tables()) {
        for (const QString& column : columnsOf(table)) {
            QVERIFY2(
                policyOf(table.toLatin1(), column.toLatin1()).has_value(),
                qPrintable(table + u'.' + column));
        }
    }
}

void TestColumnPolicy::tablesAreThoseOfTheSchema()
{
    QStringList names;
    for (const TableShape& table : tableShapes()) {
        const QString name = QString::fromLatin1(table.name);
        names += name;
        QStringList columns;
        for (const Column& column : table.columns)
            columns += QString::fromLatin1(column.name);
        QCOMPARE(columns, columnsOf(name));
    }
    QCOMPARE(names, tables());
}

void TestColumnPolicy::secretsAreDenied()
{
    for (const TableShape& table : tableShapes()) {
        for (const Column& column : table.columns) {
            const bool mayHoldAnything = column.name == "nameValueProperties";
            if (column.isSecret || mayHoldAnything)
                QCOMPARE(policyOf(table.name, column.name), ColumnPolicy::Denied);
        }
    }
}

void TestColumnPolicy::unknownColumnsAreDenied()
{
    QCOMPARE(policyOf("ServerConfiguration", "token"), std::nullopt);
    QCOMPARE(policyOf("Tokens", "id"), std::nullopt);
}

QTEST_GUILESS_MAIN(TestColumnPolicy)
#include "TestColumnPolicy.moc"
