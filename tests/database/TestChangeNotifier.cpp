#include <support/CapturedWarnings.h>
#include <support/RawDatabase.h>
#include <support/TemporaryPlace.h>

#include <config/FolderConfigManager.h>
#include <database/ChangeNotifier.h>
#include <database/HostTransaction.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/TransactionalScope.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using sync::config::FolderConfigManager;
using sync::config::FolderConfiguration;
using sync::database::AllRecordKinds;
using sync::database::ChangeNotifier;
using sync::database::Failure;
using sync::database::HostTransaction;
using sync::database::Listening;
using sync::database::RecordKind;
using sync::database::RecordKinds;
using sync::database::SqliteDatabaseFactory;
using sync::database::TransactionalScope;
using sync::test::CapturedWarnings;
using sync::test::RawDatabase;

namespace {

using Kinds = QList<RecordKinds>;

const Kinds Servers{RecordKind::Server};
const Kinds Products{RecordKind::Product};
const Kinds ServersAndProducts{RecordKind::Server | RecordKind::Product};
const Kinds Everything{AllRecordKinds};
const Kinds Nothing{};

const QString AddServer = u"INSERT INTO ServerConfiguration (alias) VALUES ('a')"_s;
const QString AddProduct = u"INSERT INTO ProductConfiguration (name) VALUES ('p')"_s;

// Stops waiting after a time in which a deadlock is certain.
void waitFor(const std::atomic<bool>& flag)
{
    QDeadlineTimer limit(20s);
    while (!flag && !limit.hasExpired())
        std::this_thread::yield();
}

} // namespace

class TestChangeNotifier : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void reportsAWriteFromItsEventLoop();
    void reportsAWriteOfAnotherThread();
    void reportsManyCommitsOnce();
    void reportsNestedScopesWhenTheyHaveEnded();
    void reportsATransactionWithItsCommit();
    void doesNotReportWhatIsRolledBack();
    void doesNotReportAStatementThatChangesNoRow();
    void reportsTheDeletionOfEveryRow();
    void reportsWhatATriggerChanges();
    void reportsWhatAFailedStatementLeaves();
    void reportsAnotherProcess();
    void pollsByItself();
    void doesNotTakeOwnCommitsForThoseOfOthers();
    void findsOthersAmongOwnCommits();
    void reportsAnotherFactoryOfTheFile();
    void withoutAWalEveryCommitIsExternal();
    void eachOfTwoNotifiersReports();
    void reportsOnTheThreadThatItLivesOn();
    void aNotifierMayBeDestroyedDuringWrites();
    void theFactoryMayBeDestroyedFirst();
    void aHostClearsTheFolderCacheByIt();
    void otherTablesAreOneKind();
    void aPollDoesNotWaitForATransaction();
    void aCommitDoesNotWaitForAPoll();
    void aPollDoesNotWaitForACommit();
    void aWriterDoesNotWaitForAListener();
    void aListenerThatHasEndedIsNotRunning();
    void aListenerMayEndItself();
    void aHandleMayOutliveItsFactory();

private:
    bool run(const QString& sql);
    void runElsewhere(const QString& sql) const;
    Kinds reported();

    std::unique_ptr<QTemporaryDir> folder;
    std::shared_ptr<SqliteDatabaseFactory> factory;
    std::unique_ptr<ChangeNotifier> notifier;
    std::unique_ptr<QSignalSpy> spy;
};

void TestChangeNotifier::init()
{
    folder = std::make_unique<QTemporaryDir>(sync::test::temporaryPlaceInMemory());
    factory = SqliteDatabaseFactory::open(folder->filePath(u"store.db"_s));
    notifier = std::make_unique<ChangeNotifier>(factory);
    notifier->setPollInterval(0ms);
    spy = std::make_unique<QSignalSpy>(notifier.get(), &ChangeNotifier::changed);
}

void TestChangeNotifier::cleanup()
{
    spy.reset();
    notifier.reset();
    factory.reset();
}

bool TestChangeNotifier::run(const QString& sql)
{
    const auto query = factory->CreateQuery();
    query->prepare(sql);
    return query->exec();
}

// By another process.
void TestChangeNotifier::runElsewhere(const QString& sql) const
{
    QProcess process;
    process.start(u"sqlite3"_s, {factory->path(), sql});
    QVERIFY2(process.waitForFinished(), qPrintable(process.errorString()));
    QCOMPARE(QString::fromUtf8(process.readAllStandardError()), QString());
    QCOMPARE(process.exitCode(), 0);
}

// What each signal since the last call has named.
Kinds TestChangeNotifier::reported()
{
    notifier->poll();
    QCoreApplication::processEvents();
    Kinds kinds;
    for (const QVariantList& signal : std::as_const(*spy))
        kinds.append(signal.first().value<RecordKinds>());
    spy->clear();
    return kinds;
}

