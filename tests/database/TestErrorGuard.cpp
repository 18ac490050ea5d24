#include <support/RawDatabase.h>

#include <database/ErrorGuard.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/TransactionalScope.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::ErrorGuard;
using sync::database::Failure;
using sync::database::SqliteDatabaseFactory;
using sync::database::TransactionalScope;
using sync::test::RawDatabase;
using Cause = DatabaseError::Cause;

/// Also what the guard reads: the factory's count, last failure and listeners.
class TestErrorGuard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void nothingHasFailedOfWhatSucceeds();
    void failedReadCounts();
    void textThatDoesNotPrepareCountsWhenItIsTried();
    void failedWriteCounts();
    void failedRowCounts();
    void failedTransactionCounts();
    void failedCommitAtTheEndOfAScopeCounts();
    void missingConnectionCounts();
    void failureOfAnotherThreadCounts();
    void failuresOfManyThreadsAreAllCounted();
    void earlierFailuresDoNotCount();
    void busyIsReported();
    void everyListenerGetsEachFailure();
    void boundValuesAreNotReported();

private:
    bool run(const QString& sql) const
    {
        const auto query = factory->CreateQuery();
        query->prepare(sql);
        return query->exec();
    }
    QString path() const { return folder->filePath(u"store.db"_s); }

    std::unique_ptr<QTemporaryDir> folder;
    std::shared_ptr<SqliteDatabaseFactory> factory;
};

void TestErrorGuard::initTestCase()
{
    // Transactions that fail are logged as well.
    QLoggingCategory::setFilterRules(u"velmio.database=false"_s);
}

void TestErrorGuard::init()
{
    factory.reset();
    folder = std::make_unique<QTemporaryDir>();
    factory = SqliteDatabaseFactory::open(path());
}

void TestErrorGuard::nothingHasFailedOfWhatSucceeds()
{
    const ErrorGuard guard(*factory);

    QVERIFY(run(u"INSERT INTO ServerConfiguration (alias) VALUES ('a')"_s));
    const auto query = factory->CreateQuery();
    query->prepare(u"SELECT id FROM ServerConfiguration WHERE id = 12"_s);
    QVERIFY(query->exec() && !query->next());
    QVERIFY(factory->GetDatabase()->transaction());
    QVERIFY(factory->GetDatabase()->rollback());

    QVERIFY(!guard.failed());
    QCOMPARE(factory->failureCount(), 0);
    QVERIFY(!factory->lastFailure());
}

void TestErrorGuard::failedReadCounts()
{
    const ErrorGuard guard(*factory);
    const auto query = factory->CreateQuery();
    query->prepare(u"SELECT abs(-9223372036854775807 - 1)"_s);

    QVERIFY(!query->exec());

    QVERIFY(guard.failed());
    QCOMPARE(factory->failureCount(), 1);
    QCOMPARE(factory->lastFailure()->cause, Cause::Other);
    QCOMPARE(factory->lastFailure()->text, query->lastError());
}

void TestErrorGuard::textThatDoesNotPrepareCountsWhenItIsTried()
{
    const ErrorGuard guard(*factory);
    const auto query = factory->CreateQuery();

    QVERIFY(!query->prepare(u"SELECT nothing FROM nowhere"_s));
    const bool failedBefore = guard.failed();
    QVERIFY(!query->exec());

    QVERIFY(!failedBefore);
    QVERIFY(guard.failed());
    QCOMPARE(factory->failureCount(), 1);
}

void TestErrorGuard::failedWriteCounts()
{
    const ErrorGuard guard(*factory);

    QVERIFY(!run(u"INSERT INTO Schedules (id) VALUES (1)"_s));

    QVERIFY(guard.failed());
    QCOMPARE(factory->failureCount(), 1);
    QVERIFY(factory->lastFailure()->text.contains(u"UNIQUE"_s));
}

void TestErrorGuard::failedRowCounts()
{
    const ErrorGuard guard(*factory);
    const auto query = factory->CreateQuery();
    query->prepare(u"WITH numbers(n) AS (VALUES (1), (-9223372036854775807 - 1))"
                   u" SELECT abs(n) FROM numbers"_s);
    QVERIFY(query->exec() && query->next());
    QVERIFY(!guard.failed());

    QVERIFY(!query->next());

    QVERIFY(guard.failed());
    QCOMPARE(factory->failureCount(), 1);
}

