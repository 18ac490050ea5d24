#pragma once
#include <core/PosixSync.h>

#include <config/statement/DateTimes.h>
#include <interf/IQSqlTypedQuery.h>

#include <QDateTime>
#include <QString>
#include <QVariant>

namespace sync::config {

/// Reads the columns of the row on which a query stands, without a QVariant where the query can.
///
/// Columns are counted from 0 in the order of the SELECT list. It does not own the query.
class RowReader
{
public:
    /// `typed` is the same query, or null when it is no such one.
    RowReader(interf::IQSqlQueryWrapper* query, const interf::IQSqlTypedQuery* typed)
        : query(query)
        , typed(typed)
    {
    }

    /// Moves to the next row; false after the last one.
    bool next() const { return query->next(); }

    /// True while the query stands on a row.
    bool isValid() const { return query->isValid(); }

    int integer(int column) const
    {
        return typed ? typed->intValue(column) : toInt(query->value(column));
    }

    qint64 longInteger(int column) const
    {
        return typed ? typed->longLongValue(column) : query->value(column).toLongLong();
    }

    QString text(int column) const
    {
        return typed ? typed->textValue(column) : query->value(column).toString();
    }

    /// True when it can be told without a copy that the column holds these ASCII characters.
    bool holds(int column, QStringView text) const
    {
        return typed && typed->holdsText(column, text);
    }

    /// Labelled as UTC and not converted: columns hold UTC clock readings.
    QDateTime utcTime(int column) const
    {
        return typed ? typed->utcTimeValue(column) : readUtcDateTime(query->value(column));
    }

    QVariant value(int column) const { return query->value(column); }

private:
    // QVariant::toInt() looks conversions up, which takes as long as all else about a column.
    static int toInt(const QVariant& value)
    {
        return value.typeId() == QMetaType::LongLong
                   ? static_cast<int>(*static_cast<const qlonglong*>(value.constData()))
                   : value.toInt();
    }

    interf::IQSqlQueryWrapper* query;
    const interf::IQSqlTypedQuery* typed;
};

} // namespace sync::config
