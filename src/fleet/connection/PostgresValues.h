#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariant>

#include <libpq-fe.h>

#include <string_view>
#include <variant>
#include <vector>

namespace sync::fleet {

/// What a placeholder has received: nothing, a value of a typed query, or any other value.
using BoundValue = std::variant<std::monostate, qlonglong, QString, QDateTime, QVariant>;

QVariant toVariant(const BoundValue& value);

/// The values of a statement in the form in which libpq sends them: texts, and bytes as they are.
class Parameters
{
public:
    void addNull();
    void addNumber(qlonglong value);
    void addText(const QByteArray& utf8);

    /// False if the value cannot be stored without loss, with the reason in error().
    bool add(const BoundValue& value);

    QString error() const { return message; }

    /// Empties it, for the next statement.
    void clear();

    /// For PQsendQueryPrepared(); valid until the next change. @{
    int count() const { return static_cast<int>(offsets.size()); }
    const char* const* values();
    const int* lengths() const { return sizes.data(); }
    const int* formats() const { return binary.data(); }
    ///@}

    /// For PQsendPrepare(): 0 leaves the type to the server, which knows what the column takes.
    const Oid* types() const { return declared.data(); }

    /// True if a number does not fit 32 bits: it must be declared, or no integer column takes it.
    bool hasLongNumber() const { return longNumber; }

    std::size_t byteCount() const { return buffer.size(); }

private:
    bool addText(const QString& text);
    bool addTime(const QDateTime& time);
    bool addBytes(const QByteArray& bytes);
    bool addVariant(const QVariant& value);
    char* room(qsizetype size);
    void take(const char* end, bool isBinary = false, Oid type = 0);
    bool refuse(const QString& reason);

    std::vector<char> buffer; // the values one after the other, each with a NUL after it
    std::size_t used = 0;
    std::vector<std::ptrdiff_t> offsets; // in the buffer; -1 for NULL
    std::vector<int> sizes;
    std::vector<int> binary;
    std::vector<Oid> declared;
    std::vector<const char*> pointers;
    bool longNumber = false;
    QString message;
};

/// A column of a row of a result in the text format.
///
/// The binary format takes as long for a row of 24 columns and 10 % longer for 50 of them: what the
/// server saves with 12 numbers it loses with 12 texts.
class ColumnValue
{
public:
    /// With the type of the column, which a query asks once for all rows. No result stands for
    /// NULL.
    ColumnValue(const PGresult* result, int row, int column, Oid type)
        : result(result)
        , row(row)
        , column(column)
        , type(type)
    {
    }

    /// Of a column that exists.
    ColumnValue(const PGresult* result, int row, int column)
        : ColumnValue(result, row, column, PQftype(result, column))
    {
    }

    /// A 64-bit integer, a double, a text, bytes, or an invalid value for NULL.
    QVariant toVariant() const;

    /// What toVariant() converts to, at a fraction of its cost for the type that is expected. @{
    qlonglong toLongLong() const;
    QString toText() const;
    bool holds(QStringView text) const;
    QDateTime toUtcTime() const;
    ///@}

private:
    bool isNull() const;
    bool isInteger() const;
    bool isText() const;
    std::string_view utf8() const;

    const PGresult* const result;
    const int row;
    const int column;
    const Oid type;
};

} // namespace sync::fleet
