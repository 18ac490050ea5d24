#include "support/CommittedStates.h"
#include "support/DatabaseDump.h"
#include "support/DiskRecorder.h"
#include "support/Trials.h"
#include "support/WriteOperations.h"

#include <database/DatabaseError.h>
#include <database/TransactionalScope.h>

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

bool addServer(Managers& managers, const QString& alias)
{
    auto server = sampleServer(alias);
    return managers.servers.Add(server);
}

bool addServerAndRoot(Managers& managers, const QString& name)
{
    auto root = sampleFolder(u"/velmio-samples/"_s + name, 0, -1);
    return addServer(managers, name) && managers.folders->Add(root);
}

/// From the creation of the database over each write operation, scopes and transactions to several
/// checkpoints, with a log that is begun anew. Ends the test when an operation fails.
void liveThrough(const QString& path, const Acknowledge& acknowledge)
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
    managers.reset(); // copies the log into the database
    acknowledge();

    managers = std::make_unique<Managers>(path);
    done(addServerAndRoot(*managers, u"in a log begun anew"_s));
    {
        const TransactionalScope outer;
        const TransactionalScope inner;
        QVERIFY(addServerAndRoot(*managers, u"in a scope"_s));
    }
    acknowledge();
    QVERIFY(managers->files.transaction());
    QVERIFY(addServerAndRoot(*managers, u"undone"_s));
    done(managers->files.rollback());
    QVERIFY(managers->files.transaction());
    for (const QString& name : {u"first of three"_s, u"second of three"_s, u"third of three"_s})
        QVERIFY(addServerAndRoot(*managers, name));
    done(managers->files.commit());

    // Another program that copies the log, while this one goes on writing.
    auto other = std::make_unique<Managers>(path);
    done(addServer(*other, u"of another program"_s));
    done(addServer(*managers, u"beside another program"_s));
    other.reset();
    acknowledge();
    done(addServer(*managers, u"after another program"_s));
    done(managers->folders->CleanRootFolder(1));
}

} // namespace

/// Cuts the power at any point of a journey: what was acknowledged is there, and nothing half.
class TestPowerCut : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void whatWasAcknowledgedIsThere_data();
    void whatWasAcknowledgedIsThere();

private:
    struct Acknowledged
    {
        qsizetype position;
        qsizetype state;
    };

    void record();
    QByteArray tryCut(quint32 trial);
    QByteArray judge(const QStringList& found, qsizetype cut);

    QTemporaryDir directory{scratchTemplate()};
    const QString path = directory.filePath(u"configuration.db"_s);
    QList<DiskEvent> events;
    QList<CommittedStates::State> states;
    QList<Acknowledged> acknowledged;
};

void TestPowerCut::initTestCase()
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    installWatchedVfs();
}

void TestPowerCut::whatWasAcknowledgedIsThere_data()
{
    QTest::addColumn<bool>("sharedMemory");
    QTest::addRow("write-ahead log") << true;
    QTest::addRow("journal") << false;
}

void TestPowerCut::record()
{
    DatabaseFiles().write(path);
    writeFile(path, {});
    DiskRecorder recorder(path);
    acknowledged.clear();
    CommittedStates committed(path, [&] { return recorder.events().size(); });
    {
        const IoWatch watch(recorder);
        liveThrough(path, [&] {
            acknowledged.append({
                recorder.events().size(),
                committed.states().size() - 1,
            });
        });
    }
    events = recorder.events();
    states = committed.states();
    // The empty file, and what the first steps make of it, become a whole database when opened.
    const qsizetype created = acknowledged.first().state;
    for (qsizetype index = 0; index < created; ++index)
        states[index].dump = states[created].dump;
}

void TestPowerCut::whatWasAcknowledgedIsThere()
{
    QFETCH(bool, sharedMemory);
    setSharedMemory(sharedMemory);
    record();
    if (QTest::currentTestFailed())
        return;
    const QList<quint32> trials = trialNumbers(std::max(LeastCuts, int(events.size()) + 1));
    for (const quint32 trial : trials) {
        const QByteArray finding = tryCut(trial);
        QVERIFY2(finding.isEmpty(), (finding + '\n' + repeatWith(trial)).constData());
    }
    qInfo(
        "%lld cuts in a journey of %lld writes and syncs", qlonglong(trials.size()),
        qlonglong(events.size()));
}

QByteArray TestPowerCut::tryCut(quint32 trial)
{
    QRandomGenerator chance(trial);
    const qsizetype cut = (trial - 1) % (events.size() + 1);
    diskAfterCut({}, events, cut, chance).write(path);
    // The file itself is there from the start, and the index of the log is worth nothing by now.
    if (!QFile::exists(path))
        writeFile(path, {});
    if (chance.bounded(2) == 0)
        writeFile(path + u"-shm"_s, QByteArray(IndexBytes, static_cast<char>(chance.bounded(256))));
    try {
        Managers managers(path);
        const QByteArray finding = judge(checkedDumpOf(path), cut);
        if (!finding.isEmpty())
            return "after event " + QByteArray::number(cut) + ": " + finding;
        return addServer(managers, u"after the cut"_s) ? "" : "nothing can be written any more";
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
    return "the state is none that was possible:\n" + difference(found, states[oldest].dump);
}

QTEST_GUILESS_MAIN(TestPowerCut)
#include "TestPowerCut.moc"
