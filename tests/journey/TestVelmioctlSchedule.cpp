#include "VelmioctlRunner.h"

#include <QTest>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;

/// Runs over the default schedule 1 and schedule 2 of folder 7.
namespace {

const QJsonObject OfFolder{
    {u"id"_s, 2},
    {u"folderConfigId"_s, 7},
    {u"startTime"_s, u"2026-03-01T04:05:06.000"_s},
    {u"expireTime"_s, u"2027-03-01T00:00:00.000"_s},
    {u"syncScheduleType"_s, 3},
    {u"syncInterval"_s, 45},
};

} // namespace

class TestVelmioctlSchedule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QVERIFY(tool->execute(
            u"INSERT INTO Schedules (folderConfigurationId, startTime, expireTime, "
            u"syncScheduleType,"
            u" syncInterval) VALUES (7, '2026-03-01T04:05:06.000', '2027-03-01T00:00:00.000', 3, 45)"_s));
    }

    void cleanup() { tool.reset(); }

    void showTakesTheDefaultWithoutAnId()
    {
        const QJsonObject expected{
            {u"id"_s, 1},
            {u"folderConfigId"_s, 0},
            {u"startTime"_s, QJsonValue()},
            {u"expireTime"_s, QJsonValue()},
            {u"syncScheduleType"_s, 0},
            {u"syncInterval"_s, 30},
        };

        QCOMPARE(json({u"show"_s}).object(), expected);
        QCOMPARE(json({u"show"_s, u"2"_s}).object(), OfFolder);
        QCOMPARE(
            run({u"show"_s}).output, u"id        1\n"
                                     u"folder    none: the default\n"
                                     u"start     none\n"
                                     u"expire    none\n"
                                     u"type      0\n"
                                     u"interval  30\n"_s);
    }

    void listIsOfOneMoment()
    {
        std::atomic<bool> listed = false;
        std::thread client([this, &listed] {
            while (!listed) {
                tool->execute(u"WITH RECURSIVE n (i) AS (SELECT 10 UNION ALL SELECT i + 1 FROM n "
                              u"WHERE i < 500) INSERT INTO Schedules (folderConfigurationId) "
                              u"SELECT i FROM n"_s);
                tool->execute(u"DELETE FROM Schedules WHERE id > 2"_s);
            }
        });
        QStringList errors;
        for (int round = 0; round < 20; ++round) {
            const auto list = run({u"list"_s});
            // Its error says to try again.
            if (list.exitCode != 0 && list.exitCode != 4)
                errors += list.errors;
        }
        listed = true;
        client.join();

        QCOMPARE(errors.join(u'\n'), QString());
    }

    void setStoresWhatIsGiven()
    {
        const QJsonObject expected{
            {u"id"_s, 1},
            {u"folderConfigId"_s, 0},
            {u"startTime"_s, u"2026-11-30T00:00:00.000"_s},
            {u"expireTime"_s, u"2026-12-01T08:30:00.000"_s},
            {u"syncScheduleType"_s, 4},
            {u"syncInterval"_s, 15},
        };

        const auto changed = json(
            {u"set"_s, u"1"_s, u"--start"_s, u"2026-11-30"_s, u"--expire"_s, u"2026-12-01T08:30"_s,
             u"--type"_s, u"4"_s, u"--interval"_s, u"15"_s});

        QCOMPARE(changed.object(), expected);
        QCOMPARE(json({u"show"_s}).object(), expected);
        QCOMPARE(json({u"show"_s, u"2"_s}).object(), OfFolder);
    }

    void setChangesOnlyWhatIsGiven()
    {
        QJsonObject expected = OfFolder;
        expected[u"syncInterval"_s] = 0;

        QCOMPARE(json({u"set"_s, u"2"_s, u"--interval"_s, u"0"_s}).object(), expected);
    }

    void setTakesTimesAway()
    {
        QJsonObject expected = OfFolder;
        expected[u"startTime"_s] = QJsonValue();
        expected[u"expireTime"_s] = QJsonValue();

        const auto changed =
            json({u"set"_s, u"2"_s, u"--start"_s, u"none"_s, u"--expire"_s, u"none"_s});

        QCOMPARE(changed.object(), expected);
    }

    void wrongArgumentsAreUsageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        const QStringList set{u"set"_s, u"2"_s};
        QTest::newRow("no id") << QStringList{u"set"_s, u"--interval"_s, u"5"_s};
        QTest::newRow("no time") << set + QStringList{u"--start"_s, u"tomorrow"_s};
        QTest::newRow("empty time") << set + QStringList{u"--start"_s, QString()};
        QTest::newRow("time of a zone") << set + QStringList{u"--start"_s, u"2026-04-01T00:00Z"_s};
        QTest::newRow("time with an offset")
            << set + QStringList{u"--expire"_s, u"2026-04-01T00:00+02:00"_s};
        QTest::newRow("expires too early") << set + QStringList{u"--expire"_s, u"2026-02-01"_s};
        QTest::newRow("negative interval") << set + QStringList{u"--interval"_s, u"-1"_s};
        QTest::newRow("type") << set + QStringList{u"--type"_s, u"daily"_s};
    }

    void wrongArgumentsAreUsageErrors()
    {
        QFETCH(QStringList, arguments);

        QCOMPARE(run(arguments).exitCode, 2);

        QCOMPARE(json({u"show"_s, u"2"_s}).object(), OfFolder);
    }

    void unknownIsNotFound_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("show") << QStringList{u"show"_s, u"9"_s};
        QTest::newRow("set") << QStringList{u"set"_s, u"9"_s, u"--interval"_s, u"5"_s};
        QTest::newRow("remove") << QStringList{u"remove"_s, u"9"_s, u"--yes"_s};
    }

    void unknownIsNotFound()
    {
        QFETCH(QStringList, arguments);

        const auto answer = run(arguments);

        QCOMPARE(answer.exitCode, 3);
        QVERIFY(answer.errors.contains(u"'velmioctl schedule list'"_s));
    }

    void removeNeedsAYes()
    {
        const auto unasked = run({u"remove"_s, u"1"_s});
        const auto agreed = json({u"remove"_s, u"1"_s, u"--yes"_s});

        QCOMPARE(unasked.exitCode, 2);
        QVERIFY(unasked.errors.contains(u"the default schedule"_s));
        QCOMPARE(agreed.object(), (QJsonObject{{u"id"_s, 1}, {u"removed"_s, true}}));
        QCOMPARE(run({u"show"_s}).exitCode, 3);
        QCOMPARE(json({u"show"_s, u"2"_s}).object(), OfFolder);
    }

    void removedScheduleCanBeAddedAgain()
    {
        QCOMPARE(run({u"remove"_s, u"1"_s, u"--yes"_s}).exitCode, 0);
        const auto none = run({u"show"_s});

        const auto added =
            json({u"add"_s, u"--interval"_s, u"15"_s, u"--start"_s, u"2026-11-30"_s});

        QVERIFY(none.errors.contains(u"'velmioctl schedule add'"_s));
        const QJsonObject expected{
            {u"id"_s, 3},
            {u"folderConfigId"_s, 0},
            {u"startTime"_s, u"2026-11-30T00:00:00.000"_s},
            {u"expireTime"_s, QJsonValue()},
            {u"syncScheduleType"_s, 0},
            {u"syncInterval"_s, 15},
        };
        QCOMPARE(added.object(), expected);
        QCOMPARE(json({u"show"_s}).object(), expected);
        QCOMPARE(json({u"list"_s}).array(), (QJsonArray{OfFolder, expected}));
    }

    void folderHasOneSchedule()
    {
        const QString work = tool->makeFolder(u"Work"_s);
        QCOMPARE(
            tool->run({u"folder"_s, u"add"_s, work, u"--server-path"_s, u"/Work"_s}).exitCode, 0);

        const auto added = json({u"add"_s, work, u"--interval"_s, u"5"_s});
        const auto again = run({u"add"_s, work});
        const auto second = run({u"add"_s});
        const auto missing = run({u"add"_s, u"99"_s});
        const auto listed = run({u"list"_s});

        QCOMPARE(added.object()[u"folderConfigId"_s].toInt(), 1);
        QCOMPARE(again.exitCode, 2);
        QVERIFY(again.errors.contains(u"'velmioctl schedule set 3'"_s));
        QCOMPARE(second.exitCode, 2);
        QCOMPARE(missing.exitCode, 3);
        QVERIFY(listed.output.contains(work));
        QCOMPARE(json({u"list"_s}).array().size(), 3);
    }

    void wrongTimesAddNothing()
    {
        QCOMPARE(run({u"remove"_s, u"1"_s, u"--yes"_s}).exitCode, 0);

        const auto added =
            run({u"add"_s, u"--start"_s, u"2026-11-30"_s, u"--expire"_s, u"2026-11-29"_s});

        QCOMPARE(added.exitCode, 2);
        QCOMPARE(json({u"list"_s}).array().size(), 1);
    }

    void intervalZeroIsWarnedOf()
    {
        const auto changed = run({u"set"_s, u"1"_s, u"--interval"_s, u"0"_s});

        QCOMPARE(changed.exitCode, 0);
        QVERIFY(changed.errors.contains(u"The interval of schedule 1 is 0"_s));
    }

private:
    VelmioctlRun run(const QStringList& arguments) const
    {
        return tool->run(QStringList{u"schedule"_s} + arguments);
    }
    VelmioctlRun json(const QStringList& arguments) const
    {
        return tool->json(QStringList{u"schedule"_s} + arguments);
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlSchedule)
#include "TestVelmioctlSchedule.moc"