void TestChangeNotifier::reportsAWriteFromItsEventLoop()
{
    QVERIFY(run(AddServer));
    QCOMPARE(spy->count(), 0);

    QCOMPARE(reported(), Servers);
    QCOMPARE(reported(), Nothing);
}

void TestChangeNotifier::reportsAWriteOfAnotherThread()
{
    std::thread([this] { run(AddServer); }).join();

    QCOMPARE(reported(), Servers);
}

void TestChangeNotifier::reportsManyCommitsOnce()
{
    for (int commit = 0; commit < 10; ++commit) {
        QVERIFY(run(AddServer));
        QVERIFY(run(AddProduct));
    }

    QCOMPARE(reported(), ServersAndProducts);
}

void TestChangeNotifier::reportsNestedScopesWhenTheyHaveEnded()
{
    {
        const TransactionalScope outer;
        {
            const TransactionalScope inner;
            QVERIFY(run(AddServer));
        }
        QCOMPARE(reported(), Nothing);
    }

    QCOMPARE(reported(), Servers);
}

void TestChangeNotifier::reportsATransactionWithItsCommit()
{
    QVERIFY(factory->GetDatabase()->transaction());
    QVERIFY(run(AddServer));
    QVERIFY(run(AddProduct));
    QCOMPARE(reported(), Nothing);

    QVERIFY(factory->GetDatabase()->commit());

    QCOMPARE(reported(), ServersAndProducts);
}

void TestChangeNotifier::doesNotReportWhatIsRolledBack()
{
    QVERIFY(factory->GetDatabase()->transaction());
    QVERIFY(run(AddServer));
    QVERIFY(factory->GetDatabase()->rollback());
    try {
        const TransactionalScope outer;
        const TransactionalScope inner;
        QVERIFY(run(AddServer));
        throw std::runtime_error("left");
    } catch (const std::runtime_error&) {
    }
    // Its first row is undone with the second.
    QVERIFY(!run(u"INSERT INTO ServerConfiguration (id) VALUES (7), (7)"_s));
    QCOMPARE(reported(), Nothing);

    QVERIFY(run(AddProduct));

    QCOMPARE(reported(), Products);
}

void TestChangeNotifier::doesNotReportAStatementThatChangesNoRow()
{
    QVERIFY(run(u"UPDATE ServerConfiguration SET alias = 'b' WHERE id = 4711"_s));
    QVERIFY(run(u"DELETE FROM ServerConfiguration"_s));
    QVERIFY(run(u"SELECT * FROM ServerConfiguration"_s));
    QVERIFY(run(u"CREATE TABLE Further (id)"_s));

    QCOMPARE(reported(), Nothing);
}

void TestChangeNotifier::reportsTheDeletionOfEveryRow()
{
    QVERIFY(run(AddServer));
    QCOMPARE(reported(), Servers);

    QVERIFY(run(u"DELETE FROM ServerConfiguration"_s));

    QCOMPARE(reported(), Servers);
}

void TestChangeNotifier::reportsWhatATriggerChanges()
{
    QVERIFY(run(u"CREATE TEMP TRIGGER AlsoAProduct AFTER INSERT ON ServerConfiguration"
                u" BEGIN INSERT INTO ProductConfiguration (name) VALUES (NEW.alias); END"_s));

    QVERIFY(run(AddServer));

    QCOMPARE(reported(), ServersAndProducts);
}

void TestChangeNotifier::reportsWhatAFailedStatementLeaves()
{
    QVERIFY(!run(u"INSERT OR FAIL INTO ServerConfiguration (id) VALUES (7), (7)"_s));

    // SQLite calls no hook for such a commit, so it counts as external.
    QCOMPARE(reported(), Everything);
    QCOMPARE(RawDatabase(factory->path()).value(u"SELECT id FROM ServerConfiguration"_s), u"7"_s);
}

void TestChangeNotifier::reportsAnotherProcess()
{
    runElsewhere(AddServer);
    QCOMPARE(reported(), Everything);

    runElsewhere(u"SELECT * FROM ServerConfiguration"_s);
    runElsewhere(u"BEGIN; DELETE FROM Schedules; ROLLBACK"_s);
    QCOMPARE(reported(), Nothing);

    runElsewhere(u"PRAGMA wal_checkpoint(RESTART)"_s);
    runElsewhere(AddServer);
    QCOMPARE(reported(), Everything);
}

void TestChangeNotifier::pollsByItself()
{
    notifier->setPollInterval(10ms);

    runElsewhere(AddServer);

    QVERIFY(spy->wait());
    QCOMPARE(spy->takeFirst().first().value<RecordKinds>(), AllRecordKinds);
}

