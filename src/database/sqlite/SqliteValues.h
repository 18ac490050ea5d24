#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QVarLengthArray>
#include <QVariant>

#include <sqlite3.h>

#include <string_view>

namespace sync::database {

/// Appends a text as UTF-8. An unpaired surrogate becomes the three bytes that its code point would
/// have, as WTF-8 has it (simonsapin.github.io/wtf-8), so that every QString survives.
void appendUtf8(QByteArray& buffer, QStringView text);

/// The text that appendUtf8() has written. Bytes that are no UTF-8 read as U+FFFD.
QString decodeUtf8(const char* bytes, qsizetype size);

/// The text under which a time is stored: Qt::ISODateWithMs, with "Z" or an offset only when the
/// value has that time spec. Empty for a time that has no such text, such as one after year 9999.
QString timeText(const QDateTime& time);

/// A column of the row on which a statement stands, for as long as it stands there.
///
/// SQLite calls the value of a column unprotected: it may be read by the thread that alone uses the
/// connection (sqlite.org/c3ref/value.html), which is so for all of ours. One look-up by column
/// then serves its type, its bytes and their number.
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
        return decodeUtf8(text.data(), static_cast<qsizetype>(text.size()));
    }

    /// True for a text of just these ASCII characters.
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
        // Null when there is no memory.
        return {text, text ? static_cast<std::size_t>(sqlite3_value_bytes(value)) : 0};
    }

    sqlite3_value* const value;
};

/// Binds values to the placeholders of a statement and keeps the texts until the next call.
class BoundValues
{
public:
    /// Binds `values[i]` to parameter i + 1; an invalid value, a null text and the like are NULL.
    /// The values have to outlive the run of the statement. False when one cannot be stored
    /// without loss, with the reason in error().
    bool bind(sqlite3_stmt* statement, const QList<QVariant>& values);

    QString error() const { return message; }

private:
    bool bindOne(sqlite3_stmt* statement, int parameter, const QVariant& value);
    bool bindBytes(sqlite3_stmt* statement, int parameter, const QByteArray& bytes);
    bool bindTime(sqlite3_stmt* statement, int parameter, const QDateTime& time);
    bool bindText(sqlite3_stmt* statement, int parameter, const QString& text);
    bool refuse(const QString& reason);
    bool succeeded(int result);

    struct Text
    {
        int parameter;
        qsizetype offset;
        qsizetype size;
    };

    // All texts of the statement one behind the other. Bound at the end, when it moves no more.
    QByteArray buffer;
    QVarLengthArray<Text, 24> texts;
    QString message;
};

} // namespace sync::database
