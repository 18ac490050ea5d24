#include <base/StorableValue.h>

#include <base/Utf8.h>

#include <chrono>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace sync::base {

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
    return text.isEmpty() ? nullptr : encodeUtf8(text, target);
}

Refusal timeRefusal()
{
    return {u"a time outside the years 1 to 9999 cannot be stored"_s};
}

StorableValue storableValue(const QVariant& value)
{
    if (value.isNull())
        return {}; // also one that has a type
    switch (value.typeId()) {
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        if (value.toULongLong() > std::numeric_limits<qlonglong>::max())
            return Refusal{u"a number over 9223372036854775807 cannot be stored"_s};
        return value.toLongLong();
    case QMetaType::Float:
    case QMetaType::Double:
        if (std::isnan(value.toDouble()))
            return Refusal{u"a floating-point value that is no number cannot be stored"_s};
        return value.toDouble();
    case QMetaType::QByteArray:
        return value.toByteArray();
    case QMetaType::QDateTime:
        return value.toDateTime();
    case QMetaType::QString:
        return value.toString();
    default:
        if (isInteger(value.metaType()))
            return value.toLongLong();
        if (value.canConvert<QString>())
            return value.toString();
        return Refusal{u"a value of type %1 cannot be stored"_s.arg(
            QLatin1StringView(value.metaType().name()))};
    }
}

} // namespace sync::base
