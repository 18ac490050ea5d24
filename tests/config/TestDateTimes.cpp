#include <config/statement/DateTimes.h>
#include <support/Repetitions.h>

#include <QRandomGenerator>
#include <QTest>
#include <QTimeZone>

#include <ctime>

using namespace Qt::StringLiterals;

namespace sync::config {

namespace {

// Everything in which two times can differ.
QString fieldsOf(const QDateTime& time)
{
    return u"%1 %2 %3 %4 %5 %6 %7"_s.arg(int(time.isValid()))
        .arg(int(time.isNull()))
        .arg(time.date().toJulianDay())
        .arg(time.time().msecsSinceStartOfDay())
        .arg(int(time.timeSpec()))
        .arg(time.offsetFromUtc())
        .arg(time.isValid() ? time.toMSecsSinceEpoch() : 0);
}

QDateTime relabelled(QDateTime time)
{
    time.setTimeSpec(Qt::UTC);
    return time;
}

// The difference from the toolkit's reading, for the message; empty if there is none.
QString difference(const QVariant& column)
{
    const QString expected = fieldsOf(column.toDateTime());
    const QString read = fieldsOf(readDateTime(column));
    if (read != expected)
        return u"'%1': %2 instead of %3"_s.arg(column.toString(), read, expected);
    const QString expectedUtc = fieldsOf(relabelled(column.toDateTime()));
    const QString readUtc = fieldsOf(readUtcDateTime(column));
    if (readUtc != expectedUtc)
        return u"'%1' as UTC: %2 instead of %3"_s.arg(column.toString(), readUtc, expectedUtc);
    return {};
}

const QString Zones[] = {
    u"UTC"_s,         u"Europe/Berlin"_s,       u"America/New_York"_s, u"Asia/Kathmandu"_s,
    u"Asia/Tehran"_s, u"Australia/Lord_Howe"_s, u"Pacific/Apia"_s,     u"Africa/Casablanca"_s,
};

void addZoneRows()
{
    QTest::addColumn<QString>("zone");
    for (const QString& zone : Zones)
        QTest::addRow("%s", qPrintable(zone)) << zone;
}

// The local time zone of the process for as long as it lives.
class LocalZone
{
public:
    explicit LocalZone(const QString& zone)
        : before(qgetenv("TZ"))
        , wasSet(qEnvironmentVariableIsSet("TZ"))
    {
        qputenv("TZ", zone.toLatin1());
        tzset();
    }
    ~LocalZone()
    {
        wasSet ? qputenv("TZ", before) : qunsetenv("TZ");
        tzset();
    }

    LocalZone(const LocalZone&) = delete;
    LocalZone& operator=(const LocalZone&) = delete;

private:
    const QByteArray before;
    const bool wasSet;
};

QString generatedText(QRandomGenerator& random)
{
    static const QString zones[] = {
        u""_s,       u"Z"_s,      u"+00:00"_s, u"-00:00"_s, u"+01:00"_s, u"-05:30"_s, u"+13:59"_s,
        u"+14:00"_s, u"-14:00"_s, u"+23:59"_s, u"+24:00"_s, u"+05:60"_s, u"z"_s,      u" "_s,
        u" Z"_s,     u"Z "_s,     u"+0100"_s,  u"+01"_s,    u"+1:00"_s,  u"UTC"_s,    u"ZZ"_s,
    };
    const auto below = [&random](int limit) { return int(random.bounded(limit)); };
    return u"%1-%2-%3T%4:%5:%6.%7%8"_s.arg(below(10000), 4, 10, QChar(u'0'))
        .arg(below(14), 2, 10, QChar(u'0'))
        .arg(below(33), 2, 10, QChar(u'0'))
        .arg(below(26), 2, 10, QChar(u'0'))
        .arg(below(62), 2, 10, QChar(u'0'))
        .arg(below(62), 2, 10, QChar(u'0'))
        .arg(below(1000), 3, 10, QChar(u'0'))
        .arg(zones[below(int(std::size(zones)))]);
}

} // namespace

class TestDateTimes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void textsReadAsWritten()
    {
        const QDate date(2021, 2, 3);
        const QTime time(4, 5, 6, 7);

