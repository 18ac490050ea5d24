#include <support/CapturedWarnings.h>
#include <support/RawDatabase.h>
#include <support/TemporaryPlace.h>

#include <config/FolderConfigManager.h>
#include <database/ChangeNotifier.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/TransactionalScope.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

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
using sync::config::FolderConfigManager;
using sync::config::FolderConfiguration;
using sync::database::ChangeNotifier;
using sync::database::SqliteDatabaseFactory;
using sync::database::TransactionalScope;
using sync::test::CapturedWarnings;
using sync::test::RawDatabase;

namespace {

const QStringList Servers{u"ServerConfiguration"_s};
const QStringList AllTables{
    u"AuthenticationConfiguration"_s,
    u"BaseFileConfiguration"_s,
    u"FileConfiguration"_s,
    u"FolderConfiguration"_s,
    u"GeneratedFileConfiguration"_s,
    u"ProductConfiguration"_s,
    u"Schedules"_s,
    u"ServerConfiguration"_s};

const QString AddServer = u"INSERT INTO ServerConfiguration (alias) VALUES ('a')"_s;
const QString AddProduct = u"INSERT INTO ProductConfiguration (name) VALUES ('p')"_s;

} // namespace

class TestChangeNotifier : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void tellsOfAWriteFromItsEventLoop();
    void tellsOfAWriteOfAnotherThread();
    void tellsOnceOfManyCommits();
    void tellsOfNestedScopesWhenTheyHaveEnded();
    void tellsOfATransactionWithItsCommit();
    void saysNothingOfWhatIsRolledBack();
    void saysNothingWhereNoRowHasChanged();
    void tellsOfDeletingEveryRow();
    void tellsOfTablesThatATriggerChanges();
    void tellsOfWhatAFailedStatementLeaves();
    void tellsOfAnotherProcess();
    void looksForOthersByItself();
    void doesNotTakeOwnCommitsForThoseOfOthers();
    void findsOthersAmongOwnCommits();
    void tellsOfAnotherFactoryOfTheFile();
    void withoutALogEveryCommitIsThatOfOthers();
    void eachOfTwoNotifiersIsTold();
    void tellsOnTheThreadThatItLivesOn();
    void aNotifierMayGoInTheMiddleOfWrites();
    void theFactoryMayGoFirst();
    void aHostClearsTheFolderCacheByIt();

private:
    bool run(const QString& sql);
    void runElsewhere(const QString& sql) const;
    QStringList told();

    std::unique_ptr<QTemporaryDir> folder;
    std::shared_ptr<SqliteDatabaseFactory> factory;
    std::unique_ptr<ChangeNotifier> notifier;
    std::unique_ptr<QSignalSpy> spy;
};

void TestChangeNotifier::init()
{
    folder = std::make_unique<QTemporaryDir>(sync::test::temporaryPlaceInMemory());
    factory = SqliteDatabaseFactory::open(folder->filePath(u"store.db"_s));
    notifier = std::make_unique<ChangeNotifier>(*factory);
    notifier->setLookInterval(0);
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

// The tables of all signals since the last call, those of one parted from the next by a "|".
QStringList TestChangeNotifier::told()
{
    notifier->look();
    QCoreApplication::processEvents();
    QStringList tables;
    for (const QVariantList& signal : std::as_const(*spy)) {
        if (!tables.isEmpty())
            tables.append(u"|"_s);
        tables += signal.first().toStringList();
    }
    spy->clear();
    return tables;
}

void TestChangeNotifier::tellsOfAWriteFromItsEventLoop()
{
    QVERIFY(run(AddServer));
    QCOMPARE(spy->count(), 0);

    QCOMPARE(told(), Servers);
    QCOMPARE(told(), QStringList());
}

void TestChangeNotifier::tellsOfAWriteOfAnotherThread()
{
    std::thread([this] { run(AddServer); }).join();

    QCOMPARE(told(), Servers);
}

void TestChangeNotifier::tellsOnceOfManyCommits()
{
    for (int commit = 0; commit < 10; ++commit) {
        QVERIFY(run(AddServer));
        QVERIFY(run(AddProduct));
    }

    QCOMPARE(told(), (QStringList{u"ProductConfiguration"_s, u"ServerConfiguration"_s}));
}

void TestChangeNotifier::tellsOfNestedScopesWhenTheyHaveEnded()
{
    {
        const TransactionalScope outer;
        {
            const TransactionalScope inner;
            QVERIFY(run(AddServer));
        }
        QCOMPARE(told(), QStringList());
    }

    QCOMPARE(told(), Servers);
}

void TestChangeNotifier::tellsOfATransactionWithItsCommit()
{
    QVERIFY(factory->GetDatabase()->transaction());
    QVERIFY(run(AddServer));
    QVERIFY(run(AddProduct));
    QCOMPARE(told(), QStringList());

    QVERIFY(factory->GetDatabase()->commit());

    QCOMPARE(told(), (QStringList{u"ProductConfiguration"_s, u"ServerConfiguration"_s}));
}

void TestChangeNotifier::saysNothingOfWhatIsRolledBack()
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
    QCOMPARE(told(), QStringList());

    QVERIFY(run(AddProduct));

    QCOMPARE(told(), QStringList{u"ProductConfiguration"_s});
}

