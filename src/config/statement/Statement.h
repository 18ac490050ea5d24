#pragma once
#include <core/PosixSync.h>

#include <config/statement/RowReader.h>
#include <interf/IQSqlTypedQuery.h>

#include <QDateTime>
#include <QString>
#include <QVariant>
#include <QVector>

#include <memory>

namespace sync::config {

/// Reads the current row into a record, and leaves the record unchanged without a row.
template <typename Manager, typename Record>
using Population = void (Manager::*)(const RowReader& row, Record& record) const;

/// One statement of a manager. It releases its query when it ends.
///
/// An operation opens its transaction scope first, so that its statements end before the scope.
class Statement
{
public:
    /// Takes a new query and prepares `sql`. If that fails, exec() fails.
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

    /// Runs an INSERT and sets `id` to the new row's id; leaves it unchanged on failure.
    bool execInsert(int& id)
    {
        if (!query->exec())
            return false;
        id = query->lastInsertId().toInt();
        return true;
    }

    /// Runs an UPDATE or DELETE; the number of rows that it changed, or -1 if it fails.
    int execCounting() { return query->exec() ? query->numRowsAffected() : -1; }

    /// Runs a count; column 0 of the first row, or `failed` if the statement fails.
    int execNumber(int failed)
    {
        if (!query->exec())
            return failed;
        query->next();
        return query->value(0).toInt();
    }

    /// Runs a SELECT and reads its first row; a default record if it fails or has no row.
    template <typename Manager, typename Record>
    Record readOne(const Manager* manager, Population<Manager, Record> populate) const
    {
        Record record;
        if (!query->exec())
            return record;
        // Ignores the result: `populate` asks the query for a current row.
        query->next();
        (manager->*populate)(row(), record);
        return record;
    }

    /// The same, but populates only if there is a row.
    template <typename Manager, typename Record>
    Record readOneIfAny(const Manager* manager, Population<Manager, Record> populate) const
    {
        Record record;
        if (query->exec() && query->next())
            (manager->*populate)(row(), record);
        return record;
    }

    /// Runs a SELECT and reads all its rows; an empty list if it fails.
    template <typename Manager, typename Record, typename Records = QVector<Record>>
    Records readAll(const Manager* manager, Population<Manager, Record> populate) const
    {
        Records records;
        if (!query->exec())
            return records;
        while (query->next())
            (manager->*populate)(row(), records.emplace_back());
        return records;
    }

    /// Empty unless the statement or the last step to a row failed.
    QString lastError() const { return query->lastError(); }

    /// The current row.
    RowReader row() const { return {query.get(), typed}; }

private:
    std::shared_ptr<interf::IQSqlQueryWrapper> query;
    interf::IQSqlTypedQuery* typed; // the same query, or null if it is not typed
};

} // namespace sync::config
