#include <support/FileBytes.h>
#include <support/RawDatabase.h>

#include <database/SqliteDatabaseFactory.h>
#include <database/TransactionalScope.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

using namespace Qt::StringLiterals;
using namespace sync::database;
using sync::test::RawDatabase;

namespace {

// As a distribution may build SQLite.
int keepWhatIsRemoved(sqlite3* database, const char** /*error*/, const sqlite3_api_routines*)
{
    return sqlite3_exec(database, "PRAGMA secure_delete = OFF", nullptr, nullptr, nullptr);
}

const auto KeepWhatIsRemoved = reinterpret_cast<void (*)()>(keepWhatIsRemoved);

} // namespace

/// Looks for secrets in the files of a store after they were removed or replaced.
class TestRemovedSecrets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { sqlite3_auto_extension(KeepWhatIsRemoved); }
    void cleanupTestCase() { sqlite3_cancel_auto_extension(KeepWhatIsRemoved); }

    void init()
    {
        factory.reset();
        folder = std::make_unique<QTemporaryDir>();
        path = folder->filePath(u"store.db"_s);
        factory = SqliteDatabaseFactory::open(path);
    }

    void areInNoFileOfTheStore_data()
    {
        QTest::addColumn<QString>("removal");
        QTest::newRow("secret replaced")
            << u"UPDATE ProductConfiguration SET consumerSecret = 'new'"_s;
        QTest::newRow("secret removed")
            << u"UPDATE ProductConfiguration SET consumerSecret = NULL"_s;
        QTest::newRow("product removed") << u"DELETE FROM ProductConfiguration WHERE id > 0"_s;
        QTest::newRow("all products removed") << u"DELETE FROM ProductConfiguration"_s;
        QTest::newRow("password replaced")
            << u"UPDATE AuthenticationConfiguration SET encryptedPassword = x'01'"_s;
        QTest::newRow("sign-in removed") << u"DELETE FROM AuthenticationConfiguration"_s;
    }

    void areInNoFileOfTheStore()
    {
        QFETCH(const QString, removal);
        removal.contains(u"Product") ? addProducts() : addSignIns();
        QVERIFY(isInFiles());

        QVERIFY(run(removal));

        QVERIFY(!isInFiles());
    }

    void areGoneWithTheTransactionThatRemovesThem()
    {
        addProducts();
        addSignIns();
        {
            const TransactionalScope outer;
            const TransactionalScope inner;
            QVERIFY(run(u"DELETE FROM ProductConfiguration"_s));
            QVERIFY(run(u"DELETE FROM AuthenticationConfiguration"_s));
            QVERIFY(run(u"INSERT INTO Schedules DEFAULT VALUES"_s));
        }

        QVERIFY(!isInFiles());
    }

    // The process needs what was there when it began.
    void stayInTheWalWhileAProcessReadsIt()
    {
        addProducts();
        RawDatabase reader(path);
        reader.run(u"BEGIN; SELECT count(*) FROM Schedules"_s);
        QVERIFY(run(u"DELETE FROM ProductConfiguration"_s));
        QVERIFY(isInFiles());
        reader.run(u"COMMIT"_s);

        addSignIns();
        QVERIFY(run(u"DELETE FROM AuthenticationConfiguration"_s));

        QVERIFY(!isInFiles());
    }

    void theirRemovalIsNoChangeOfAnotherProcess()
    {
        RecordKinds reported;
        const auto listening =
            factory->onChange([&reported](RecordKinds kinds) { reported |= kinds; });

        addProducts();
        factory->poll();

        QCOMPARE(reported, RecordKinds(RecordKind::Product));
    }

private:
    // One in a page of the table, and one that needs further pages.
    void addProducts()
    {
        QVERIFY(
            run(u"INSERT INTO ProductConfiguration (consumerSecret) VALUES ('%1'), ('%2')"_s.arg(
                Canary, Canary.repeated(1000))));
    }
    void addSignIns()
    {
        QVERIFY(run(
            u"INSERT INTO AuthenticationConfiguration (encryptedPassword) VALUES"
            u" (CAST('%1' AS BLOB)), (CAST('%2' AS BLOB))"_s.arg(Canary, Canary.repeated(1000))));
    }
    bool isInFiles() const
    {
        const QByteArray canary = Canary.toLatin1();
        return sync::test::readFile(path).contains(canary) ||
               sync::test::readFile(path + u"-wal"_s).contains(canary);
    }
    bool run(const QString& sql)
    {
        const auto query = factory->CreateQuery();
        query->prepare(sql);
        return query->exec();
    }

    const QString Canary = u"canary of a secret"_s;
    std::unique_ptr<QTemporaryDir> folder;
    QString path;
    std::shared_ptr<SqliteDatabaseFactory> factory;
};

QTEST_GUILESS_MAIN(TestRemovedSecrets)
#include "TestRemovedSecrets.moc"
