#include "RecordFields.h"
#include "Stores.h"

#include <config/ScheduleEntryManager.h>

#include <QMetaObject>
#include <QTest>

#include <ctime>

using namespace Qt::StringLiterals;
using sync::test::RecordingDatabaseFactory;
using sync::test::statementLog;

namespace sync::config {

namespace {

const QString UpdateById =
    u"UPDATE Schedules SET folderConfigurationId = :folderConfigurationId, startTime = :startTime, expireTime = :expireTime, syncScheduleType = :syncScheduleType, syncInterval = :syncInterval  WHERE id = :id"_s;
QVariantList sampleRow(int id = 7)
{
    const auto sample = test::sampleOf<ScheduleEntry>();
    return {id, 2, sample.getStartTime(), sample.getExpireTime(), 3, 4};
}

// What sampleRow() reads as: its clock readings as local times.
QStringList rowLines()
{
    const auto sample = test::sampleOf<ScheduleEntry>();
    const auto local = [](const QDateTime& time) {
        return QDateTime(time.date(), time.time(), Qt::LocalTime);
    };
    return test::linesOf(
        sample, {{u"Id"_s, 7},
                 {u"StartTime"_s, local(sample.getStartTime())},
                 {u"ExpireTime"_s, local(sample.getExpireTime())}});
}

using Recording = test::Recording<ScheduleEntryManager>;

/// A store without the default row of a new database.
struct Store : test::Store<ScheduleEntryManager>
{
    Store() { run(u"DELETE FROM Schedules"_s); }

    // A host adds the rows.
    void insertRow(const QVariantList& row)
    {
        run(u"INSERT INTO Schedules (id, folderConfigurationId, startTime, expireTime, "
            "syncScheduleType, syncInterval) VALUES (:v0, :v1, :v2, :v3, :v4, :v5)"_s,
            row);
    }
};

} // namespace

class TestScheduleEntryManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // A zone in which a conversion between UTC and local time shows.
        qputenv("TZ", "Asia/Tokyo");
        ::tzset();
    }

    void emptyColumnsReadAsNullTimesAndZeros()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {{7, {}, {}, {}, {}, {}}}});

        const ScheduleEntry entry = recording.manager.GetScheduleEntryById(7);

        QCOMPARE(
            test::linesOf(entry),
            test::linesOf(
                ScheduleEntry(), {{u"Id"_s, 7}, {u"FolderConfigId"_s, 0}, {u"SyncInterval"_s, 0}}));
    }

    void timesOfTextColumnsAreLabelledLocal()
    {
        Recording recording;
        recording.factory->answerOthers(
            {.rows = {{7, 2, u"2024-03-01T04:01:02.003Z"_s, u"2024-03-01T05:00:00.000"_s, 3, 4}}});

        const ScheduleEntry entry = recording.manager.GetScheduleEntryById(7);

        QCOMPARE(test::linesOf(entry), rowLines());
    }

    void updateBindsTimesAsHeldAndTheIdFirst()
    {
        Recording recording;
        recording.factory->answer(1, {.rows = {sampleRow()}});
        ScheduleEntry entry = recording.manager.GetScheduleEntryById(7);
        entry.setStartTime(test::sampleOf<ScheduleEntry>().getStartTime());
        recording.factory->takeLog();

        const bool updated = recording.manager.Update(entry);

        QVERIFY(updated);
        QCOMPARE(
            recording.factory->log(), statementLog(
                                          UpdateById,
                                          {u":id int 7"_s, u":folderConfigurationId int 2"_s,
                                           u":startTime QDateTime 2024-03-01T04:01:02.003 UTC"_s,
                                           u":expireTime QDateTime 2024-03-01T05:00:00.000 local"_s,
                                           u":syncScheduleType int 3"_s, u":syncInterval int 4"_s},
                                          1));
    }

    void invokablesWorkThroughTheMetaObject()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {sampleRow()}});
        ScheduleEntry entry;
        bool updated = false;
        bool removed = false;

        QVERIFY(QMetaObject::invokeMethod(
            &recording.manager, "GetScheduleEntryById", Q_RETURN_ARG(ScheduleEntry, entry),
            Q_ARG(int, 7)));
        QVERIFY(QMetaObject::invokeMethod(
            &recording.manager, "Update", Q_RETURN_ARG(bool, updated),
            Q_ARG(ScheduleEntry, entry)));
        QVERIFY(QMetaObject::invokeMethod(
            &recording.manager, "Remove", Q_RETURN_ARG(bool, removed), Q_ARG(int, 7)));

        QCOMPARE(test::linesOf(entry), rowLines());
        QVERIFY(updated && removed);
    }

    // Behaviour over real databases
    void withoutADefaultRowTheDefaultEntryIsADefaultRecord_data() { test::addEngineRows(); }
    void withoutADefaultRowTheDefaultEntryIsADefaultRecord()
    {
        Store store;
        store.insertRow(sampleRow());
        ScheduleEntryManager& manager = store.manager;

        QCOMPARE(test::linesOf(manager.GetDefaultScheduleEntry()), test::linesOf(ScheduleEntry()));
    }

    void storedTimeReadsBackAsLocalWithTheSameClockReading_data() { test::addEngineRows(); }
    void storedTimeReadsBackAsLocalWithTheSameClockReading()
    {
        Store store;
        store.insertRow({7, 2, {}, {}, 3, 4});
        ScheduleEntryManager& manager = store.manager;
        ScheduleEntry entry = manager.GetScheduleEntryById(7);
        entry.setStartTime(test::sampleOf<ScheduleEntry>().getStartTime());
        entry.setExpireTime(test::sampleOf<ScheduleEntry>().getExpireTime());

        QVERIFY(manager.Update(entry));

        QCOMPARE(test::linesOf(manager.GetScheduleEntryById(7)), rowLines());
    }

    void updateOfIdMinusOneChangesNothing_data() { test::addEngineRows(); }
    void updateOfIdMinusOneChangesNothing()
    {
        Store store;
        store.insertRow(sampleRow());
        ScheduleEntryManager& manager = store.manager;
        ScheduleEntry entry;
        entry.setSyncInterval(99);

        QVERIFY(manager.Update(entry));

        QCOMPARE(test::linesOf(manager.GetScheduleEntryById(7)), rowLines());
        QCOMPARE(manager.GetScheduleEntryById(-1).getSyncInterval(), 30);
    }

    void firstOfSeveralDefaultsIsTheDefault_data() { test::addEngineRows(); }
    void firstOfSeveralDefaultsIsTheDefault()
    {
        Store store;
        store.insertRow({5, 0, {}, {}, 1, 10});
        store.insertRow({6, 0, {}, {}, 1, 20});
        ScheduleEntryManager& manager = store.manager;

        QCOMPARE(manager.GetDefaultScheduleEntry().getId(), 5);
    }

    void removedEntryIsGoneAndRemovingItAgainSucceeds_data() { test::addEngineRows(); }
    void removedEntryIsGoneAndRemovingItAgainSucceeds()
    {
        Store store;
        store.insertRow(sampleRow());
        ScheduleEntryManager& manager = store.manager;

        QVERIFY(manager.Remove(7));

        QCOMPARE(manager.GetScheduleEntryById(7).getId(), -1);
        QVERIFY(manager.Remove(7));
    }
};

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestScheduleEntryManager)
#include "TestScheduleEntryManager.moc"