void TestChangeNotifier::doesNotTakeOwnCommitsForThoseOfOthers()
{
    constexpr int Threads = 3;
    std::atomic<int> running = Threads;
    std::vector<std::thread> writers;
    for (int thread = 0; thread < Threads; ++thread) {
        writers.emplace_back([&] {
            for (int commit = 0; commit < 300; ++commit)
                run(AddServer);
            --running;
        });
    }
    Kinds kinds;
    while (running > 0)
        kinds += reported();
    for (std::thread& writer : writers)
        writer.join();
    kinds += reported();

    QCOMPARE(kinds.count(RecordKind::Server), kinds.size());
}

void TestChangeNotifier::findsOthersAmongOwnCommits()
{
    for (int round = 0; round < 5; ++round) {
        QVERIFY(run(AddServer));
        runElsewhere(AddProduct);
        QVERIFY(run(AddServer));

        QCOMPARE(reported(), Everything);
        QVERIFY(run(AddServer));
        QCOMPARE(reported(), Servers);
    }
}

void TestChangeNotifier::reportsAnotherFactoryOfTheFile()
{
    const auto other = SqliteDatabaseFactory::open(factory->path());
    const auto query = other->CreateQuery();
    query->prepare(AddServer);
    QVERIFY(query->exec());

    QCOMPARE(reported(), Everything);
}

void TestChangeNotifier::withoutAWalEveryCommitIsExternal()
{
    cleanup();
    const CapturedWarnings warnings;
    const QString path = folder->filePath(u"store.db"_s);
    {
        RawDatabase locking(path);
        locking.run(u"PRAGMA journal_mode = DELETE"_s);
        locking.run(u"BEGIN; SELECT * FROM Schedules"_s);
        factory = SqliteDatabaseFactory::open(path);
    }
    QVERIFY(!factory->hasWriteAheadLog());
    notifier = std::make_unique<ChangeNotifier>(factory);
    spy = std::make_unique<QSignalSpy>(notifier.get(), &ChangeNotifier::changed);

    QVERIFY(run(AddServer));
    QCOMPARE(reported(), Everything);
    runElsewhere(AddServer);
    QCOMPARE(reported(), Everything);
    QCOMPARE(reported(), Nothing);
}

void TestChangeNotifier::eachOfTwoNotifiersReports()
{
    ChangeNotifier second(factory);
    QSignalSpy secondSpy(&second, &ChangeNotifier::changed);

    QVERIFY(run(AddServer));
    QCOMPARE(reported(), Servers);
    QCOMPARE(secondSpy.takeFirst().first().value<RecordKinds>(), RecordKind::Server);

    runElsewhere(AddServer);
    QCOMPARE(reported(), Everything);
    QCOMPARE(secondSpy.takeFirst().first().value<RecordKinds>(), AllRecordKinds);
}

void TestChangeNotifier::reportsOnTheThreadThatItLivesOn()
{
    QThread elsewhere;
    auto moved = std::make_unique<ChangeNotifier>(factory);
    moved->moveToThread(&elsewhere);
    std::atomic<QThread*> deliveredOn = nullptr;
    connect(moved.get(), &ChangeNotifier::changed, moved.get(), [&deliveredOn] {
        deliveredOn = QThread::currentThread();
    });
    elsewhere.start();

    QVERIFY(run(AddServer));

    QTRY_COMPARE(deliveredOn.load(), &elsewhere);
    // It is deleted in the thread where it lives.
    connect(&elsewhere, &QThread::finished, moved.release(), &QObject::deleteLater);
    elsewhere.quit();
    QVERIFY(elsewhere.wait());
}

void TestChangeNotifier::aNotifierMayBeDestroyedDuringWrites()
{
    std::atomic<int> written = 0;
    std::atomic<bool> ended = false;
    std::thread writer([&] {
        while (!ended)
            written += run(AddServer) ? 1 : 0;
    });
    while (written < 100) {
        ChangeNotifier passing(factory);
        passing.poll();
    }
    ended = true;
    writer.join();

    QCOMPARE(reported(), Servers);
}

void TestChangeNotifier::theFactoryMayBeDestroyedFirst()
{
    const QString path = factory->path();
    QVERIFY(run(AddServer));
    QVERIFY(QFileInfo::exists(path + u"-wal"_s));

    factory.reset();

    // Nothing keeps the file in use, and what was committed is reported.
    QVERIFY(!QFileInfo::exists(path + u"-wal"_s));
    QCOMPARE(reported(), Servers);
}

