#include <database/sqlite/SqliteValues.h>

#include <core/time/ClockReading.h>
#include <database/sqlite/AsciiCopy.h>

#include <QStringEncoder>

#include <sqlite3.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

constexpr char ByteOrderMark[] = "\xEF\xBB\xBF";

bool isUnpairedSurrogate(QStringView text, qsizetype index)
{
    const QChar unit = text[index];
    if (unit.isHighSurrogate())
        return index + 1 == text.size() || !text[index + 1].isLowSurrogate();
    return unit.isLowSurrogate() && (index == 0 || !text[index - 1].isHighSurrogate());
}

// False when the text has unpaired surrogates; the buffer is unchanged then.
bool appendWellFormed(QByteArray& buffer, QStringView text)
{
    QStringEncoder encoder(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    const qsizetype start = buffer.size();
    buffer.resize(start + encoder.requiredSpace(text.size()));
    const char* const end = encoder.appendToBuffer(buffer.data() + start, text);
    const bool wellFormed = !encoder.hasError();
    buffer.resize(wellFormed ? end - buffer.constData() : start);
    return wellFormed;
}

void appendSurrogate(QByteArray& buffer, char16_t unit)
{
    buffer.append(static_cast<char>(0xE0 | unit >> 12));
    buffer.append(static_cast<char>(0x80 | (unit >> 6 & 0x3F)));
    buffer.append(static_cast<char>(0x80 | (unit & 0x3F)));
}

// The next three bytes that stand for a surrogate, or null.
const char* findSurrogate(const char* begin, const char* end)
{
    const auto byte = [](char character) { return static_cast<unsigned char>(character); };
    while (end - begin >= 3) {
        const auto size = static_cast<std::size_t>(end - begin - 2);
        const auto* const found = static_cast<const char*>(std::memchr(begin, 0xED, size));
        if (!found)
            return nullptr;
        if (byte(found[1]) >= 0xA0 && byte(found[1]) <= 0xBF && (byte(found[2]) & 0xC0) == 0x80)
            return found;
        begin = found + 1;
    }
    return nullptr;
}

QString decodeWellFormed(const char* bytes, qsizetype size)
{
    // QString::fromUtf8() drops a byte order mark at the start, and a stored U+FEFF is data.
    if (size >= 3 && std::memcmp(bytes, ByteOrderMark, 3) == 0)
        return QChar(QChar::ByteOrderMark) + decodeWellFormed(bytes + 3, size - 3);
    return QString::fromUtf8(bytes, size);
}

[[gnu::noinline]] QString decodeOtherUtf8(const char* bytes, qsizetype size)
{
    const char* const end = bytes + size;
    const char* surrogate = findSurrogate(bytes, end);
    if (!surrogate)
        return decodeWellFormed(bytes, size);

    QString text;
    for (; surrogate; surrogate = findSurrogate(bytes, end)) {
        text += decodeWellFormed(bytes, surrogate - bytes);
        text += QChar(
            static_cast<char16_t>(0xD000 | (surrogate[1] & 0x3F) << 6 | (surrogate[2] & 0x3F)));
        bytes = surrogate + 3;
    }
    return text + decodeWellFormed(bytes, end - bytes);
}

bool isInteger(QMetaType type)
{
    switch (type.id()) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return true;
    default:
        return type.flags().testFlag(QMetaType::IsEnumeration);
    }
}

void writeDigits(char16_t* target, unsigned value, int count)
{
    for (int index = count - 1; index >= 0; --index, value /= 10)
        target[index] = static_cast<char16_t>(u'0' + value % 10);
}

// The toolkit's text for a UTC time of the years 1 to 9999, at a fraction of its cost.
QString utcText(qint64 msecsSinceEpoch)
{
    using namespace std::chrono;
    const milliseconds sinceEpoch(msecsSinceEpoch);
    const auto day = floor<days>(sinceEpoch);
    const year_month_day date{sys_days(day)};
    const hh_mm_ss time(sinceEpoch - day);

    char16_t text[] = u"yyyy-MM-ddTHH:mm:ss.zzzZ";
    writeDigits(text, static_cast<unsigned>(static_cast<int>(date.year())), 4);
    writeDigits(text + 5, static_cast<unsigned>(date.month()), 2);
    writeDigits(text + 8, static_cast<unsigned>(date.day()), 2);
    writeDigits(text + 11, static_cast<unsigned>(time.hours().count()), 2);
    writeDigits(text + 14, static_cast<unsigned>(time.minutes().count()), 2);
    writeDigits(text + 17, static_cast<unsigned>(time.seconds().count()), 2);
    writeDigits(text + 20, static_cast<unsigned>(time.subseconds().count()), 3);
    return QString(reinterpret_cast<const QChar*>(text), std::size(text) - 1);
}

} // namespace

void appendUtf8(QByteArray& buffer, QStringView text)
{
    if (appendWellFormed(buffer, text))
        return;
    qsizetype start = 0;
    for (qsizetype index = 0; index < text.size(); ++index) {
        if (!isUnpairedSurrogate(text, index))
            continue;
        appendWellFormed(buffer, text.sliced(start, index - start));
        appendSurrogate(buffer, text[index].unicode());
        start = index + 1;
    }
    appendWellFormed(buffer, text.sliced(start));
}

QString decodeUtf8(const char* bytes, qsizetype size)
{
    QString text(size, Qt::Uninitialized); // Empty and not null without bytes.
    auto* const units = size > 0 ? reinterpret_cast<char16_t*>(text.data()) : nullptr;
    if (!copyAscii(reinterpret_cast<const unsigned char*>(bytes), size, units))
        text = decodeOtherUtf8(bytes, size);
    return text;
}

