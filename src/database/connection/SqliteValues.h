#pragma once

#include <base/Utf8.h>

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <sqlite3.h>

#include <string_view>
#include <variant>
#include <vector>

namespace sync::database {

/// A column of the current row of a statement, valid for as long as the statement stays on that
/// row.
///
/// SQLite calls the value of a column unprotected: only the thread that alone uses the connection
/// may read it (sqlite.org/c3ref/value.html), which holds for all of ours. One look-up then serves
/// its type, its bytes and their number.
class ColumnValue
{
public:
    /// Null stands for NULL.
    explicit ColumnValue(sqlite3_value* value)
        : value(value)
    {
    }

    /// A 64-bit integer, a double, a text, bytes, or an invalid value for NULL.
    QVariant toVariant() const;

    /// What toVariant() converts to, at a fraction of its cost for the type that is expected.
    int toInt() const
    {
        return is(SQLITE_INTEGER) ? static_cast<int>(sqlite3_value_int64(value))
                                  : toVariant().toInt();
    }
    qlonglong toLongLong() const
    {
        return is(SQLITE_INTEGER) ? sqlite3_value_int64(value) : toVariant().toLongLong();
    }
    QString toText() const
    {
        if (!is(SQLITE_TEXT))
            return toVariant().toString();
        const std::string_view text = utf8();
        return base::decodeUtf8(text.data(), static_cast<qsizetype>(text.size()));
    }

    /// True for a text of exactly these ASCII characters.
    bool holds(QStringView text) const
    {
        return is(SQLITE_TEXT) && QLatin1StringView(utf8()) == text;
    }

    /// The clock reading of toVariant().toDateTime(), labelled as UTC.
    QDateTime toUtcTime() const;

private:
    bool is(int type) const { return value && sqlite3_value_type(value) == type; }
    std::string_view utf8() const
    {
        const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
        // Null if no memory is available.
        return {text, text ? static_cast<std::size_t>(sqlite3_value_bytes(value)) : 0};
    }

    sqlite3_value* const value;
};

/// What a placeholder has received: nothing, a value of a typed query, or any other value.
using BoundValue = std::variant<std::monostate, qlonglong, QString, QDateTime, QVariant>;

/// The values for the placeholders of a statement, and the texts that it is given for them.
class BoundValues
{
public:
    /// Makes room for this many values, none of which is bound.
    void resize(std::size_t count) { values.resize(count); }

    /// Parameters are counted from 0. Call bind() before the statement runs.
    template <typename Value>
    void set(std::size_t parameter, const Value& value)
    {
        values[parameter] = value;
    }
    QVariant get(std::size_t parameter) const;

    /// Binds all values; invalid values, null texts and the like become NULL. The statement, which
    /// must not be running, then refers to bytes that stay valid until the next call. False if a
    /// value cannot be stored without loss, with the reason in error().
    bool bind(sqlite3_stmt* statement);

    QString error() const { return message; }

    /// Forgets the values. The statement must not refer to them any more.
    void clear() noexcept;

private:
    bool bindVariant(int parameter, const QVariant& value);
    bool bindNull(int parameter);
    bool bindNumber(int parameter, qlonglong value);
    bool bindText(int parameter, const QString& text);
    bool bindTime(int parameter, const QDateTime& time);
    bool bindBytes(int parameter, const QByteArray& bytes);
    bool bindBuffered();
    char* room(qsizetype size);
    void take(int parameter, const char* end, bool isText);
    bool refuse(const QString& reason);
    bool succeeded(int result);

    /// A place in the buffer.
    struct Bytes
    {
        int parameter;
        bool isText;
        std::size_t offset;
        std::size_t size;
    };

    std::vector<BoundValue> values;
    sqlite3_stmt* statement = nullptr; // during bind()
    // All bytes of the statement one after the other, passed to it when the buffer no longer moves.
    // Kept from one use to the next, so that it grows only once.
    std::vector<char> buffer;
    std::size_t used = 0;
    std::vector<Bytes> buffered;
    QString message;
};

} // namespace sync::database
