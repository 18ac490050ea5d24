#pragma once

#include <fleet/pool/ConnectionPool.h>
#include <interf/IQSqlTypedQuery.h>

#include <memory>

namespace sync::fleet {

/// A statement on the connection of the thread that made the query.
class PostgresQuery final : public interf::IQSqlTypedQuery
{
public:
    explicit PostgresQuery(std::shared_ptr<ConnectionPool> pool);

    QString lastError() const override { return error.text; }
    QString lastQuery() const override { return text; }
    QVariant value(int index) const override { return column(index).toVariant(); }
    bool next() override;
    bool isValid() const override { return row >= 0; }
    bool prepare(const QString& sql) override;
    void bindValue(const QString& placeholder, const QVariant& value) override;
    QVariant boundValue(const QString& placeholder) const override;
    void setForwardOnly(bool forward) override;
    bool exec() override;
    QVariant lastInsertId() const override { return insertedId; }
    int numRowsAffected() const override { return affectedRows; }

    int intValue(int index) const override;
    qlonglong longLongValue(int index) const override { return column(index).toLongLong(); }
    QString textValue(int index) const override { return column(index).toText(); }
    bool holdsText(int index, QStringView expected) const override;
    QDateTime utcTimeValue(int index) const override { return column(index).toUtcTime(); }
    void bindNumber(const QString& placeholder, qlonglong value) override;
    void bindText(const QString& placeholder, const QString& value) override;
    void bindTime(const QString& placeholder, const QDateTime& value) override;

private:
    ColumnValue column(int index) const;
    std::optional<std::size_t> find(const QString& placeholder) const;
    template <typename Value>
    void bind(const QString& placeholder, const Value& value);
    bool fail(database::Failure reason);

    const ConnectionLease connection;
    const std::thread::id thread = std::this_thread::get_id();
    std::shared_ptr<const Translation> statement;
    std::vector<BoundValue> values; // of the statement's placeholders
    QString text;
    database::Failure error;
    database::Failure prepareError; // also of a placeholder that the text does not have
    ResultHandle result;
    std::vector<Oid> columnTypes;
    int row = -1; // none
    int nextRow = 0;
    std::size_t nextValue = 0; // which is likely to be bound next
    QVariant insertedId;
    int affectedRows = -1;
};

} // namespace sync::fleet