        QCOMPARE(readDateTime(u"2021-02-03T04:05:06.007Z"_s), QDateTime(date, time, Qt::UTC));
        QCOMPARE(readDateTime(u"2021-02-03T04:05:06.007"_s), QDateTime(date, time, Qt::LocalTime));
        QCOMPARE(
            readDateTime(u"2021-02-03T04:05:06.007-01:30"_s),
            QDateTime(date, time, Qt::OffsetFromUTC, -5400));
    }

    void relabelledTextsKeepTheirClockReading()
    {
        const QDateTime expected({2021, 2, 3}, {4, 5, 6, 7}, Qt::UTC);

        QCOMPARE(readUtcDateTime(u"2021-02-03T04:05:06.007Z"_s), expected);
        QCOMPARE(readUtcDateTime(u"2021-02-03T04:05:06.007"_s), expected);
        QCOMPARE(readUtcDateTime(u"2021-02-03T04:05:06.007+05:00"_s), expected);
        QCOMPARE(readUtcDateTime(QDateTime(expected.date(), expected.time())), expected);
        QCOMPARE(readUtcDateTime(u"2021-02-03T04:05:06.007"_s).timeSpec(), Qt::UTC);
    }

    void generatedTextsReadAsTheToolkitDoes_data() { addZoneRows(); }
    void generatedTextsReadAsTheToolkitDoes()
    {
        QFETCH(QString, zone);
        const LocalZone local(zone);
        QRandomGenerator random(20210203);

        for (int i = sync::test::repetitions(20000); i > 0; --i)
            QCOMPARE(difference(generatedText(random)), QString());
    }

    void changesOfTheClockReadAsTheToolkitDoes_data() { addZoneRows(); }
    void changesOfTheClockReadAsTheToolkitDoes()
    {
        QFETCH(QString, zone);
        const LocalZone local(zone);
        const QTimeZone timeZone(zone.toLatin1());
        const QDateTime from({1900, 1, 1}, {0, 0}, Qt::UTC);
        const QDateTime until({2060, 1, 1}, {0, 0}, Qt::UTC);

        const auto changes = timeZone.transitions(from, until);
        QCOMPARE(changes.isEmpty(), zone == u"UTC");
        for (const auto& change : changes) {
            const QDateTime clock =
                relabelled(change.atUtc.toOffsetFromUtc(change.offsetFromUtc)).addSecs(-3 * 3600);
            for (int minute = 0; minute <= 6 * 60; minute += 10) {
                const QDateTime time = clock.addSecs(minute * 60);
                QCOMPARE(difference(time.toString(u"yyyy-MM-ddTHH:mm:ss.zzz"_s)), QString());
            }
        }
    }

    void mutatedTextsReadAsTheToolkitDoes_data() { addZoneRows(); }
    void mutatedTextsReadAsTheToolkitDoes()
    {
        QFETCH(QString, zone);
        const LocalZone local(zone);
        const QString alphabet = u"0123456789+-:.,TtZz /aPM\u0660\u00e9"_s + QChar(u'\0');
        for (const QString& text :
             {u"2021-02-28T23:59:59.999"_s, u"2020-12-31T00:00:00.000Z"_s,
              u"1999-10-09T12:34:56.789+01:30"_s}) {
            for (qsizetype i = 0; i <= text.size(); ++i) {
                QCOMPARE(difference(text.first(i)), QString());
                for (const QChar c : alphabet) {
                    QString inserted = text;
                    inserted.insert(i, c);
                    QCOMPARE(difference(inserted), QString());
                    if (i == text.size())
                        continue;
                    QString replaced = text;
                    replaced[i] = c;
                    QCOMPARE(difference(replaced), QString());
                }
                if (i < text.size())
                    QCOMPARE(difference(QString(text).remove(i, 1)), QString());
            }
        }
    }

