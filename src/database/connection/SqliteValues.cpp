#include <database/connection/SqliteValues.h>

#include <base/ClockReading.h>
#include <base/StorableValue.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace sync::database {

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
    struct Binder
    {
        bool operator()(std::monostate) const { return values.bindNull(parameter); }
        bool operator()(qlonglong number) const { return values.bindNumber(parameter, number); }
        bool operator()(double number) const
        {
            return values.succeeded(sqlite3_bind_double(values.statement, parameter, number));
        }
        bool operator()(const QString& text) const { return values.bindText(parameter, text); }
        bool operator()(const QDateTime& time) const { return values.bindTime(parameter, time); }
        bool operator()(const QByteArray& bytes) const
        {
            return values.bindBytes(parameter, bytes);
        }
        bool operator()(const base::Refusal& refusal) const
        {
            return values.refuse(refusal.reason);
        }

        BoundValues& values;
        const int parameter;
    };
    return std::visit(Binder{*this, parameter}, base::storableValue(value));
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
    const char* const end = base::encodeTime(time, room(base::MaximumTimeText));
    if (!end)
        return refuse(base::timeRefusal().reason);
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