void TestChangeNotifier::saysNothingWhereNoRowHasChanged()
{
    QVERIFY(run(u"UPDATE ServerConfiguration SET alias = 'b' WHERE id = 4711"_s));
    QVERIFY(run(u"DELETE FROM ServerConfiguration"_s));
    QVERIFY(run(u"SELECT * FROM ServerConfiguration"_s));
    QVERIFY(run(u"CREATE TABLE Further (id)"_s));

    QCOMPARE(told(), QStringList());
}

void TestChangeNotifier::tellsOfDeletingEveryRow()
{
    QVERIFY(run(AddServer));
    QCOMPARE(told(), Servers);

    QVERIFY(run(u"DELETE FROM ServerConfiguration"_s));

    QCOMPARE(told(), Servers);
}

void TestChangeNotifier::tellsOfTablesThatATriggerChanges()
{
    QVERIFY(run(u"CREATE TRIGGER AlsoAProduct AFTER INSERT ON ServerConfiguration"
                u" BEGIN INSERT INTO ProductConfiguration (name) VALUES (NEW.alias); END"_s));

    QVERIFY(run(AddServer));

    QCOMPARE(told(), (QStringList{u"ProductConfiguration"_s, u"ServerConfiguration"_s}));
}

void TestChangeNotifier::tellsOfWhatAFailedStatementLeaves()
{
    QVERIFY(!run(u"INSERT OR FAIL INTO ServerConfiguration (id) VALUES (7), (7)"_s));

    const QStringList tables = told();
    QVERIFY2(tables.contains(Servers.first()), qPrintable(tables.join(u' ')));
    QCOMPARE(RawDatabase(factory->path()).value(u"SELECT id FROM ServerConfiguration"_s), u"7"_s);
}

void TestChangeNotifier::tellsOfAnotherProcess()
{
    runElsewhere(AddServer);
    QCOMPARE(told(), AllTables);

    runElsewhere(u"SELECT * FROM ServerConfiguration"_s);
    runElsewhere(u"BEGIN; DELETE FROM Schedules; ROLLBACK"_s);
    QCOMPARE(told(), QStringList());

    runElsewhere(u"PRAGMA wal_checkpoint(RESTART)"_s);
    runElsewhere(AddServer);
    QCOMPARE(told(), AllTables);
}

void TestChangeNotifier::looksForOthersByItself()
{
    notifier->setLookInterval(10);

    runElsewhere(AddServer);

    QVERIFY(spy->wait());
    QCOMPARE(spy->takeFirst().first().toStringList(), AllTables);
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
    QStringList tables;
    while (running > 0)
        tables += told();
    for (std::thread& writer : writers)
        writer.join();
    tables += told();

    tables.removeDuplicates();
    tables.removeAll(u"|"_s);
    QCOMPARE(tables, Servers);
}

void TestChangeNotifier::findsOthersAmongOwnCommits()
{
    for (int round = 0; round < 5; ++round) {
        QVERIFY(run(AddServer));
        runElsewhere(AddProduct);
        QVERIFY(run(AddServer));

        QCOMPARE(told(), AllTables);
        QVERIFY(run(AddServer));
        QCOMPARE(told(), Servers);
    }
}

