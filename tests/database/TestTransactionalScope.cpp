#include <support/RawDatabase.h>

#include <database/SqliteDatabaseFactory.h>
#include <database/TransactionalScope.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>

using namespace Qt::StringLiterals;
using sync::database::Failure;
using sync::database::SqliteDatabaseFactory;
using sync::database::TransactionalScope;
using sync::test::RawDatabase;

namespace {

const QString CountServers = u"SELECT count(*) FROM ServerConfiguration"_s;

// Makes the next COMMIT on this thread's connection fail, as a full disk might.
const QString BreakCommits =
    u"CREATE TABLE Child (parent INTEGER REFERENCES Schedules (id) DEFERRABLE INITIALLY DEFERRED)"_s;
const QString CheckReferences = u"PRAGMA foreign_keys = ON"_s;
const QString InsertOrphan = u"INSERT INTO Child VALUES (4711)"_s;

QStringList logged;
std::atomic<bool> threadIsDone = false;

// A failed assertion ends the thread's work instead of the program.
void logAndStopThread(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    logged.append(text);
    if (type != QtFatalMsg)
        return;
    threadIsDone = true;
    for (;;)
        std::this_thread::sleep_for(std::chrono::hours(1));
}

} // namespace

class TestTransactionalScope : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void countsTheScopesOfItsThread();
    void withoutAFactoryItOnlyCounts();
    void aWriteWithoutScopeIsCommittedWithinExec();
    void aWriteAloneInItsScopeIsCommittedWithinExec();
    void nestedWritesJoinOneTransactionThatTheOutermostScopeEnds();
    void aReadInTheScopeSeesItsWrites();
    void commitOfTheOutermostScopeMakesEverythingDurable();
    void commitOfANestedScopeDoesNothing();
    void writesAfterCommitBeginANewTransaction();
    void anExceptionRollsTheTransactionBack();
    void anExceptionThatIsCaughtInsideLeavesTheOuterScopeWhole();
    void aScopeOpenedDuringUnwindingStillCommits();
    void aCommitThatFailsAtTheEndIsRolledBackCountedAndDelivered();
    void aScopeTellsThatItsCommitFailed();
    void scopesOverTwoDatabasesEndBoth();
    void aScopeOutlivesTheFactoryThatItJoined();
    void hostTransactionsAreDurableWithTheirCommitOnly();
    void hostTransactionsAreUndoneByRollback();
    void scopesInsideAHostTransactionEndNothing();
    void transactionsDoNotNest();
    void endingATransactionThatNobodyBeganFails();
    void aThreadThatEndsInATransactionLosesItAndFreesTheLock();
    void anotherThreadDoesNotJoinTheScopesOfThisOne();
    void aScopeThatEndsOnAnotherThreadIsLoggedAndRolledBack();
    void aThreadThatEndsInAScopeLosesItAndFreesTheLock();

private:
    bool run(const QString& sql);
    bool addServer(const QString& alias);
    bool addServerInOwnScope(const QString& alias);
    int committedServers();

    std::unique_ptr<QTemporaryDir> folder;
    std::shared_ptr<SqliteDatabaseFactory> factory;
};

void TestTransactionalScope::init()
{
    folder = std::make_unique<QTemporaryDir>();
    factory = SqliteDatabaseFactory::open(folder->filePath(u"store.db"_s));
}

void TestTransactionalScope::cleanup()
{
    factory.reset();
    QCOMPARE(TransactionalScope::depth(), 0);
}

bool TestTransactionalScope::run(const QString& sql)
{
    const auto query = factory->CreateQuery();
    query->prepare(sql);
    return query->exec();
}

bool TestTransactionalScope::addServer(const QString& alias)
{
    return run(u"INSERT INTO ServerConfiguration (alias) VALUES ('%1')"_s.arg(alias));
}

bool TestTransactionalScope::addServerInOwnScope(const QString& alias)
{
    const TransactionalScope scope;
    return addServer(alias);
}

int TestTransactionalScope::committedServers()
{
    return RawDatabase(factory->path()).value(CountServers).toInt();
}

void TestTransactionalScope::countsTheScopesOfItsThread()
{
    QCOMPARE(TransactionalScope::depth(), 0);
    {
        const TransactionalScope outer;
        QCOMPARE(TransactionalScope::depth(), 1);
        {
            const TransactionalScope inner;
            QCOMPARE(TransactionalScope::depth(), 2);
        }
        int depthElsewhere = -1;
        std::thread([&] { depthElsewhere = TransactionalScope::depth(); }).join();
        QCOMPARE(depthElsewhere, 0);
        QCOMPARE(TransactionalScope::depth(), 1);
    }
    QCOMPARE(TransactionalScope::depth(), 0);
}

void TestTransactionalScope::withoutAFactoryItOnlyCounts()
{
    factory.reset();

    TransactionalScope scope;
    scope.commit();

    QCOMPARE(TransactionalScope::depth(), 1);
}

