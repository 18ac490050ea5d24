// The test that docs/porting.md shows, of the factory in examples/host-factory.

#include <host-factory/HostDatabaseFactory.h>

#include <testkit/FactoryCheck.h>
#include <testkit/QtTestRows.h>

#include <QSqlError>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestHostDatabaseFactory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void keepsItsContract_data() { sync::testkit::addCheckRows(); }
    void keepsItsContract();
    void keepsAllOfItInOneCall();

private:
    sync::testkit::Host checkedHost() const;

    std::unique_ptr<QTemporaryDir> folder;
};

void TestHostDatabaseFactory::init()
{
    folder = std::make_unique<QTemporaryDir>();
    for (const QString& name : {u"checked"_s, u"other"_s}) {
        QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, name);
        database.setDatabaseName(folder->filePath(u"store.db"_s));
        QVERIFY2(database.open(), qPrintable(database.lastError().text()));
    }
}

void TestHostDatabaseFactory::cleanup()
{
    for (const QString& name : {u"checked"_s, u"other"_s})
        QSqlDatabase::removeDatabase(name);
}

sync::testkit::Host TestHostDatabaseFactory::checkedHost() const
{
    const auto open = [](const QString& name) {
        return std::make_shared<HostDatabaseFactory>(QSqlDatabase::database(name));
    };

    sync::testkit::Host host;
    host.factory = open(u"checked"_s);
    host.reopen = [open] { return open(u"other"_s); }; // a connection of its own
    host.servesSeveralThreads = false;
    return host;
}

void TestHostDatabaseFactory::keepsItsContract()
{
    sync::testkit::runCheckRow(checkedHost());
}

void TestHostDatabaseFactory::keepsAllOfItInOneCall()
{
    const sync::testkit::CheckReport report = sync::testkit::FactoryCheck(checkedHost()).runAll();
    qInfo().noquote() << report.toText();

    QVERIFY(report.hasPassed());
    QCOMPARE(report.count(sync::testkit::Outcome::NotRun), 5); // threads, and typed queries
}

QTEST_GUILESS_MAIN(TestHostDatabaseFactory)
#include "TestHostDatabaseFactory.moc"
