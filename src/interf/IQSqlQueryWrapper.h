#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>
#include <QVariant>

namespace sync::interf {

/// One SQL statement with named placeholders, from its preparation to its last row.
///
/// The order of use is prepare(), bindValue() for each placeholder, exec(), then next() and value()
/// for each row. Only one thread may use a query: the thread that created it, unless the factory
/// says otherwise. No operation throws.
class VELMIO_INTERFACES_EXPORT IQSqlQueryWrapper
{
public:
    virtual ~IQSqlQueryWrapper();

    /// A text for a person about the failure of the last exec(); empty if it succeeded.
    virtual QString lastError() const = 0;

    /// The text that was passed to prepare().
    virtual QString lastQuery() const = 0;

    /// Column `index` of the current row, counted from 0 in the order of the SELECT list; an
    /// invalid value without a current row.
    virtual QVariant value(int index) const = 0;

    /// Moves to the next row; the first call moves onto the first row. False after the last one.
    virtual bool next() = 0;

    /// True while there is a current row.
    virtual bool isValid() const = 0;

    /// Prepares one statement. A text that cannot be prepared also makes exec() return false.
    virtual bool prepare(const QString& sql) = 0;

    /// Binds a value to a placeholder; its name includes the leading colon. A placeholder without a
    /// value is NULL.
    virtual void bindValue(const QString& placeholder, const QVariant& value) = 0;

    /// The value bound to a placeholder; an invalid value if there is none.
    virtual QVariant boundValue(const QString& placeholder) const = 0;

    /// A hint that the rows will be read once, from the first to the last.
    virtual void setForwardOnly(bool forward) = 0;

    /// Runs the statement; false on any error of the database.
    virtual bool exec() = 0;

    /// The row id of the row that the last INSERT added.
    virtual QVariant lastInsertId() const = 0;

    /// The number of rows that the last UPDATE or DELETE changed.
    virtual int numRowsAffected() const = 0;
};

} // namespace sync::interf