void TestErrorGuard::failedTransactionCounts()
{
    const ErrorGuard guard(*factory);
    const auto database = factory->GetDatabase();

    QVERIFY(!database->commit());
    QVERIFY(!database->rollback());

    QVERIFY(guard.failed());
    QCOMPARE(factory->failureCount(), 2);
    QCOMPARE(factory->lastFailure()->text, u"no transaction is open on this thread"_s);
}

void TestErrorGuard::failedCommitAtTheEndOfAScopeCounts()
{
    QVERIFY(run(u"CREATE TABLE Child (server INTEGER REFERENCES ServerConfiguration (id)"
                u" DEFERRABLE INITIALLY DEFERRED)"_s));
    QVERIFY(run(u"PRAGMA foreign_keys = ON"_s));
    const ErrorGuard guard(*factory);

    {
        const TransactionalScope outer;
        const TransactionalScope inner;
        QVERIFY(run(u"INSERT INTO Child VALUES (77)"_s));
        QVERIFY(!guard.failed());
    }

    QVERIFY(guard.failed());
    QCOMPARE(factory->failureCount(), 1);
    QVERIFY(factory->lastFailure()->text.contains(u"FOREIGN KEY"_s));
}

void TestErrorGuard::missingConnectionCounts()
{
    const ErrorGuard guard(*factory);
    const auto holdsTheOnlyConnection = factory->CreateQuery();
    QVERIFY(QFile::rename(folder->path(), folder->path() + u".away"_s));
    bool failedBefore = false;
    bool failedLater = false;

    std::thread([&] {
        const auto query = factory->CreateQuery();
        failedBefore = guard.failed();
        const ErrorGuard later(*factory);
        query->exec();
        failedLater = later.failed();
    }).join();
    QVERIFY(QFile::rename(folder->path() + u".away"_s, folder->path()));

    QVERIFY(failedBefore);
    QVERIFY(failedLater);
    QVERIFY(factory->lastFailure()->text.contains(path()));
}

void TestErrorGuard::failureOfAnotherThreadCounts()
{
    const ErrorGuard guard(*factory);

    std::thread([this] { run(u"SELECT nothing FROM nowhere"_s); }).join();

    QVERIFY(guard.failed());
}

void TestErrorGuard::failuresOfManyThreadsAreAllCounted()
{
    constexpr int Threads = 4;
    constexpr int Rounds = 100;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([this] {
            for (int round = 0; round < Rounds; ++round) {
                run(u"SELECT nothing FROM nowhere"_s);
                factory->lastFailure();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();

    QCOMPARE(factory->failureCount(), Threads * Rounds);
}

void TestErrorGuard::earlierFailuresDoNotCount()
{
    run(u"SELECT nothing FROM nowhere"_s);

    const ErrorGuard guard(*factory);

    QVERIFY(!guard.failed());
    QVERIFY(factory->lastFailure());
}

void TestErrorGuard::busyIsReported()
{
    const auto other = SqliteDatabaseFactory::open(path());
    std::thread([&other] { other->GetDatabase()->transaction(); }).join();
    QVERIFY(other->GetDatabase()->transaction());

    QVERIFY(!factory->GetDatabase()->transaction());

    QCOMPARE(factory->lastFailure()->cause, Cause::Busy);
}

void TestErrorGuard::everyListenerGetsEachFailure()
{
    QStringList first;
    QStringList second;
    auto listening = factory->onFailure([&](const Failure& failure) { first += failure.text; });
    const auto other = factory->onFailure([&](const Failure& failure) { second += failure.text; });

    run(u"SELECT one FROM nowhere"_s);
    run(u"INSERT INTO Schedules (id) VALUES (1)"_s);
    listening.end();
    run(u"SELECT two FROM nowhere"_s);

    QCOMPARE(first.size(), 2);
    QVERIFY(first.at(0).contains(u"nowhere"_s));
    QVERIFY(first.at(1).contains(u"Schedules.id"_s));
    QCOMPARE(second.size(), 3);
}

void TestErrorGuard::boundValuesAreNotReported()
{
    QVERIFY(run(u"CREATE UNIQUE INDEX OneAlias ON ServerConfiguration (alias)"_s));
    const QString text = u"INSERT INTO ServerConfiguration (alias) VALUES (:alias)"_s;
    for (int round = 0; round < 2; ++round) {
        const auto query = factory->CreateQuery();
        query->prepare(text);
        query->bindValue(u":alias"_s, u"mellon"_s);
        QCOMPARE(query->exec(), round == 0);
    }

    QVERIFY(!factory->lastFailure()->text.contains(u"mellon"_s));
}

QTEST_GUILESS_MAIN(TestErrorGuard)
#include "TestErrorGuard.moc"
