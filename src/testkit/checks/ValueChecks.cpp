#include <testkit/checks/CheckRun.h>

#include <QDateTime>

#include <limits>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

// A difference is a finding.
void expectSame(CheckRun& run, const QVariant& stored, const QVariant& read, bool same)
{
    run.expect(same, u"%1 came back as %2"_s.arg(shown(stored), shown(read)));
}

void keepsWholeNumbers(CheckRun& run)
{
    for (const bool flag : {false, true}) {
        const QVariant read = run.database.store(u"number"_s, flag);
        expectSame(run, flag, read, read.toInt() == (flag ? 1 : 0) && read.toBool() == flag);
    }
    using Int = std::numeric_limits<int>;
    for (const int number : {0, -1, 1, Int::min(), Int::max()}) {
        const QVariant read = run.database.store(u"number"_s, number);
        expectSame(run, number, read, !read.isNull() && read.toInt() == number);
    }
    // 2^53 + 1 is the first whole number that a double cannot hold.
    using Long = std::numeric_limits<qlonglong>;
    for (const qlonglong number : {4294967296LL, 9007199254740993LL, Long::min(), Long::max()}) {
        const QVariant read = run.database.store(u"number"_s, number);
        expectSame(run, number, read, read.toLongLong() == number);
    }
}

void keepsFractions(CheckRun& run)
{
    for (const double number : {0.0, 0.1, -2.5, 1.0 / 3.0, 1e300, 5e-324}) {
        const QVariant read = run.database.store(u"fraction"_s, number);
        // To the last bit.
        expectSame(
            run, number, read,
            !read.isNull() && !(read.toDouble() < number) && !(read.toDouble() > number));
    }
}

void expectText(CheckRun& run, const QString& text)
{
    const QVariant read = run.database.store(u"words"_s, text);
    expectSame(run, text, read, read.toString() == text);
}

void keepsTexts(CheckRun& run)
{
    for (const QString& text :
         {u"plain"_s, u" blanks at both ends "_s, u"tab\tand\r\nline\nends"_s,
          u"quotes ' \" ` and \\ backslash"_s, u"%1 %2 %s {}"_s, u"0012"_s, u"1e5"_s, u"NULL"_s})
        expectText(run, text);
    constexpr qsizetype Long = 1'000'000;
    expectText(run, QString(Long, u'x') + u"end"_s);
}

QString character(char32_t codePoint)
{
    return QString::fromUcs4(&codePoint, 1);
}

void keepsUnicode(CheckRun& run)
{
    constexpr char32_t PlaneSize = 0x10000;
    for (char32_t plane = 0; plane <= 16; ++plane) {
        // The first of a plane, a middle one and the last that is a character.
        for (const char32_t offset : {0x0100U, 0x1F4AU, 0xFFFDU})
            expectText(run, u'<' + character(plane * PlaneSize + offset) + u'>');
    }
    // Composed and decomposed, which are different texts; right to left; joined by a ZWJ.
    for (const QString& text :
         {u"\u00E9"_s, u"e\u0301"_s, u"\u05D0\u05D1 \u0627"_s, u"byte order mark \uFEFF"_s,
          u"\U0001F469\u200D\U0001F4BB"_s, u"\u1100\u1161 \uAC00"_s,
          u"a\u030A\u0323 a\u0323\u030A"_s})
        expectText(run, text);
}

void keepsOrRefusesNul(CheckRun& run)
{
    const QString text = u"before\0after"_s;
    const Query query = run.database.prepare(
        u"INSERT INTO VelmioCheck (words) VALUES (:words)"_s, {{u":words"_s, text}});
    if (!query->exec())
        return;
    const QVariant read = run.database.value(u"SELECT words FROM VelmioCheck"_s);
    expectSame(run, text, read, read.toString() == text);
}

void keepsBytes(CheckRun& run)
{
    QByteArray every;
    for (int byte = 0; byte < 256; ++byte)
        every.append(char(byte));
    for (const QByteArray& bytes : {every, QByteArray("\0\0", 2), every.repeated(1000)}) {
        const QVariant read = run.database.store(u"bytes"_s, bytes);
        expectSame(run, bytes, read, read.toByteArray() == bytes);
    }
}

void keepsNulls(CheckRun& run)
{
    const QList<std::pair<QString, QVariant>> nulls{
        {u"words"_s, QVariant()},
        {u"words"_s, QString()},
        {u"bytes"_s, QByteArray()},
        {u"moment"_s, QDateTime()},
        {u"number"_s, QVariant()},
        {u"number"_s, QVariant(QMetaType(QMetaType::Int))},
        {u"number"_s, QVariant(QMetaType(QMetaType::LongLong))},
        {u"fraction"_s, QVariant(QMetaType(QMetaType::Double))}};
    for (const auto& [column, value] : nulls) {
        const QString what = u"a null of type %1"_s.arg(
            value.isValid() ? QString::fromLatin1(value.typeName()) : u"none"_s);
        const QVariant read = run.database.store(column, value);
        run.expect(read.isNull(), what + u" came back as "_s + shown(read));
        const int asNull =
            run.database
                .value(u"SELECT count(*) FROM VelmioCheck WHERE "_s + column + u" IS NULL"_s)
                .toInt();
        run.expect(asNull == 1, what + u" is not NULL in the database"_s);
    }
}

void tellsEmptyFromNull(CheckRun& run)
{
    const QVariant text = run.database.store(u"words"_s, u""_s);
    run.expect(
        !text.isNull() && text.toString().isEmpty(),
        u"the empty text came back as "_s + shown(text));
    const QVariantList found = run.database.column(
        u"SELECT id FROM VelmioCheck WHERE words = :words"_s, {{u":words"_s, u""_s}});
    run.expect(found.size() == 1, u"the row with the empty text is not found by it"_s);

    const QVariant bytes = run.database.store(u"bytes"_s, QByteArray(""));
    run.expect(
        !bytes.isNull() && bytes.toByteArray().isEmpty(),
        u"no bytes came back as "_s + shown(bytes));
}

} // namespace

QList<Check> valueChecks()
{
    return {
        {u"keepsWholeNumbers"_s, u"bool, int and 64-bit integers come back as they were bound."_s,
         keepsWholeNumbers},
        {u"keepsFractions"_s, u"Floating-point numbers come back to the last bit."_s,
         keepsFractions},
        {u"keepsTexts"_s, u"Texts come back as they were bound, blanks and line ends included."_s,
         keepsTexts},
        {u"keepsUnicode"_s, u"Every plane of Unicode comes back, and nothing is normalised."_s,
         keepsUnicode},
        {u"keepsOrRefusesNul"_s,
         u"A text with a NUL character comes back whole, or exec() fails."_s, keepsOrRefusesNul},
        {u"keepsBytes"_s, u"Bytes come back as they were bound, every value of them."_s,
         keepsBytes},
        {u"keepsNulls"_s, u"A null of any type is NULL, and comes back as null."_s, keepsNulls},
        {u"tellsEmptyFromNull"_s, u"What is empty is not NULL, and is found by itself."_s,
         tellsEmptyFromNull},
    };
}

} // namespace sync::testkit
