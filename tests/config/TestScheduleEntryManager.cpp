#include <config/ScheduleEntryManager.h>
#include <interf/IQSqlQueryWrapper.h>

#include <support/Engines.h>
#include <support/RecordingDatabaseFactory.h>

#include <QMetaObject>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>

using namespace Qt::StringLiterals;
using sync::test::RecordingDatabaseFactory;
using sync::test::statementLog;

namespace sync::config {

namespace {

const QString UpdateById =
    u"UPDATE Schedules SET folderConfigurationId = :folderConfigurationId, startTime = :startTime, expireTime = :expireTime, syncScheduleType = :syncScheduleType, syncInterval = :syncInterval  WHERE id = :id"_s;
const QDateTime Start({2021, 2, 3}, {4, 5, 6, 7}, Qt::UTC);
const QDateTime Expire({2022, 8, 9}, {10, 11, 12, 13}, Qt::OffsetFromUTC, 3600);

QVariantList sampleRow(int id = 7)
{
    return {id, 2, Start, Expire, 3, 4};
}

// Every field as text; times with their clock reading and what they are labelled.
QStringList fieldsOf(const ScheduleEntry& entry)
{
    const auto text = [](const QDateTime& time) {
        if (time.isNull())
            return u"null"_s;
        return time.toString(u"yyyy-MM-ddTHH:mm:ss.zzz"_s) + u' ' +
               QString::number(time.timeSpec());
    };
    return {
        QString::number(entry.getId()),
        QString::number(entry.getFolderConfigId()),
        text(entry.getStartTime()),
        text(entry.getExpireTime()),
        QString::number(entry.getSyncScheduleType()),
        QString::number(entry.getSyncInterval())};
}

// The 0 behind the times is Qt::LocalTime.
const QStringList SampleFields{
    u"7"_s, u"2"_s, u"2021-02-03T04:05:06.007 0"_s, u"2022-08-09T10:11:12.013 0"_s, u"3"_s, u"4"_s};
const QStringList DefaultFields{u"-1"_s, u"0"_s, u"null"_s, u"null"_s, u"0"_s, u"30"_s};

bool run(
    interf::factory::IDatabaseFactory& factory, const QString& sql, const QVariantList& values = {})
{
    const auto query = factory.CreateQuery();
    query->prepare(sql);
    for (qsizetype i = 0; i < values.size(); ++i)
        query->bindValue(u":v%1"_s.arg(i), values.at(i));
    return query->exec();
}

// The host makes the rows.
bool insertRow(interf::factory::IDatabaseFactory& factory, const QVariantList& row)
{
    return run(
        factory,
        u"INSERT INTO Schedules (id, folderConfigurationId, startTime, expireTime, "
        "syncScheduleType, syncInterval) VALUES (:v0, :v1, :v2, :v3, :v4, :v5)"_s,
        row);
}

struct Recording
{
    std::shared_ptr<RecordingDatabaseFactory> factory =
        std::make_shared<RecordingDatabaseFactory>();
    ScheduleEntryManager manager{factory};
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

    void init() { folder = std::make_unique<QTemporaryDir>(); }

    void emptyColumnsReadAsNullTimesAndZeros()
    {
        Recording recording;
        recording.factory->answerOthers({.rows = {{7, {}, {}, {}, {}, {}}}});

        const ScheduleEntry entry = recording.manager.GetScheduleEntryById(7);

        QCOMPARE(
            fieldsOf(entry), QStringList({u"7"_s, u"0"_s, u"null"_s, u"null"_s, u"0"_s, u"0"_s}));
    }

    void timesOfTextColumnsAreLabelledLocal()
    {
        Recording recording;
        recording.factory->answerOthers(
            {.rows = {{7, 2, u"2021-02-03T04:05:06.007Z"_s, u"2022-08-09T10:11:12.013"_s, 3, 4}}});

        const ScheduleEntry entry = recording.manager.GetScheduleEntryById(7);

        QCOMPARE(fieldsOf(entry), SampleFields);
    }

