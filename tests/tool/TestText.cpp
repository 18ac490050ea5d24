#include <velmioctl/cli/Text.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

namespace velmioctl {

class TestText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void widthCountsTerminalColumns_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("columns");
        QTest::newRow("empty") << QString() << 0;
        QTest::newRow("ascii") << u"photos"_s << 6;
        QTest::newRow("one letter with accent") << u"\u00e9"_s << 1;
        QTest::newRow("letter and combining accent") << u"e\u0301"_s << 1;
        QTest::newRow("ideographs") << u"\u65e5\u672c\u8a9e"_s << 6;
        QTest::newRow("fullwidth letter") << u"\uff21"_s << 2;
        QTest::newRow("halfwidth katakana") << u"\uff71"_s << 1;
        QTest::newRow("hangul syllable") << u"\ud55c"_s << 2;
        QTest::newRow("emoji outside the basic plane") << u"\U0001F600"_s << 2;
        QTest::newRow("zero width joiner") << u"a\u200db"_s << 2;
    }

    void widthCountsTerminalColumns()
    {
        QFETCH(QString, text);
        QFETCH(int, columns);

        QCOMPARE(displayWidth(text), columns);
    }

    void longTextKeepsItsEnds_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("fits") << u"abcdefghi"_s << u"abcdefghi"_s;
        QTest::newRow("ASCII") << u"abcdefghij"_s << u"ab\u2026efghij"_s;
        QTest::newRow("wide") << u"\u65e5\u672c\u8a9e\u65e5\u672c"_s
                              << u"\u65e5\u2026\u8a9e\u65e5\u672c"_s;
        QTest::newRow("combining") << u"abcde\u0301fghijk"_s << u"ab\u2026fghijk"_s;
        QTest::newRow("pair") << u"abcdef\U0001F600ghi"_s << u"ab\u2026f\U0001F600ghi"_s;
    }

    void longTextKeepsItsEnds()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);

        QCOMPARE(shortened(text, 9, u"\u2026"_s), expected);
    }

    void shortTextIsNotCut() { QCOMPARE(cutToWidth(u"abc"_s, 3, u"..."_s), u"abc"_s); }

    void cutTextEndsInEllipsisAndFits()
    {
        QCOMPARE(cutToWidth(u"abcdefgh"_s, 5, u"..."_s), u"ab..."_s);
    }

    void wideCharacterIsNotCutInHalf()
    {
        QCOMPARE(cutToWidth(u"\u65e5\u672c\u8a9e"_s, 4, u"\u2026"_s), u"\u65e5\u2026"_s);
    }

    void combiningMarkStaysWithItsCharacter()
    {
        QCOMPARE(cutToWidth(u"ae\u0301bcd"_s, 3, u"\u2026"_s), u"ae\u0301\u2026"_s);
    }

    void wrappedLinesFitAndKeepQuotesWhole()
    {
        QCOMPARE(
            wrapped(u"The users' folder \"/a b\": see 'velmioctl scan 1' now"_s, 18, 2),
            u"  The users'\n  folder \"/a b\":\n  see\n  'velmioctl scan 1'\n  now"_s);
    }

    void nothingIsWrappedWithoutAWidth()
    {
        QCOMPARE(wrapped(u"one two three"_s, 0, 1), u" one two three"_s);
    }

    void controlsAreEscaped_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("escaped");
        QTest::newRow("colour sequence") << u"\x1b[31mred"_s << u"\\x1b[31mred"_s;
        QTest::newRow("line end, tab and return") << u"a\nb\tc\rd"_s << u"a\\nb\\tc\\rd"_s;
        QTest::newRow("delete and one-byte command") << u"\u007f\u009b"_s << u"\\x7f\\x9b"_s;
        QTest::newRow("writing direction") << u"a\u202egpj"_s << u"a\\u{202e}gpj"_s;
        QTest::newRow("line separator") << u"\u2028"_s << u"\\u{2028}"_s;
        QTest::newRow("no width") << u"a\u200bb\u200d\u2060\ufeff"_s
                                  << u"a\\u{200b}b\\u{200d}\\u{2060}\\u{feff}"_s;
        QTest::newRow("tags") << u"a\U000E0001\U000E0041"_s << u"a\\u{e0001}\\u{e0041}"_s;
        QTest::newRow("filler and hyphen that are not shown")
            << u"\u3164\u00ad"_s << u"\\u{3164}\\xad"_s;
        QTest::newRow("variation of a character") << u"a\U000E0100"_s << u"a\\u{e0100}"_s;
        QTest::newRow("half of a pair") << QString(QChar(0xD800)) << u"\\u{d800}"_s;
        QTest::newRow("nothing to escape")
            << u"\u65e5 \U0001F600 \\n"_s << u"\u65e5 \U0001F600 \\n"_s;
    }

    void controlsAreEscaped()
    {
        QFETCH(QString, text);
        QFETCH(QString, escaped);

        QCOMPARE(escapeControls(text), escaped);
    }

    void jsonWithEscapesMeansTheSame()
    {
        const QString odd =
            u"a\u007f\u009b\u202e\u200b\u2028\U000E0041\ufeff \u65e5\U0001F600\"\n"_s;
        const QByteArray json = QJsonDocument(QJsonArray{odd}).toJson();

        const QByteArray escaped = escapeInJson(json);

        QCOMPARE(QJsonDocument::fromJson(escaped).array(), QJsonArray{odd});
        QVERIFY(escaped.contains("\"a\\u007f\\u009b\\u202e\\u200b\\u2028\\udb40\\udc41\\ufeff "
                                 "\u65e5\U0001F600\\\"\\n\"\n"));
    }

    void linesKeepTheirEnds() { QCOMPARE(escapeControlsInLines(u"a\nb\x1b"_s), u"a\nb\\x1b"_s); }

    void bytesThatAreNoTextAreEscaped() { QCOMPARE(escapeBytes("/a\xff\n"), u"/a\\xff\\x0a"_s); }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestText)
#include "TestText.moc"