void TestTransactionalScope::aWriteWithoutScopeIsCommittedWithinExec()
{
    QVERIFY(addServer(u"a"_s));

    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::aWriteAloneInItsScopeIsCommittedWithinExec()
{
    const TransactionalScope scope;

    QVERIFY(addServer(u"a"_s));

    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::nestedWritesJoinOneTransactionThatTheOutermostScopeEnds()
{
    {
        const TransactionalScope outer;
        QVERIFY(addServerInOwnScope(u"a"_s));
        QVERIFY(addServerInOwnScope(u"b"_s));
        QCOMPARE(committedServers(), 0);
    }

    QCOMPARE(committedServers(), 2);
}

void TestTransactionalScope::aReadInTheScopeSeesItsWrites()
{
    const TransactionalScope outer;
    QVERIFY(addServerInOwnScope(u"a"_s));

    const auto query = factory->CreateQuery();
    query->prepare(CountServers);
    QVERIFY(query->exec());
    QVERIFY(query->next());

    QCOMPARE(query->value(0).toInt(), 1);
}

void TestTransactionalScope::commitOfTheOutermostScopeMakesEverythingDurable()
{
    TransactionalScope outer;
    QVERIFY(addServerInOwnScope(u"a"_s));

    outer.commit();

    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::commitOfANestedScopeDoesNothing()
{
    const TransactionalScope outer;
    {
        TransactionalScope inner;
        QVERIFY(addServer(u"a"_s));
        inner.commit();
    }

    QCOMPARE(committedServers(), 0);
}

void TestTransactionalScope::writesAfterCommitBeginANewTransaction()
{
    {
        TransactionalScope outer;
        QVERIFY(addServerInOwnScope(u"a"_s));
        outer.commit();
        QVERIFY(addServerInOwnScope(u"b"_s));
        QCOMPARE(committedServers(), 1);
    }

    QCOMPARE(committedServers(), 2);
}

void TestTransactionalScope::anExceptionRollsTheTransactionBack()
{
    try {
        const TransactionalScope outer;
        QVERIFY(addServerInOwnScope(u"a"_s));
        throw std::runtime_error("left");
    } catch (const std::runtime_error&) {
    }

    QCOMPARE(committedServers(), 0);
    QVERIFY(addServer(u"b"_s));
}

void TestTransactionalScope::anExceptionThatIsCaughtInsideLeavesTheOuterScopeWhole()
{
    {
        const TransactionalScope outer;
        try {
            const TransactionalScope inner;
            QVERIFY(addServer(u"a"_s));
            throw std::runtime_error("left");
        } catch (const std::runtime_error&) {
        }
    }

    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::aScopeOpenedDuringUnwindingStillCommits()
{
    struct WritesWhenItGoes
    {
        TestTransactionalScope& test;
        ~WritesWhenItGoes()
        {
            const TransactionalScope outer;
            test.addServerInOwnScope(u"a"_s);
        }
    };

    try {
        const WritesWhenItGoes writer{*this};
        throw std::runtime_error("left");
    } catch (const std::runtime_error&) {
    }

    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::aCommitThatFailsAtTheEndIsRolledBackCountedAndDelivered()
{
    QVERIFY(run(BreakCommits));
    QVERIFY(run(CheckReferences));
    Failure delivered;
    const auto listening = factory->onFailure([&](const Failure& failure) { delivered = failure; });
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(u"Changes to .* were rolled back.*FOREIGN KEY"_s));

    {
        const TransactionalScope outer;
        QVERIFY(addServerInOwnScope(u"a"_s));
        const TransactionalScope inner;
        QVERIFY(run(InsertOrphan));
    }

    QCOMPARE(committedServers(), 0);
    QCOMPARE(factory->failureCount(), 1);
    QCOMPARE(delivered.kind, Failure::Kind::Commit);
    QVERIFY(delivered.text.contains(u"FOREIGN KEY constraint failed"));
    QVERIFY(addServer(u"b"_s));
    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::aScopeTellsThatItsCommitFailed()
{
    QVERIFY(run(BreakCommits));
    QVERIFY(run(CheckReferences));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"Changes to .* were rolled back"_s));
    TransactionalScope outer;
    {
        const TransactionalScope inner;
        QVERIFY(run(InsertOrphan));
    }

    outer.commit();

    QVERIFY(outer.commitFailed());
    QVERIFY(addServerInOwnScope(u"a"_s));
    outer.commit();
    QVERIFY(!outer.commitFailed());
    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::scopesOverTwoDatabasesEndBoth()
{
    const auto other = SqliteDatabaseFactory::open(folder->filePath(u"other.db"_s));
    {
        const TransactionalScope outer;
        QVERIFY(addServerInOwnScope(u"a"_s));
        const TransactionalScope inner;
        const auto query = other->CreateQuery();
        query->prepare(u"INSERT INTO ServerConfiguration (alias) VALUES ('x')"_s);
        QVERIFY(query->exec());
    }

    QCOMPARE(committedServers(), 1);
    QCOMPARE(RawDatabase(other->path()).value(CountServers), u"1"_s);
}

void TestTransactionalScope::aScopeOutlivesTheFactoryThatItJoined()
{
    const QString path = factory->path();
    {
        const TransactionalScope outer;
        QVERIFY(addServerInOwnScope(u"a"_s));
        factory.reset();
    }

    QCOMPARE(RawDatabase(path).value(CountServers), u"1"_s);
}

void TestTransactionalScope::hostTransactionsAreDurableWithTheirCommitOnly()
{
    const auto database = factory->GetDatabase();
    QVERIFY(database->transaction());
    QVERIFY(addServerInOwnScope(u"a"_s));
    QVERIFY(addServer(u"b"_s));
    QCOMPARE(committedServers(), 0);

    QVERIFY(database->commit());

    QCOMPARE(committedServers(), 2);
}

void TestTransactionalScope::hostTransactionsAreUndoneByRollback()
{
    QVERIFY(factory->GetDatabase()->transaction());
    QVERIFY(addServerInOwnScope(u"a"_s));

    QVERIFY(factory->GetDatabase()->rollback());

    QCOMPARE(committedServers(), 0);
}

void TestTransactionalScope::scopesInsideAHostTransactionEndNothing()
{
    QVERIFY(factory->GetDatabase()->transaction());
    {
        TransactionalScope outer;
        QVERIFY(addServerInOwnScope(u"a"_s));
        outer.commit();
    }
    QCOMPARE(committedServers(), 0);

    QVERIFY(factory->GetDatabase()->commit());

    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::transactionsDoNotNest()
{
    const auto database = factory->GetDatabase();
    QVERIFY(database->transaction());
    QTest::ignoreMessage(QtWarningMsg, "a transaction is already open on this thread");

    QVERIFY(!database->transaction());

    QVERIFY(addServer(u"a"_s));
    QVERIFY(database->commit());
    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::endingATransactionThatNobodyBeganFails()
{
    const auto database = factory->GetDatabase();
    for (int call = 0; call < 3; ++call)
        QTest::ignoreMessage(QtWarningMsg, "no transaction is open on this thread");

    QVERIFY(!database->commit());
    QVERIFY(!database->rollback());

    // That of a scope belongs to the scope.
    {
        const TransactionalScope outer;
        QVERIFY(addServerInOwnScope(u"a"_s));
        QVERIFY(!database->commit());
        QCOMPARE(committedServers(), 0);
    }
    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::aThreadThatEndsInATransactionLosesItAndFreesTheLock()
{
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(u"A thread ended without ending its transaction on .*"_s));

    std::thread([this] {
        factory->GetDatabase()->transaction();
        addServer(u"a"_s);
    }).join();

    QVERIFY(addServer(u"b"_s));
    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::anotherThreadDoesNotJoinTheScopesOfThisOne()
{
    const TransactionalScope outer;
    const TransactionalScope inner;
    bool added = false;

    std::thread([&] { added = addServer(u"a"_s); }).join();

    QVERIFY(added);
    QCOMPARE(committedServers(), 1);
}

void TestTransactionalScope::aScopeThatEndsOnAnotherThreadIsLoggedAndRolledBack()
{
    auto outer = std::make_unique<TransactionalScope>();
    QVERIFY(addServerInOwnScope(u"lost"_s));
    logged.clear();
    threadIsDone = false;
    const auto previous = qInstallMessageHandler(logAndStopThread);
    std::thread([scope = std::move(outer)]() mutable {
        scope.reset();
        threadIsDone = true;
    }).detach();
    while (!threadIsDone)
        std::this_thread::yield();
    qInstallMessageHandler(previous);

    QVERIFY(addServer(u"kept"_s));

    QVERIFY(logged.first().contains(u"ended on another thread than it began on"));
#ifndef QT_NO_DEBUG
    QCOMPARE(logged.size(), 2); // the assertion
#endif
    QCOMPARE(TransactionalScope::depth(), 0);
    QCOMPARE(committedServers(), 1);
    QCOMPARE(
        RawDatabase(factory->path()).value(u"SELECT alias FROM ServerConfiguration"_s), u"kept"_s);
}

void TestTransactionalScope::aThreadThatEndsInAScopeLosesItAndFreesTheLock()
{
    std::thread([this] {
        // Never destroyed.
        alignas(TransactionalScope) static std::byte place[sizeof(TransactionalScope)];
        new (place) TransactionalScope;
        addServerInOwnScope(u"lost"_s);
    }).join();

    QVERIFY(addServer(u"kept"_s));
    QCOMPARE(committedServers(), 1);
}

QTEST_GUILESS_MAIN(TestTransactionalScope)
#include "TestTransactionalScope.moc"
