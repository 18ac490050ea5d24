#include <support/CapturedWarnings.h>
#include <support/RawDatabase.h>

#include <database/HostTransaction.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QTemporaryDir>
#include <QTest>

#include <stdexcept>
#include <thread>

using namespace Qt::StringLiterals;
using sync::database::Failure;
using sync::database::HostTransaction;
using sync::database::SqliteDatabaseFactory;
using sync::test::CapturedWarnings;
using sync::test::RawDatabase;

/// Also what the engine notices of a transaction without the guard.
class TestHostTransaction : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void commitMakesEverythingDurable();
    void withoutCommitEverythingIsRolledBack();
    void anExceptionRollsBack();
    void aSecondOneOnTheThreadIsNotOpen();
    void aFailedCommitIsTheLastFailure();
    void rollbackAfterAFailedCommitHidesNothing();
    void aThreadMayEndAfterAFailedCommit();
    void aFailedStatementIsTheLastFailure();
    void aWriteUnderAnAbandonedTransactionIsReportedOnce();
    void aTransactionThatIsEndedAfterAnExceptionIsNotReported();

private:
    bool run(const QString& sql) const
    {
        const auto query = factory->CreateQuery();
        query->prepare(sql);
        return query->exec();
    }
    bool addServer() const
    {
        return run(u"INSERT INTO ServerConfiguration (alias) VALUES ('a')"_s);
    }
    QString committedServers() const
    {
        return RawDatabase(factory->path()).value(u"SELECT count(*) FROM ServerConfiguration"_s);
    }
    void abandonTransaction() const;
    void failToCommit() const;

    std::unique_ptr<QTemporaryDir> folder;
    std::shared_ptr<SqliteDatabaseFactory> factory;
};

void TestHostTransaction::init()
{
    factory.reset();
    folder = std::make_unique<QTemporaryDir>();
    factory = SqliteDatabaseFactory::open(folder->filePath(u"store.db"_s));
}

void TestHostTransaction::commitMakesEverythingDurable()
{
    HostTransaction transaction(*factory);
    QVERIFY(transaction.isOpen());
    QVERIFY(addServer());
    QCOMPARE(committedServers(), u"0"_s);

    QVERIFY(transaction.commit());

    QVERIFY(!transaction.isOpen());
    QCOMPARE(committedServers(), u"1"_s);
    QVERIFY(!transaction.commit());
    QCOMPARE(factory->failureCount(), 0);
}

void TestHostTransaction::withoutCommitEverythingIsRolledBack()
{
    {
        const HostTransaction transaction(*factory);
        QVERIFY(addServer());
    }

    QCOMPARE(committedServers(), u"0"_s);
    QVERIFY(addServer());
    QCOMPARE(committedServers(), u"1"_s);
}

void TestHostTransaction::anExceptionRollsBack()
{
    try {
        const HostTransaction transaction(*factory);
        QVERIFY(addServer());
        throw std::runtime_error("left");
    } catch (const std::runtime_error&) {
    }

    QVERIFY(addServer());
    QCOMPARE(committedServers(), u"1"_s);
    QCOMPARE(factory->failureCount(), 0);
}

void TestHostTransaction::aSecondOneOnTheThreadIsNotOpen()
{
    const CapturedWarnings warnings;
    HostTransaction first(*factory);
    {
        HostTransaction second(*factory);
        QVERIFY(!second.isOpen());
        QVERIFY(!second.commit());
    }

    QVERIFY(addServer());
    QVERIFY(first.commit());
    QCOMPARE(committedServers(), u"1"_s);
}

// Each call has a GetDatabase() of its own, as in a manager.
void TestHostTransaction::failToCommit() const
{
    QVERIFY(run(u"CREATE TABLE IF NOT EXISTS Child (server INTEGER REFERENCES ServerConfiguration"
                u" (id) DEFERRABLE INITIALLY DEFERRED)"_s));
    QVERIFY(run(u"PRAGMA foreign_keys = ON"_s));
    QVERIFY(factory->GetDatabase()->transaction());
    QVERIFY(run(u"INSERT INTO Child VALUES (77)"_s));
    QVERIFY(!factory->GetDatabase()->commit());
}

void TestHostTransaction::aFailedCommitIsTheLastFailure()
{
    const CapturedWarnings warnings;

    failToCommit();

    QCOMPARE(factory->failureCount(), 1);
    QCOMPARE(factory->lastFailure()->kind, Failure::Kind::Commit);
    QVERIFY(factory->lastFailure()->text.contains(u"FOREIGN KEY"));
    QVERIFY(addServer());
    QCOMPARE(committedServers(), u"1"_s);
}

void TestHostTransaction::rollbackAfterAFailedCommitHidesNothing()
{
    const CapturedWarnings warnings;
    failToCommit();

    QVERIFY(factory->GetDatabase()->rollback());

    QCOMPARE(factory->failureCount(), 1);
    QCOMPARE(factory->lastFailure()->kind, Failure::Kind::Commit);
    QVERIFY(!factory->GetDatabase()->rollback());
}

void TestHostTransaction::aThreadMayEndAfterAFailedCommit()
{
    const CapturedWarnings warnings;

    std::thread([this] { failToCommit(); }).join();

    QCOMPARE(warnings.texts().size(), 1); // that of the commit
    QVERIFY(addServer());
    QVERIFY(!factory->GetDatabase()->rollback());
}

void TestHostTransaction::aFailedStatementIsTheLastFailure()
{
    {
        const HostTransaction transaction(*factory);
        // Like a full disk, this makes SQLite roll the whole transaction back.
        QVERIFY(!run(u"INSERT OR ROLLBACK INTO ServerConfiguration (id) VALUES (7), (7)"_s));
    }

    QCOMPARE(factory->failureCount(), 1);
    QCOMPARE(factory->lastFailure()->kind, Failure::Kind::Statement);
    QVERIFY(factory->lastFailure()->text.contains(u"UNIQUE"));
}

// Like a host that throws between transaction() and commit().
void TestHostTransaction::abandonTransaction() const
{
    try {
        const auto database = factory->GetDatabase();
        database->transaction();
        throw std::runtime_error("left");
    } catch (const std::runtime_error&) {
    }
}

void TestHostTransaction::aWriteUnderAnAbandonedTransactionIsReportedOnce()
{
    const CapturedWarnings warnings;
    abandonTransaction();
    QCOMPARE(factory->failureCount(), 0);

    QVERIFY(addServer());
    QVERIFY(addServer());

    QCOMPARE(factory->failureCount(), 1);
    QVERIFY(factory->lastFailure()->text.contains(u"HostTransaction"));
    QCOMPARE(warnings.texts().size(), 1);
    QVERIFY(factory->GetDatabase()->commit());
    QCOMPARE(committedServers(), u"2"_s);
}

void TestHostTransaction::aTransactionThatIsEndedAfterAnExceptionIsNotReported()
{
    abandonTransaction();
    QVERIFY(factory->GetDatabase()->rollback());

    QVERIFY(addServer());

    QCOMPARE(factory->failureCount(), 0);
    QCOMPARE(committedServers(), u"1"_s);
}

QTEST_GUILESS_MAIN(TestHostTransaction)
#include "TestHostTransaction.moc"
