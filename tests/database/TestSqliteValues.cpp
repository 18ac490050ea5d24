#include <base/StorableValue.h>
#include <database/connection/SqliteValues.h>

#include <QRandomGenerator>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;
using sync::base::decodeUtf8;
using sync::base::encodeTime;
using sync::base::encodeUtf8;
using sync::base::MaximumTimeText;
using sync::base::MaximumUtf8PerUnit;

namespace {

QByteArray encoded(const QString& text)
{
    QByteArray buffer(text.size() * MaximumUtf8PerUnit, '?');
    buffer.truncate(encodeUtf8(text, buffer.data()) - buffer.constData());
    return buffer;
}

// Null for a time without a text.
QString timeText(const QDateTime& time)
{
    QByteArray buffer(MaximumTimeText, '?');
    const char* const end = encodeTime(time, buffer.data());
    return end ? QString::fromLatin1(buffer.first(end - buffer.constData())) : QString();
}

QString roundTrip(const QString& text)
{
    const QByteArray bytes = encoded(text);
    return decodeUtf8(bytes.constData(), bytes.size());
}

} // namespace

class TestSqliteValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wellFormedTextIsPlainUtf8();
    void everyTextSurvives_data();
    void everyTextSurvives();
    void textsOfEveryLengthSurvive_data();
    void textsOfEveryLengthSurvive();
    void randomCodeUnitsSurvive();
    void bytesThatAreNoUtf8ReadAsReplacementCharacters();
    void timesAreWrittenAsTheToolkitWritesThem_data();
    void timesAreWrittenAsTheToolkitWritesThem();
    void randomUtcTimesAreWrittenAsTheToolkitWritesThem();
    void timesOutsideFourDigitYearsHaveNoText();
};

void TestSqliteValues::wellFormedTextIsPlainUtf8()
{
    const QString text = u"plain, \u00e9, \u20ac, \U0001F600"_s;

    QCOMPARE(encoded(text), text.toUtf8());
}

void TestSqliteValues::everyTextSurvives_data()
{
    QTest::addColumn<QString>("text");
    const auto units = [](std::initializer_list<char16_t> list) {
        return QString::fromUtf16(list.begin(), static_cast<qsizetype>(list.size()));
    };
    QTest::addRow("empty") << u""_s;
    QTest::addRow("every plane") << u"a\u00e9\u20ac\U0001F600\U000E0001\U0010FFFD"_s;
    QTest::addRow("U+0000 inside") << units({u'a', 0, u'b'});
    QTest::addRow("U+0000 alone") << units({0});
    QTest::addRow("byte order mark at the start") << units({0xFEFF, u'a'});
    QTest::addRow("two byte order marks") << units({0xFEFF, 0xFEFF});
    QTest::addRow("U+FFFD and U+FFFF") << units({0xFFFD, 0xFFFF});
    QTest::addRow("high surrogate at the end") << units({u'a', 0xD83D});
    QTest::addRow("low surrogate at the start") << units({0xDE00, u'a'});
    QTest::addRow("surrogates in the wrong order") << units({0xDE00, 0xD83D});
    QTest::addRow("high surrogate before a pair") << units({0xD83D, 0xD83D, 0xDE00});
    QTest::addRow("pair before a low surrogate") << units({0xD83D, 0xDE00, 0xDE00});
    QTest::addRow("surrogate, then byte order mark") << units({0xD800, 0xFEFF, u'x'});
    QTest::addRow("U+D7FF beside surrogates") << units({0xD7FF, 0xDFFF, 0xE000});
}

void TestSqliteValues::everyTextSurvives()
{
    QFETCH(const QString, text);

    QCOMPARE(roundTrip(text), text);
}

void TestSqliteValues::textsOfEveryLengthSurvive_data()
{
    QTest::addColumn<QChar>("odd");
    QTest::addRow("ASCII") << QChar(0x7f);
    QTest::addRow("Latin-1") << QChar(0x80);
    QTest::addRow("more") << QChar(0x100);
}

