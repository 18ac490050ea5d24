#include "support/CommittedStates.h"
#include "support/DatabaseDump.h"
#include "support/DiskRecorder.h"
#include "support/Trials.h"
#include "support/WriteOperations.h"

#include <database/DatabaseError.h>
#include <database/TransactionalScope.h>
#include <support/RawDatabase.h>

#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;
using namespace sync::test;
using sync::database::TransactionalScope;

namespace {

constexpr int LeastCuts = 1000;
constexpr int IndexBytes = 32768;

using Acknowledge = std::function<void()>;

bool addServerAndRoot(Managers& managers, const QString& name)
{
    return managers.addServer(name) && managers.addFolder(u"/velmio-samples/"_s + name, 0, -1);
}

/// Creates the database, runs each write operation, scopes and transactions, and runs several
/// checkpoints, after which the WAL restarts. Fails the test when an operation fails.
void runJourney(const QString& path, const Acknowledge& acknowledge)
{
    const auto done = [&](bool succeeded) {
        QVERIFY(succeeded);
        acknowledge();
    };
    auto managers = std::make_unique<Managers>(path);
    acknowledge();
    done(fillWithSamples(*managers));
    for (const WriteOperation& operation : writeOperations(*managers))
        done(operation.run(*managers) == operation.reportsSuccess);
    managers.reset(); // runs a checkpoint
    acknowledge();

    managers = std::make_unique<Managers>(path);
    done(addServerAndRoot(*managers, u"in a restarted WAL"_s));
    {
        const TransactionalScope outer;
        const TransactionalScope inner;
        QVERIFY(addServerAndRoot(*managers, u"in a scope"_s));
    }
    acknowledge();
    QVERIFY(managers->files.transaction());
    QVERIFY(addServerAndRoot(*managers, u"rolled back"_s));
    done(managers->files.rollback());
    QVERIFY(managers->files.transaction());
    for (const QString& name : {u"first of three"_s, u"second of three"_s, u"third of three"_s})
        QVERIFY(addServerAndRoot(*managers, name));
    done(managers->files.commit());

    // Another program runs a checkpoint while this one continues to write.
    auto other = std::make_unique<Managers>(path);
    done(other->addServer(u"of another program"_s));
    done(managers->addServer(u"with another program"_s));
    other.reset();
    acknowledge();
    done(managers->addServer(u"after another program"_s));
    done(managers->folders->CleanRootFolder(1));
}

} // namespace

/// Cuts the power at any point of a journey: every acknowledged operation survives, and no
/// transaction survives in part.
class TestPowerCut : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void acknowledgedOperationsSurvive_data();
    void acknowledgedOperationsSurvive();

private:
    struct Acknowledged
    {
        qsizetype position;
        qsizetype state;
    };

    void makeNewDatabase();
    void record();
    QByteArray tryCut(quint32 trial);
    QByteArray judge(const QStringList& found, qsizetype cut);

    QTemporaryDir directory{scratchTemplate()};
    const QString path = directory.filePath(u"configuration.db"_s);
    DatabaseFiles start;
    QList<DiskEvent> events;
    QList<CommittedStates::State> states;
    QList<Acknowledged> acknowledged;
};

void TestPowerCut::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
}

void TestPowerCut::acknowledgedOperationsSurvive_data()
{
    QTest::addColumn<bool>("sharedMemory");
    QTest::addRow("WAL") << true;
    QTest::addRow("journal") << false;
}

// As it gets its name, before it is first used.
void TestPowerCut::makeNewDatabase()
{
    DatabaseFiles().write(path);
    {
        const Managers managers(path);
    }
    RawDatabase(path).run(u"PRAGMA journal_mode = DELETE"_s);
    start = DatabaseFiles::read(path);
    QVERIFY(start.wal.isEmpty());
}

void TestPowerCut::record()
{
    makeNewDatabase();
    DiskRecorder recorder(path);
    acknowledged.clear();
    CommittedStates committed(path, [&] { return recorder.events().size(); });
    {
        const IoWatch watch(recorder);
        runJourney(path, [&] {
            acknowledged.append({
                recorder.events().size(),
                committed.states().size() - 1,
            });
        });
    }
    events = recorder.events();
    states = committed.states();
}

void TestPowerCut::acknowledgedOperationsSurvive()
{
    QFETCH(bool, sharedMemory);
    setSharedMemory(sharedMemory);
    record();
    if (QTest::currentTestFailed())
        return;
    const int cuts = runTrials(std::max(LeastCuts, int(events.size()) + 1), [this](quint32 trial) {
        return tryCut(trial);
    });
    qInfo("%d cuts in a journey of %lld writes and syncs", cuts, qlonglong(events.size()));
}

QByteArray TestPowerCut::tryCut(quint32 trial)
{
    QRandomGenerator chance(trial);
    const qsizetype cut = (trial - 1) % (events.size() + 1);
    diskAfterCut(start, events, cut, chance).write(path);
    // After a restart, the WAL index may hold anything.
    if (chance.bounded(2) == 0)
        writeFile(path + u"-shm"_s, QByteArray(IndexBytes, static_cast<char>(chance.bounded(256))));
    try {
        Managers managers(path);
        if (!managers.factory->warnings().filter(u"is damaged"_s).isEmpty())
            return "the cut is taken for damage of the disk";
        const QByteArray finding = judge(checkedDumpOf(path), cut);
        if (!finding.isEmpty())
            return "after event " + QByteArray::number(cut) + ": " + finding;
        return managers.addServer(u"after the cut"_s) ? "" : "nothing can be written";
    } catch (const sync::database::DatabaseError& error) {
        return "the database does not open: " + error.text().toUtf8();
    }
}

QByteArray TestPowerCut::judge(const QStringList& found, qsizetype cut)
{
    qsizetype oldest = 0;
    for (const Acknowledged& one : acknowledged) {
        if (one.position <= cut)
            oldest = one.state;
    }
    for (qsizetype index = oldest; index < states.size() && states[index].begun <= cut; ++index) {
        if (states[index].dump == found)
            return {};
    }
    return "the content matches no possible state:\n" + difference(found, states[oldest].dump);
}

QTEST_GUILESS_MAIN(TestPowerCut)
#include "TestPowerCut.moc"
