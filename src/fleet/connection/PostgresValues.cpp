#include <fleet/connection/PostgresValues.h>

#include <base/ClockReading.h>
#include <base/StorableValue.h>
#include <base/Utf8.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <memory>

using namespace Qt::StringLiterals;

namespace sync::fleet {

namespace {

// https://github.com/postgres/postgres/blob/master/src/include/catalog/pg_type.dat
namespace types {
constexpr Oid Bool = 16;
constexpr Oid Bytea = 17;
constexpr Oid Int8 = 20;
constexpr Oid Int2 = 21;
constexpr Oid Int4 = 23;
constexpr Oid Float4 = 700;
constexpr Oid Float8 = 701;
constexpr Oid Numeric = 1700;
} // namespace types

struct FreeMemory
{
    void operator()(unsigned char* bytes) const { PQfreemem(bytes); }
};

QByteArray decodeBytes(const char* text)
{
    std::size_t size = 0;
    const std::unique_ptr<unsigned char, FreeMemory> bytes(
        PQunescapeBytea(reinterpret_cast<const unsigned char*>(text), &size));
    // Empty bytes must not read as null.
    return size == 0 ? QByteArray("")
                     : QByteArray(reinterpret_cast<const char*>(bytes.get()), qsizetype(size));
}

bool parseNumber(std::string_view text, qlonglong& number)
{
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && read.ptr == text.data() + text.size();
}

} // namespace

QVariant toVariant(const BoundValue& value)
{
    const auto convert = [](const auto& held) -> QVariant {
        if constexpr (std::is_same_v<decltype(held), const std::monostate&>)
            return {};
        else
            return held;
    };
    return std::visit(convert, value);
}

void Parameters::addNull()
{
    offsets.push_back(-1);
    sizes.push_back(0);
    binary.push_back(0);
    declared.push_back(0);
}

void Parameters::addNumber(qlonglong value)
{
    constexpr qsizetype MostDigits = 20;
    const bool isLong =
        value > std::numeric_limits<qint32>::max() || value < std::numeric_limits<qint32>::min();
    longNumber = longNumber || isLong;
    char* const start = room(MostDigits);
    take(std::to_chars(start, start + MostDigits, value).ptr, false, isLong ? types::Int8 : 0);
}

void Parameters::addText(const QByteArray& utf8)
{
    take(std::copy(utf8.begin(), utf8.end(), room(utf8.size())));
}

bool Parameters::add(const BoundValue& value)
{
    if (const auto* const number = std::get_if<qlonglong>(&value)) {
        addNumber(*number);
        return true;
    }
    if (const auto* const text = std::get_if<QString>(&value))
        return addText(*text);
    if (const auto* const time = std::get_if<QDateTime>(&value))
        return addTime(*time);
    if (const auto* const variant = std::get_if<QVariant>(&value))
        return addVariant(*variant);
    addNull();
    return true;
}

void Parameters::clear()
{
    used = 0;
    offsets.clear();
    sizes.clear();
    binary.clear();
    declared.clear();
    longNumber = false;
    message.clear();
}

const char* const* Parameters::values()
{
    pointers.clear();
    for (const std::ptrdiff_t offset : offsets)
        pointers.push_back(offset < 0 ? nullptr : buffer.data() + offset);
    return pointers.data();
}

bool Parameters::addVariant(const QVariant& value)
{
    struct Adder
    {
        bool operator()(std::monostate) const
        {
            parameters.addNull();
            return true;
        }
        bool operator()(qlonglong number) const
        {
            parameters.addNumber(number);
            return true;
        }
        bool operator()(double number) const
        {
            constexpr qsizetype MostCharacters = 32;
            char* const start = parameters.room(MostCharacters);
            parameters.take(std::to_chars(start, start + MostCharacters, number).ptr);
            return true;
        }
        bool operator()(const QString& text) const { return parameters.addText(text); }
        bool operator()(const QDateTime& time) const { return parameters.addTime(time); }
        bool operator()(const QByteArray& bytes) const { return parameters.addBytes(bytes); }
        bool operator()(const base::Refusal& refusal) const
        {
            return parameters.refuse(refusal.reason);
        }

        Parameters& parameters;
    };
    return std::visit(Adder{*this}, base::storableValue(value));
}

bool Parameters::addText(const QString& text)
{
    if (text.isNull()) {
        addNull();
        return true;
    }
    // A C string: the server would store what comes before it.
    if (text.contains(QChar(0)))
        return refuse(u"a text with a NUL character cannot be stored in PostgreSQL"_s);
    if (!text.isValidUtf16())
        return refuse(u"a text that is not valid Unicode cannot be stored in PostgreSQL"_s);
    take(base::encodeUtf8(text, room(text.size() * base::MaximumUtf8PerUnit)));
    return true;
}

bool Parameters::addTime(const QDateTime& time)
{
    if (!time.isValid()) {
        addNull();
        return true;
    }
    const char* const end = base::encodeTime(time, room(base::MaximumTimeText));
    if (!end)
        return refuse(base::timeRefusal().reason);
    take(end);
    return true;
}

bool Parameters::addBytes(const QByteArray& bytes)
{
    if (bytes.isNull())
        addNull();
    else
        take(std::copy(bytes.begin(), bytes.end(), room(bytes.size())), true);
    return true;
}

// A place after the content of the buffer, with one byte more for the NUL.
char* Parameters::room(qsizetype size)
{
    const std::size_t needed = used + static_cast<std::size_t>(size) + 1;
    if (buffer.size() < needed)
        buffer.resize(std::max(needed, 2 * buffer.size()));
    return buffer.data() + used;
}

void Parameters::take(const char* end, bool isBinary, Oid type)
{
    const auto size = static_cast<std::size_t>(end - buffer.data()) - used;
    offsets.push_back(static_cast<std::ptrdiff_t>(used));
    sizes.push_back(static_cast<int>(size));
    binary.push_back(isBinary ? 1 : 0);
    declared.push_back(type);
    buffer[used + size] = '\0';
    used += size + 1;
}

bool Parameters::refuse(const QString& reason)
{
    message = reason;
    return false;
}

bool ColumnValue::isNull() const
{
    return !result || (PQgetlength(result, row, column) == 0 && PQgetisnull(result, row, column));
}

bool ColumnValue::isInteger() const
{
    return type == types::Int4 || type == types::Int8 || type == types::Int2;
}

bool ColumnValue::isText() const
{
    switch (type) {
    case types::Bool:
    case types::Bytea:
    case types::Float4:
    case types::Float8:
    case types::Numeric:
        return false;
    default:
        return !isInteger();
    }
}

std::string_view ColumnValue::utf8() const
{
    return {
        PQgetvalue(result, row, column),
        static_cast<std::size_t>(PQgetlength(result, row, column))};
}

QVariant ColumnValue::toVariant() const
{
    if (isNull())
        return {};
    const std::string_view text = utf8();
    switch (type) {
    case types::Bool:
        return qlonglong(text == "t" ? 1 : 0);
    case types::Bytea:
        return decodeBytes(text.data());
    case types::Float4:
    case types::Float8:
        return QByteArray::fromRawData(text.data(), qsizetype(text.size())).toDouble();
    case types::Int2:
    case types::Int4:
    case types::Int8:
    case types::Numeric:
        // A sum of integers is a whole number, also where its type is NUMERIC.
        if (qlonglong number = 0; parseNumber(text, number))
            return number;
        return QByteArray::fromRawData(text.data(), qsizetype(text.size())).toDouble();
    default:
        return toText();
    }
}

qlonglong ColumnValue::toLongLong() const
{
    if (qlonglong number = 0; !isNull() && isInteger() && parseNumber(utf8(), number))
        return number;
    return toVariant().toLongLong();
}

QString ColumnValue::toText() const
{
    if (isNull() || !isText())
        return toVariant().toString();
    const std::string_view text = utf8();
    return base::decodeUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

bool ColumnValue::holds(QStringView text) const
{
    return !isNull() && isText() && QLatin1StringView(utf8()) == text;
}

QDateTime ColumnValue::toUtcTime() const
{
    if (!isNull() && isText()) {
        // A new label makes the zone of the text irrelevant.
        const auto reading = base::parseClockReading(utf8());
        if (reading && base::isPlainZone(reading->zone))
            return QDateTime::fromMSecsSinceEpoch(reading->sinceEpoch.count(), Qt::UTC);
    }
    QDateTime time = toVariant().toDateTime();
    time.setTimeSpec(Qt::UTC);
    return time;
}

} // namespace sync::fleet
