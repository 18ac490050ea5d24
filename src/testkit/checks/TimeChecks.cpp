#include <testkit/checks/CheckRun.h>

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

// Every half hour of days on which clocks change somewhere, and of other days.
QList<QDateTime> clockReadings()
{
    QList<QDateTime> readings;
    for (const QDate& day : {QDate(2021, 3, 14), QDate(2021, 3, 28), QDate(2021, 10, 31)}) {
        for (int minutes = 0; minutes < 24 * 60; minutes += 30)
            readings.append(QDateTime(day, QTime(minutes / 60, minutes % 60, 7), Qt::UTC));
    }
    for (const QDate& day :
         {QDate(1969, 12, 31), QDate(1970, 1, 1), QDate(2000, 2, 29), QDate(2038, 1, 20),
          QDate(2262, 5, 1)})
        readings.append(QDateTime(day, QTime(23, 59, 58), Qt::UTC));
    return readings;
}

// As the managers read a time: the clock reading counts, and they add its label.
void expectReading(CheckRun& run, const QDateTime& bound, const QString& kind)
{
    const QVariant read = run.database.store(u"moment"_s, bound);
    const QDateTime time = read.toDateTime();
    const bool same = time.date() == bound.date() && time.time() == bound.time();
    run.expect(same, u"%1 (%2) came back as %3"_s.arg(shown(bound), kind, shown(read)));
}

void keepsClockReadings(CheckRun& run)
{
    for (const QDateTime& reading : clockReadings())
        expectReading(run, reading, u"UTC"_s);
    const QDateTime noon(QDate(2021, 6, 15), QTime(12, 34, 56), Qt::LocalTime);
    expectReading(run, noon, u"local time"_s);
    expectReading(
        run, QDateTime(QDate(2021, 1, 15), QTime(0, 5, 6), Qt::LocalTime), u"local time"_s);
    // Away from UTC on whatever machine this runs.
    for (const int offsetSeconds : {20700, -34200}) {
        expectReading(
            run, QDateTime(noon.date(), noon.time(), Qt::OffsetFromUTC, offsetSeconds),
            u"offset from UTC"_s);
    }
}

void keepsMilliseconds(CheckRun& run)
{
    for (const int milliseconds : {1, 20, 123, 999}) {
        const QDateTime bound(QDate(2021, 6, 15), QTime(12, 34, 56, milliseconds), Qt::UTC);
        const QVariant read = run.database.store(u"moment"_s, bound);
        run.expect(
            read.toDateTime().time().msec() == milliseconds,
            u"%1 came back as %2"_s.arg(shown(bound), shown(read)));
    }
}

} // namespace

QList<Check> timeChecks()
{
    return {
        {u"keepsClockReadings"_s,
         u"A time comes back with the clock reading that was bound, whatever its time spec."_s,
         keepsClockReadings},
        {u"keepsMilliseconds"_s, u"A time comes back to the millisecond."_s, keepsMilliseconds},
    };
}

} // namespace sync::testkit