    void updateBindsTimesAsHeldAndTheIdFirst()
    {
        Recording recording;
        recording.factory->answer(1, {.rows = {sampleRow()}});
        ScheduleEntry entry = recording.manager.GetScheduleEntryById(7);
        entry.setStartTime(Start);
        recording.factory->takeLog();

        const bool updated = recording.manager.Update(entry);

        QVERIFY(updated);
        QCOMPARE(
            recording.factory->log(), statementLog(
                                          UpdateById,
                                          {u":id int 7"_s, u":folderConfigurationId int 2"_s,
                                           u":startTime QDateTime 2021-02-03T04:05:06.007 UTC"_s,
                                           u":expireTime QDateTime 2022-08-09T10:11:12.013 local"_s,
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

        QCOMPARE(fieldsOf(entry), SampleFields);
        QVERIFY(updated && removed);
    }

    // Behaviour over real databases
    void withoutADefaultRowTheDefaultEntryIsADefaultRecord_data() { test::addEngineRows(); }
    void withoutADefaultRowTheDefaultEntryIsADefaultRecord()
    {
        const auto database = openDatabase();
        QVERIFY(insertRow(*database, sampleRow()));
        ScheduleEntryManager manager(database);

        QCOMPARE(fieldsOf(manager.GetDefaultScheduleEntry()), DefaultFields);
    }

    void storedTimeReadsBackAsLocalWithTheSameClockReading_data() { test::addEngineRows(); }
    void storedTimeReadsBackAsLocalWithTheSameClockReading()
    {
        const auto database = openDatabase();
        QVERIFY(insertRow(*database, {7, 2, {}, {}, 3, 4}));
        ScheduleEntryManager manager(database);
        ScheduleEntry entry = manager.GetScheduleEntryById(7);
        entry.setStartTime(Start);
        entry.setExpireTime(Expire);

        QVERIFY(manager.Update(entry));

        QCOMPARE(fieldsOf(manager.GetScheduleEntryById(7)), SampleFields);
    }

    void updateOfIdMinusOneChangesNothing_data() { test::addEngineRows(); }
    void updateOfIdMinusOneChangesNothing()
    {
        const auto database = openDatabase();
        QVERIFY(insertRow(*database, sampleRow()));
        ScheduleEntryManager manager(database);
        ScheduleEntry entry;
        entry.setSyncInterval(99);

        QVERIFY(manager.Update(entry));

        QCOMPARE(fieldsOf(manager.GetScheduleEntryById(7)), SampleFields);
        QCOMPARE(manager.GetScheduleEntryById(-1).getSyncInterval(), 30);
    }

    void firstOfSeveralDefaultsIsTheDefault_data() { test::addEngineRows(); }
    void firstOfSeveralDefaultsIsTheDefault()
    {
        const auto database = openDatabase();
        QVERIFY(insertRow(*database, {5, 0, Start, Expire, 1, 10}));
        QVERIFY(insertRow(*database, {6, 0, Start, Expire, 1, 20}));
        ScheduleEntryManager manager(database);

        QCOMPARE(manager.GetDefaultScheduleEntry().getId(), 5);
    }

    void removedEntryIsGoneAndRemovingItAgainSucceeds_data() { test::addEngineRows(); }
    void removedEntryIsGoneAndRemovingItAgainSucceeds()
    {
        const auto database = openDatabase();
        QVERIFY(insertRow(*database, sampleRow()));
        ScheduleEntryManager manager(database);

        QVERIFY(manager.Remove(7));

        QCOMPARE(manager.GetScheduleEntryById(7).getId(), -1);
        QVERIFY(manager.Remove(7));
    }

private:
    // Without the default row that a new database has.
    std::shared_ptr<interf::factory::IDatabaseFactory> openDatabase()
    {
        const QString engine = *static_cast<QString*>(QTest::qData("engine", QMetaType::QString));
        auto database = test::openEngine(engine, folder->filePath(u"configuration.db"_s));
        return run(*database, u"DELETE FROM Schedules"_s) ? database : nullptr;
    }

    std::unique_ptr<QTemporaryDir> folder;
};

} // namespace sync::config

QTEST_APPLESS_MAIN(sync::config::TestScheduleEntryManager)
#include "TestScheduleEntryManager.moc"