// One character differs, at each place in turn: texts are copied by blocks of sixteen and eight.
void TestSqliteValues::textsOfEveryLengthSurvive()
{
    QFETCH(const QChar, odd);

    for (int length = 1; length < 70; ++length) {
        QString text;
        for (int index = 0; index < length; ++index)
            text += QChar(u'0' + index);
        QCOMPARE(roundTrip(text), text);
        for (int index = 0; index < length; ++index) {
            QString other = text;
            other[index] = odd;
            QCOMPARE(encoded(other), other.toUtf8());
            QCOMPARE(roundTrip(other), other);
        }
    }
}

void TestSqliteValues::randomCodeUnitsSurvive()
{
    QRandomGenerator random(20240501);
    for (int round = 0; round < 20000; ++round) {
        QString text;
        const int length = random.bounded(12);
        for (int index = 0; index < length; ++index) {
            // Half of the code units are surrogates, so that all their sequences come up.
            const int unit =
                random.bounded(2) ? 0xD800 + random.bounded(0x800) : random.bounded(0x10000);
            text += QChar(unit);
        }

        QCOMPARE(roundTrip(text), text);
    }
}

void TestSqliteValues::bytesThatAreNoUtf8ReadAsReplacementCharacters()
{
    const QByteArray bytes("a\xFF"
                           "b\xED\x41");

    const QString text = decodeUtf8(bytes.constData(), bytes.size());

    QVERIFY(text.startsWith(u"a\uFFFDb"));
    QVERIFY(text.endsWith(u'A'));
}

void TestSqliteValues::timesAreWrittenAsTheToolkitWritesThem_data()
{
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<QString>("text");
    const QDate day(2024, 2, 29);
    const QTime clock(23, 59, 58, 7);
    QTest::addRow("UTC") << QDateTime(day, clock, Qt::UTC) << u"2024-02-29T23:59:58.007Z"_s;
    QTest::addRow("local") << QDateTime(day, clock) << u"2024-02-29T23:59:58.007"_s;
    QTest::addRow("offset") << QDateTime(day, clock, Qt::OffsetFromUTC, -19800)
                            << u"2024-02-29T23:59:58.007-05:30"_s;
    QTest::addRow("time zone") << QDateTime(day, clock, QTimeZone("Europe/Berlin"))
                               << u"2024-02-29T23:59:58.007+01:00"_s;
    QTest::addRow("first") << QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC)
                           << u"0001-01-01T00:00:00.000Z"_s;
    QTest::addRow("last") << QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59, 999), Qt::UTC)
                          << u"9999-12-31T23:59:59.999Z"_s;
    QTest::addRow("before 1970") << QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 1), Qt::UTC)
                                 << u"1969-12-31T23:59:59.001Z"_s;
}

void TestSqliteValues::timesAreWrittenAsTheToolkitWritesThem()
{
    QFETCH(const QDateTime, time);
    QFETCH(const QString, text);

    QCOMPARE(timeText(time), text);
    QCOMPARE(timeText(time), time.toString(Qt::ISODateWithMs));
}

void TestSqliteValues::randomUtcTimesAreWrittenAsTheToolkitWritesThem()
{
    QRandomGenerator64 random(20240502);
    constexpr quint64 TwentyThousandYears = 20000ULL * 366 * 86400 * 1000;
    for (int round = 0; round < 20000; ++round) {
        const auto msecs = static_cast<qint64>(random.generate() % TwentyThousandYears) -
                           static_cast<qint64>(TwentyThousandYears / 2);
        const auto time = QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);

        QCOMPARE(timeText(time), time.toString(Qt::ISODateWithMs));
    }
}

void TestSqliteValues::timesOutsideFourDigitYearsHaveNoText()
{
    QVERIFY(timeText(QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC)).isEmpty());
    QVERIFY(timeText(QDateTime(QDate(-1, 12, 31), QTime(0, 0), Qt::UTC)).isEmpty());
}

QTEST_GUILESS_MAIN(TestSqliteValues)
#include "TestSqliteValues.moc"
