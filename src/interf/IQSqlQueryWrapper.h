#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>
#include <QVariant>

namespace sync::interf {

/// One SQL statement with named placeholders, from its preparation to its last row.
///
/// The order of use is prepare(), bindValue() for each placeholder, exec(), then next() and value()
/// for each row. A query is used by one thread; the thread that made it unless the factory says
/// otherwise. No operation throws.
class VELMIO_INTERFACES_EXPORT IQSqlQueryWrapper
{
public:
    virtual ~IQSqlQueryWrapper();

    /// What went wrong in the last exec(), for a person; empty when it succeeded.
    virtual QString lastError() const = 0;

    /// The text as it was given to prepare().
    virtual QString lastQuery() const = 0;

    /// Column `index`, counted from 0 in the order of the SELECT list, of the row on which the
    /// query stands; an invalid value when it stands on none.
    virtual QVariant value(int index) const = 0;

    /// Moves to the next row; the first call moves onto the first row. False after the last one.
    virtual bool next() = 0;

    /// True while the query stands on a row.
    virtual bool isValid() const = 0;

    /// Prepares one statement. A text that cannot be prepared also makes exec() return false.
    virtual bool prepare(const QString& sql) = 0;

    /// Binds a value to a placeholder, which is named with its leading colon. A placeholder that
    /// receives no value is NULL.
    virtual void bindValue(const QString& placeholder, const QVariant& value) = 0;

    /// The value bound to a placeholder; an invalid one when there is none.
    virtual QVariant boundValue(const QString& placeholder) const = 0;

    /// A hint that rows are read once, from the first to the last.
    virtual void setForwardOnly(bool forward) = 0;

    /// Runs the statement; false on any error of the database.
    virtual bool exec() = 0;

    /// The row id that the INSERT just executed was given.
    virtual QVariant lastInsertId() const = 0;

    /// How many rows the UPDATE or DELETE just executed touched.
    virtual int numRowsAffected() const = 0;
};

} // namespace sync::interf