void TestChangeNotifier::aHostClearsTheFolderCacheByIt()
{
    FolderConfigManager folders(factory, nullptr);
    connect(notifier.get(), &ChangeNotifier::changed, this, [&](RecordKinds kinds) {
        if (kinds.testFlag(RecordKind::Folder))
            folders.ClearCaches();
    });
    FolderConfiguration root;
    root.setParentId(0);
    root.setClientPath(u"/home/a/Documents"_s);
    QVERIFY(folders.Add(root));
    QCOMPARE(reported(), Kinds{RecordKind::Folder});
    QCOMPARE(folders.GetAll().size(), 1);

    // The cache lasts a second, which is too short for a process on a busy machine.
    RawDatabase(factory->path())
        .run(u"INSERT INTO FolderConfiguration (clientPath, parentId) VALUES ('/b', 0)"_s);
    QCOMPARE(folders.GetAll().size(), 1);
    QCOMPARE(reported(), Everything);

    QCOMPARE(folders.GetAll().size(), 2);
}

void TestChangeNotifier::otherTablesAreOneKind()
{
    QVERIFY(run(u"CREATE TABLE Further (id)"_s));

    QVERIFY(run(u"INSERT INTO Further VALUES (1)"_s));

    QCOMPARE(reported(), Kinds{RecordKind::Other});
    QCOMPARE(sync::database::recordKindOf(u"schedules"), RecordKind::Schedule);
}

void TestChangeNotifier::aPollDoesNotWaitForATransaction()
{
    runElsewhere(AddServer);
    HostTransaction transaction(*factory);
    QVERIFY(transaction.isOpen());
    QVERIFY(run(AddProduct));

    // The answer is there while the transaction has the turn of the writers.
    QCOMPARE(reported(), Everything);

    QVERIFY(transaction.commit());
    QCOMPARE(reported(), Products);
}

void TestChangeNotifier::aCommitDoesNotWaitForAPoll()
{
    std::atomic<bool> started = false;
    std::atomic<bool> committed = false;
    std::thread writer;
    const auto listening = factory->onChange([&](RecordKinds) {
        if (started.exchange(true))
            return;
        // In the middle of a poll.
        writer = std::thread([&] { committed = run(AddServer); });
        waitFor(committed);
    });
    runElsewhere(AddProduct);

    factory->poll();

    QVERIFY(committed);
    writer.join();
}

void TestChangeNotifier::aPollDoesNotWaitForACommit()
{
    std::atomic<bool> started = false;
    std::atomic<bool> polled = false;
    std::thread poller;
    const auto listening = factory->onChange([&](RecordKinds) {
        if (started.exchange(true))
            return;
        // In the middle of a commit().
        poller = std::thread([&] {
            factory->poll();
            polled = true;
        });
        waitFor(polled);
    });

    QVERIFY(run(AddServer));

    QVERIFY(polled);
    poller.join();
}

void TestChangeNotifier::aWriterDoesNotWaitForAListener()
{
    std::atomic<bool> started = false;
    std::atomic<bool> written = false;
    std::thread writer;
    const auto writeElsewhere = [&] {
        if (started.exchange(true))
            return;
        writer = std::thread([&] { written = run(AddServer); });
        waitFor(written);
    };
    auto onChange = factory->onChange([&](RecordKinds) { writeElsewhere(); });

    QVERIFY(run(AddProduct));

    QVERIFY(written);
    writer.join();
    onChange.end();
    started = false;
    written = false;
    const auto onFailure = factory->onFailure([&](const Failure&) { writeElsewhere(); });

    QVERIFY(!run(u"INSERT INTO Schedules (id) VALUES (1)"_s));

    QVERIFY(written);
    writer.join();
}

void TestChangeNotifier::aListenerThatHasEndedIsNotRunning()
{
    std::atomic<bool> entered = false;
    std::atomic<bool> ending = false;
    std::atomic<bool> left = false;
    auto listening = factory->onChange([&](RecordKinds) {
        entered = true;
        waitFor(ending);
        left = true;
    });
    std::thread writer([&] { run(AddServer); });
    waitFor(entered);

    ending = true;
    listening.end();

    QVERIFY(left);
    writer.join();
    left = false;
    QVERIFY(run(AddServer));
    QVERIFY(!left);
}

void TestChangeNotifier::aListenerMayEndItself()
{
    int calls = 0;
    Listening listening;
    listening = factory->onChange([&](RecordKinds) {
        ++calls;
        listening.end();
    });

    QVERIFY(run(AddServer));
    QVERIFY(run(AddServer));

    QCOMPARE(calls, 1);
}

void TestChangeNotifier::aHandleMayOutliveItsFactory()
{
    Listening listening = factory->onChange([](RecordKinds) {});
    cleanup();

    listening.end();
    listening = {};
}

QTEST_GUILESS_MAIN(TestChangeNotifier)
#include "TestChangeNotifier.moc"
