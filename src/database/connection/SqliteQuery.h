#pragma once

#include <database/connection/SqliteValues.h>
#include <database/pool/ConnectionPool.h>
#include <interf/IQSqlTypedQuery.h>

namespace sync::database {

/// A statement on the connection of the thread that made the query.
class SqliteQuery final : public interf::IQSqlTypedQuery
{
public:
    /// Throws DatabaseError when no connection can be opened.
    explicit SqliteQuery(std::shared_ptr<ConnectionPool> pool);

    QString lastError() const override { return error.text; }
    const Failure& lastFailure() const { return error; }
    QString lastQuery() const override { return text; }
    QVariant value(int index) const override;
    bool next() override;
    bool isValid() const override { return position == Position::OnRow; }
    bool prepare(const QString& sql) override;
    void bindValue(const QString& placeholder, const QVariant& value) override;
    QVariant boundValue(const QString& placeholder) const override;
    void setForwardOnly(bool forward) override;
    bool exec() override;
    QVariant lastInsertId() const override { return insertedId; }
    int numRowsAffected() const override { return affectedRows; }

    int intValue(int index) const override;
    qlonglong longLongValue(int index) const override;
    QString textValue(int index) const override;
    bool holdsText(int index, QStringView expected) const override;
    QDateTime utcTimeValue(int index) const override;
    void bindNumber(const QString& placeholder, qlonglong value) override;
    void bindText(const QString& placeholder, const QString& value) override;
    void bindTime(const QString& placeholder, const QDateTime& value) override;

private:
    enum class Position { NoRow, BeforeFirstRow, OnRow };

    ColumnValue column(int index) const;
    bool fail(Failure reason);
    template <typename Value>
    void bind(const QString& placeholder, const Value& value);
    bool execRead();
    bool execWrite();

    const ConnectionLease connection;
    const std::thread::id thread = std::this_thread::get_id();
    StatementLoan statement;
    QString text;
    Failure error;
    Failure prepareError; // also of a placeholder that the text does not have
    Position position = Position::NoRow;
    QVariant insertedId;
    int affectedRows = -1;
};

/// A query without a connection: every call returns the reason.
class FailedQuery : public interf::IQSqlQueryWrapper
{
public:
    FailedQuery(std::shared_ptr<ConnectionPool> pool, Failure reason)
        : pool(std::move(pool))
        , reason(std::move(reason))
    {
    }

    QString lastError() const override { return reason.text; }
    QString lastQuery() const override { return text; }
    QVariant value(int) const override { return {}; }
    bool next() override { return false; }
    bool isValid() const override { return false; }
    bool prepare(const QString& sql) override;
    void bindValue(const QString&, const QVariant&) override {}
    QVariant boundValue(const QString&) const override { return {}; }
    void setForwardOnly(bool) override {}
    bool exec() override;
    QVariant lastInsertId() const override { return {}; }
    int numRowsAffected() const override { return -1; }

private:
    const std::shared_ptr<ConnectionPool> pool;
    const Failure reason;
    QString text;
};

} // namespace sync::database
