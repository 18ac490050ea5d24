#include <database/connection/SqliteValues.h>

#include <base/ClockReading.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

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

char* writeDigits(char* target, unsigned value, int count)
{
    for (int index = count - 1; index >= 0; --index, value /= 10)
        target[index] = static_cast<char>('0' + value % 10);
    return target + count;
}

// The toolkit's text for a UTC time of the years 1 to 9999, at a fraction of its cost.
char* encodeUtcTime(qint64 msecsSinceEpoch, char* target)
{
    using namespace std::chrono;
    const milliseconds sinceEpoch(msecsSinceEpoch);
    const auto day = floor<days>(sinceEpoch);
    const year_month_day date{sys_days(day)};
    const hh_mm_ss time(sinceEpoch - day);

    const auto write = [&target](auto value, int count, char separator) {
        target = writeDigits(target, static_cast<unsigned>(value), count);
        *target++ = separator;
    };
    write(static_cast<int>(date.year()), 4, '-');
    write(static_cast<unsigned>(date.month()), 2, '-');
    write(static_cast<unsigned>(date.day()), 2, 'T');
    write(time.hours().count(), 2, ':');
    write(time.minutes().count(), 2, ':');
    write(time.seconds().count(), 2, '.');
    write(time.subseconds().count(), 3, 'Z');
    return target;
}

} // namespace

char* encodeTime(const QDateTime& time, char* target)
{
    // 0001-01-01 and 9999-12-31: the toolkit writes neither year 0 nor years of five digits.
    constexpr qint64 FirstMsec = -62135596800000;
    constexpr qint64 LastMsec = 253402300799999;
    if (time.timeSpec() == Qt::UTC) {
        const qint64 msecs = time.toMSecsSinceEpoch();
        if (msecs >= FirstMsec && msecs <= LastMsec)
            return encodeUtcTime(msecs, target);
    }
    const QString text = time.toString(Qt::ISODateWithMs);
    return text.isEmpty() ? nullptr : base::encodeUtf8(text, target);
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
        const auto reading = base::parseClockReading(utf8());
        if (reading && base::isPlainZone(reading->zone))
            return QDateTime::fromMSecsSinceEpoch(reading->sinceEpoch.count(), Qt::UTC);
    }
    QDateTime time = toVariant().toDateTime();
    time.setTimeSpec(Qt::UTC);
    return time;
}

QVariant BoundValues::get(std::size_t parameter) const
{
    const auto toVariant = [](const auto& value) -> QVariant {
        if constexpr (std::is_same_v<decltype(value), const std::monostate&>)
            return {};
        else
            return value;
    };
    return std::visit(toVariant, values[parameter]);
}

bool BoundValues::bind(sqlite3_stmt* target)
{
    statement = target;
    used = 0;
    buffered.clear();
    message.clear();
    int parameter = 0;
    for (const BoundValue& value : values) {
        ++parameter;
        bool bound = false;
        if (const auto* const number = std::get_if<qlonglong>(&value))
            bound = bindNumber(parameter, *number);
        else if (const auto* const text = std::get_if<QString>(&value))
            bound = bindText(parameter, *text);
        else if (const auto* const time = std::get_if<QDateTime>(&value))
            bound = bindTime(parameter, *time);
        else if (const auto* const variant = std::get_if<QVariant>(&value))
            bound = bindVariant(parameter, *variant);
        else
            bound = bindNull(parameter);
        if (!bound)
            return false;
    }
    return bindBuffered();
}

void BoundValues::clear() noexcept
{
    // The memory that a single large text has needed is not kept.
    constexpr std::size_t KeptBytes = 65536;
    for (BoundValue& value : values)
        value.emplace<std::monostate>();
    if (buffer.size() > KeptBytes)
        buffer = {};
}

bool BoundValues::bindVariant(int parameter, const QVariant& value)
{
    if (value.isNull())
        return bindNull(parameter); // also one that has a type
    switch (value.typeId()) {
    case QMetaType::Int:
        return bindNumber(parameter, *static_cast<const int*>(value.constData()));
    case QMetaType::LongLong:
        return bindNumber(parameter, *static_cast<const qlonglong*>(value.constData()));
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        if (value.toULongLong() > std::numeric_limits<qlonglong>::max())
            return refuse(u"a number over 9223372036854775807 cannot be stored"_s);
        return bindNumber(parameter, value.toLongLong());
    case QMetaType::Float:
    case QMetaType::Double:
        if (std::isnan(value.toDouble()))
            return refuse(u"a floating-point value that is no number cannot be stored"_s);
        return succeeded(sqlite3_bind_double(statement, parameter, value.toDouble()));
    case QMetaType::QByteArray:
        return bindBytes(parameter, *static_cast<const QByteArray*>(value.constData()));
    case QMetaType::QDateTime:
        return bindTime(parameter, *static_cast<const QDateTime*>(value.constData()));
    case QMetaType::QString:
        return bindText(parameter, *static_cast<const QString*>(value.constData()));
    default:
        if (isInteger(value.metaType()))
            return bindNumber(parameter, value.toLongLong());
        if (value.canConvert<QString>())
            return bindText(parameter, value.toString());
        return refuse(u"a value of type %1 cannot be stored"_s.arg(
            QLatin1StringView(value.metaType().name())));
    }
}

bool BoundValues::bindNull(int parameter)
{
    return succeeded(sqlite3_bind_null(statement, parameter));
}

bool BoundValues::bindNumber(int parameter, qlonglong value)
{
    return succeeded(sqlite3_bind_int64(statement, parameter, value));
}

bool BoundValues::bindText(int parameter, const QString& text)
{
    if (text.isNull())
        return bindNull(parameter);
    take(parameter, base::encodeUtf8(text, room(text.size() * base::MaximumUtf8PerUnit)), true);
    return true;
}

bool BoundValues::bindTime(int parameter, const QDateTime& time)
{
    if (!time.isValid())
        return bindNull(parameter);
    const char* const end = encodeTime(time, room(MaximumTimeText));
    if (!end)
        return refuse(u"a time outside the years 1 to 9999 cannot be stored"_s);
    take(parameter, end, true);
    return true;
}

bool BoundValues::bindBytes(int parameter, const QByteArray& bytes)
{
    if (bytes.isNull())
        return bindNull(parameter);
    take(parameter, std::copy(bytes.begin(), bytes.end(), room(bytes.size())), false);
    return true;
}

bool BoundValues::bindBuffered()
{
    for (const Bytes& bytes : buffered) {
        const char* const start = buffer.data() + bytes.offset;
        const int result =
            bytes.isText
                ? sqlite3_bind_text64(
                      statement, bytes.parameter, start, bytes.size, SQLITE_STATIC, SQLITE_UTF8)
                : sqlite3_bind_blob64(statement, bytes.parameter, start, bytes.size, SQLITE_STATIC);
        if (!succeeded(result))
            return false;
    }
    return true;
}

// A place after the content of the buffer. One byte more than asked for, because a null pointer for
// no bytes would be NULL.
char* BoundValues::room(qsizetype size)
{
    const std::size_t needed = used + static_cast<std::size_t>(size) + 1;
    if (buffer.size() < needed)
        buffer.resize(std::max(needed, 2 * buffer.size()));
    return buffer.data() + used;
}

void BoundValues::take(int parameter, const char* end, bool isText)
{
    const auto size = static_cast<std::size_t>(end - buffer.data()) - used;
    buffered.push_back({parameter, isText, used, size});
    used += size;
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