void TestChangeNotifier::tellsOfAnotherFactoryOfTheFile()
{
    const auto other = SqliteDatabaseFactory::open(factory->path());
    const auto query = other->CreateQuery();
    query->prepare(AddServer);
    QVERIFY(query->exec());

    QCOMPARE(told(), AllTables);
}

void TestChangeNotifier::withoutALogEveryCommitIsThatOfOthers()
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
    notifier = std::make_unique<ChangeNotifier>(*factory);
    spy = std::make_unique<QSignalSpy>(notifier.get(), &ChangeNotifier::changed);

    QVERIFY(run(AddServer));
    QCOMPARE(told(), AllTables);
    runElsewhere(AddServer);
    QCOMPARE(told(), AllTables);
    QCOMPARE(told(), QStringList());
}

void TestChangeNotifier::eachOfTwoNotifiersIsTold()
{
    ChangeNotifier second(*factory);
    QSignalSpy secondSpy(&second, &ChangeNotifier::changed);

    QVERIFY(run(AddServer));
    QCOMPARE(told(), Servers);
    QCOMPARE(secondSpy.takeFirst().first().toStringList(), Servers);

    runElsewhere(AddServer);
    QCOMPARE(told(), AllTables);
    QCOMPARE(secondSpy.takeFirst().first().toStringList(), AllTables);
}

void TestChangeNotifier::tellsOnTheThreadThatItLivesOn()
{
    QThread elsewhere;
    auto moved = std::make_unique<ChangeNotifier>(*factory);
    moved->moveToThread(&elsewhere);
    std::atomic<QThread*> toldOn = nullptr;
    connect(moved.get(), &ChangeNotifier::changed, moved.get(), [&toldOn] {
        toldOn = QThread::currentThread();
    });
    elsewhere.start();

    QVERIFY(run(AddServer));

    QTRY_COMPARE(toldOn.load(), &elsewhere);
    // It goes where it lives.
    connect(&elsewhere, &QThread::finished, moved.release(), &QObject::deleteLater);
    elsewhere.quit();
    QVERIFY(elsewhere.wait());
}

void TestChangeNotifier::aNotifierMayGoInTheMiddleOfWrites()
{
    std::atomic<int> written = 0;
    std::atomic<bool> ended = false;
    std::thread writer([&] {
        while (!ended)
            written += run(AddServer) ? 1 : 0;
    });
    while (written < 100) {
        ChangeNotifier passing(*factory);
        passing.look();
    }
    ended = true;
    writer.join();

    QCOMPARE(told(), Servers);
}

void TestChangeNotifier::theFactoryMayGoFirst()
{
    const QString path = factory->path();
    QVERIFY(run(AddServer));
    QVERIFY(QFileInfo::exists(path + u"-wal"_s));

    factory.reset();

    // Nothing keeps the file in use, and what was committed is told.
    QVERIFY(!QFileInfo::exists(path + u"-wal"_s));
    QCOMPARE(told(), Servers);
}

void TestChangeNotifier::aHostClearsTheFolderCacheByIt()
{
    FolderConfigManager folders(factory, nullptr);
    connect(notifier.get(), &ChangeNotifier::changed, this, [&](const QStringList& tables) {
        if (tables.contains(u"FolderConfiguration"_s))
            folders.ClearCaches();
    });
    FolderConfiguration root;
    root.setParentId(0);
    root.setClientPath(u"/home/a/Documents"_s);
    QVERIFY(folders.Add(root));
    QCOMPARE(told(), QStringList{u"FolderConfiguration"_s});
    QCOMPARE(folders.GetAll().size(), 1);

    // The cache lasts a second, which is too short for a process on a busy machine.
    RawDatabase(factory->path())
        .run(u"INSERT INTO FolderConfiguration (clientPath, parentId) VALUES ('/b', 0)"_s);
    QCOMPARE(folders.GetAll().size(), 1);
    QCOMPARE(told(), AllTables);

    QCOMPARE(folders.GetAll().size(), 2);
}

QTEST_GUILESS_MAIN(TestChangeNotifier)
#include "TestChangeNotifier.moc"
