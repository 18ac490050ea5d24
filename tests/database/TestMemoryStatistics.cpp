#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

using namespace Qt::StringLiterals;
using sync::database::SqliteDatabaseFactory;

class TestMemoryStatistics : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areSwitchedOffBeforeTheFirstUseOnly();
};

void TestMemoryStatistics::areSwitchedOffBeforeTheFirstUseOnly()
{
    QVERIFY(SqliteDatabaseFactory::disableMemoryStatistics());

    const QTemporaryDir folder;
    const auto factory = SqliteDatabaseFactory::open(folder.filePath(u"configuration.db"_s));
    const auto query = factory->CreateQuery();
    QVERIFY(query->prepare(u"SELECT count(*) FROM FileConfiguration"_s));
    QVERIFY(query->exec());

    QCOMPARE(sqlite3_memory_used(), 0);
    QVERIFY(!SqliteDatabaseFactory::disableMemoryStatistics());
}

QTEST_GUILESS_MAIN(TestMemoryStatistics)
#include "TestMemoryStatistics.moc"