    void hostileTextsReadAsTheToolkitDoes_data()
    {
        QTest::addColumn<QString>("text");

        for (const QString& text : {
                 u"0000-01-01T00:00:00.000Z"_s,
                 u"0001-01-01T00:00:00.000"_s,
                 u"9999-12-31T23:59:59.999Z"_s,
                 u"9999-12-31T23:59:59.999"_s,
                 u"-001-01-01T00:00:00.000Z"_s,
                 u"2021-02-29T00:00:00.000Z"_s,
                 u"2020-02-29T00:00:00.000Z"_s,
                 u"2021-04-31T00:00:00.000"_s,
                 u"2021-13-01T00:00:00.000"_s,
                 u"2021-00-10T00:00:00.000"_s,
                 u"2021-01-00T00:00:00.000"_s,
                 u"2021-01-01T24:00:00.000"_s,
                 u"2021-12-31T24:00:00.000Z"_s,
                 u"2021-01-01T24:00:00.001Z"_s,
                 u"2021-01-01T24:00:00.000+01:00"_s,
                 u"2021-01-01T23:60:00.000"_s,
                 u"2021-01-01T23:59:60.000Z"_s,
                 u"2021-01-01t10:00:00.000z"_s,
                 u"2021-01-01 10:00:00.000"_s,
                 u" 2021-01-01T10:00:00.000"_s,
                 u"2021-01-01T10:00:00.000 "_s,
                 u"2021-01-01T10:00:00,500Z"_s,
                 u"2021-01-01T10:00:00.5"_s,
                 u"2021-01-01T10:00:00.123456"_s,
                 u"2021-01-01T10:00:00"_s,
                 u"2021-01-01T10:00"_s,
                 u"2021-01-01T10:00:00.000-00:00"_s,
                 u"2021-01-01T10:00:00.000\u221201:00"_s,
                 u"2021-01-01"_s,
                 u"20210101T100000.000"_s,
                 u"2021-W01-1T10:00:00.000"_s,
                 u"Mon Feb 3 2021"_s,
                 u"1612325106007"_s,
                 u"null"_s,
                 u""_s,
                 QString(),
             })
            QTest::addRow("'%s'", qPrintable(text)) << text;
    }

    void hostileTextsReadAsTheToolkitDoes()
    {
        QFETCH(QString, text);

        QCOMPARE(difference(text), QString());
    }

    void otherTypesReadAsTheToolkitDoes_data()
    {
        QTest::addColumn<QVariant>("column");

        QTest::newRow("invalid") << QVariant();
        QTest::newRow("null text") << QVariant(QMetaType(QMetaType::QString));
        QTest::newRow("null time") << QVariant(QMetaType(QMetaType::QDateTime));
        QTest::newRow("null pointer") << QVariant::fromValue(nullptr);
        QTest::newRow("UTC") << QVariant(QDateTime({2021, 2, 3}, {4, 5, 6, 7}, Qt::UTC));
        QTest::newRow("local") << QVariant(QDateTime({2021, 2, 3}, {4, 5, 6, 7}));
        QTest::newRow("offset") << QVariant(
            QDateTime({2021, 2, 3}, {4, 5, 6, 7}, Qt::OffsetFromUTC, 5400));
        QTest::newRow("zone") << QVariant(
            QDateTime({2021, 2, 3}, {4, 5, 6, 7}, QTimeZone("Asia/Kathmandu")));
        QTest::newRow("date") << QVariant(QDate(2021, 2, 3));
        QTest::newRow("time") << QVariant(QTime(4, 5));
        QTest::newRow("bytes") << QVariant("2021-02-03T04:05:06.007Z"_ba);
        QTest::newRow("number") << QVariant(1612325106007LL);
        QTest::newRow("fraction") << QVariant(2459249.5);
    }

    void otherTypesReadAsTheToolkitDoes()
    {
        QFETCH(QVariant, column);

        QCOMPARE(fieldsOf(readDateTime(column)), fieldsOf(column.toDateTime()));
        QCOMPARE(fieldsOf(readUtcDateTime(column)), fieldsOf(relabelled(column.toDateTime())));
    }
};

} // namespace sync::config

QTEST_GUILESS_MAIN(sync::config::TestDateTimes)
#include "TestDateTimes.moc"
