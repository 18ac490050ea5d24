#pragma once
#include <core/PosixSync.h>

#include <config/statement/RowReader.h>
#include <interf/IQSqlTypedQuery.h>

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <memory>

namespace sync::config {

/// One statement of a manager: a query of the factory, released when the statement goes.
///
/// A managers' operation opens its transaction scope first, so that its statements end before it.
class Statement
{
public:
    /// Takes a fresh query and prepares `sql`. Whether that worked shows in exec().
    Statement(std::shared_ptr<interf::IQSqlQueryWrapper> freshQuery, const QString& sql)
        : query(std::move(freshQuery))
        , typed(dynamic_cast<interf::IQSqlTypedQuery*>(query.get()))
    {
        query->prepare(sql);
    }

    Statement& bind(const QString& placeholder, int value)
    {
        typed ? typed->bindNumber(placeholder, value) : query->bindValue(placeholder, value);
        return *this;
    }

    Statement& bind(const QString& placeholder, qlonglong value)
    {
        typed ? typed->bindNumber(placeholder, value) : query->bindValue(placeholder, value);
        return *this;
    }

    Statement& bind(const QString& placeholder, const QString& value)
    {
        typed ? typed->bindText(placeholder, value) : query->bindValue(placeholder, value);
        return *this;
    }

    Statement& bind(const QString& placeholder, const QDateTime& value)
    {
        typed ? typed->bindTime(placeholder, value) : query->bindValue(placeholder, value);
        return *this;
    }

    Statement& bind(const QString& placeholder, const QVariant& value)
    {
        query->bindValue(placeholder, value);
        return *this;
    }

    /// False on any database error.
    bool exec() { return query->exec(); }

    /// Runs an INSERT and writes the new row's id; `id` stays as it is when that fails.
    bool execInsert(int& id)
    {
        if (!query->exec())
            return false;
        id = query->lastInsertId().toInt();
        return true;
    }

    /// Runs an UPDATE or DELETE: how many rows it touched, or -1 when it fails.
    int execCounting() { return query->exec() ? query->numRowsAffected() : -1; }

    /// Runs a count: column 0 of the first row, or `failed` when the statement fails.
    int execNumber(int failed)
    {
        if (!query->exec())
            return failed;
        query->next();
        return query->value(0).toInt();
    }

    /// Runs a SELECT and reads its first row; a default record when it fails or has no row.
    ///
    /// `populate` is a member function of the manager, given the row and the record; it leaves the
    /// record untouched when the query stands on no row.
    template <typename Record, typename Manager, typename Populate>
    Record readOne(Manager* manager, Populate populate)
    {
        Record record;
        if (!query->exec())
            return record;
        // The result is ignored: `populate` asks the query whether it stands on a row.
        query->next();
        (manager->*populate)(row(), record);
        return record;
    }

    /// Runs a SELECT and steps onto its first row; false when it fails or has no row.
    bool execToFirstRow() { return query->exec() && query->next(); }

    /// The row of the last step.
    RowReader row() const { return {query.get(), typed}; }

    /// Runs a SELECT and reads all its rows; an empty list when it fails.
    ///
    /// `populate` is a member function of the manager, given the row before the first one and the
    /// list to append to.
    template <typename Records, typename Manager, typename Populate>
    Records readAll(Manager* manager, Populate populate)
    {
        Records records;
        if (query->exec())
            (manager->*populate)(row(), records);
        return records;
    }

private:
    std::shared_ptr<interf::IQSqlQueryWrapper> query;
    interf::IQSqlTypedQuery* typed; // the same, if it is one
};

} // namespace sync::config
