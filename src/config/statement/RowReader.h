#pragma once
#include <core/PosixSync.h>

#include <config/statement/DateTimes.h>
#include <interf/IQSqlTypedQuery.h>

#include <QDateTime>
#include <QString>
#include <QVariant>

namespace sync::config {

/// Reads the columns of the current row of a query, without a QVariant if the query can do that.
///
/// Columns are counted from 0 in the order of the SELECT list. It does not own the query.
class RowReader
{
public:
    /// `typed` is the same query, or null if it is not typed.
    RowReader(interf::IQSqlQueryWrapper* query, const interf::IQSqlTypedQuery* typed)
        : query(query)
        , typed(typed)
    {
    }

    /// Moves to the next row; false after the last one.
    bool next() const { return query->next(); }

    /// True while there is a current row.
    bool isValid() const { return query->isValid(); }

    int integer(int column) const
    {
        return typed ? typed->intValue(column) : untypedInteger(column);
    }

    qint64 longInteger(int column) const
    {
        return typed ? typed->longLongValue(column) : query->value(column).toLongLong();
    }

    QString text(int column) const
    {
        return typed ? typed->textValue(column) : untypedText(column);
    }

    /// True if the query can say without a copy that the column holds this ASCII text.
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
    int untypedInteger(int column) const;
    QString untypedText(int column) const;

    interf::IQSqlQueryWrapper* query;
    const interf::IQSqlTypedQuery* typed;
};

} // namespace sync::config