QString timeText(const QDateTime& time)
{
    // 0001-01-01 and 9999-12-31: the toolkit writes no year 0 and none of five digits.
    constexpr qint64 FirstMsec = -62135596800000;
    constexpr qint64 LastMsec = 253402300799999;
    if (time.timeSpec() == Qt::UTC) {
        const qint64 msecs = time.toMSecsSinceEpoch();
        if (msecs >= FirstMsec && msecs <= LastMsec)
            return utcText(msecs);
    }
    return time.toString(Qt::ISODateWithMs);
}

QVariant ColumnValue::toVariant() const
{
    switch (value ? sqlite3_value_type(value) : SQLITE_NULL) {
    case SQLITE_INTEGER:
        return static_cast<qlonglong>(sqlite3_value_int64(value));
    case SQLITE_FLOAT:
        return sqlite3_value_double(value);
    case SQLITE_TEXT:
        return toText();
    case SQLITE_BLOB: {
        const auto* const bytes = static_cast<const char*>(sqlite3_value_blob(value));
        // Empty bytes come as a null pointer, and must not read as null.
        return bytes ? QByteArray(bytes, sqlite3_value_bytes(value)) : QByteArray("");
    }
    default:
        return {};
    }
}

QDateTime ColumnValue::toUtcTime() const
{
    if (is(SQLITE_TEXT)) {
        // A new label makes the zone of the text irrelevant.
        const auto reading = core::parseClockReading(utf8());
        if (reading && core::isPlainZone(reading->zone))
            return QDateTime::fromMSecsSinceEpoch(reading->sinceEpoch.count(), Qt::UTC);
    }
    QDateTime time = toVariant().toDateTime();
    time.setTimeSpec(Qt::UTC);
    return time;
}

bool BoundValues::bind(sqlite3_stmt* statement, const QList<QVariant>& values)
{
    buffer.clear();
    texts.clear();
    message.clear();
    int parameter = 0;
    for (const QVariant& value : values) {
        if (!bindOne(statement, ++parameter, value))
            return false;
    }
    for (const Text& text : texts) {
        const char* const bytes = buffer.constData() + text.offset;
        const auto size = static_cast<sqlite3_uint64>(text.size);
        if (!succeeded(sqlite3_bind_text64(
                statement, text.parameter, bytes, size, SQLITE_STATIC, SQLITE_UTF8)))
            return false;
    }
    return true;
}

bool BoundValues::bindOne(sqlite3_stmt* statement, int parameter, const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        return succeeded(sqlite3_bind_null(statement, parameter));
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        if (value.toULongLong() > std::numeric_limits<qlonglong>::max())
            return refuse(u"a number over 9223372036854775807 cannot be stored"_s);
        return succeeded(sqlite3_bind_int64(statement, parameter, value.toLongLong()));
    case QMetaType::Float:
    case QMetaType::Double:
        if (std::isnan(value.toDouble()))
            return refuse(u"a floating-point value that is no number cannot be stored"_s);
        return succeeded(sqlite3_bind_double(statement, parameter, value.toDouble()));
    case QMetaType::QByteArray:
        // Static: `value` lives in the caller's list, which outlives the run of the statement.
        return bindBytes(statement, parameter, *static_cast<const QByteArray*>(value.constData()));
    case QMetaType::QDateTime:
        return bindTime(statement, parameter, *static_cast<const QDateTime*>(value.constData()));
    case QMetaType::QString:
        return bindText(statement, parameter, *static_cast<const QString*>(value.constData()));
    default:
        if (isInteger(value.metaType()))
            return succeeded(sqlite3_bind_int64(statement, parameter, value.toLongLong()));
        if (value.canConvert<QString>())
            return bindText(statement, parameter, value.toString());
        return refuse(u"a value of type %1 cannot be stored"_s.arg(
            QLatin1StringView(value.metaType().name())));
    }
}

bool BoundValues::bindBytes(sqlite3_stmt* statement, int parameter, const QByteArray& bytes)
{
    if (bytes.isNull())
        return succeeded(sqlite3_bind_null(statement, parameter));
    const auto size = static_cast<sqlite3_uint64>(bytes.size());
    return succeeded(
        sqlite3_bind_blob64(statement, parameter, bytes.constData(), size, SQLITE_STATIC));
}

bool BoundValues::bindTime(sqlite3_stmt* statement, int parameter, const QDateTime& time)
{
    if (!time.isValid())
        return succeeded(sqlite3_bind_null(statement, parameter));
    const QString text = timeText(time);
    if (text.isEmpty())
        return refuse(u"a time outside the years 1 to 9999 cannot be stored"_s);
    return bindText(statement, parameter, text);
}

bool BoundValues::bindText(sqlite3_stmt* statement, int parameter, const QString& text)
{
    if (text.isNull())
        return succeeded(sqlite3_bind_null(statement, parameter));
    const qsizetype offset = buffer.size();
    appendUtf8(buffer, text);
    texts.append({parameter, offset, buffer.size() - offset});
    return true;
}

bool BoundValues::refuse(const QString& reason)
{
    message = reason;
    return false;
}

bool BoundValues::succeeded(int result)
{
    return result == SQLITE_OK || refuse(QString::fromUtf8(sqlite3_errstr(result)));
}

} // namespace sync::database
