#pragma once
#include <core/PosixSync.h>

#include <interf/IDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlTypedQuery.h>

#include <memory>
#include <utility>

namespace sync::test {

/// A query that passes every call on, for faults that change one thing.
class PassingQuery : public interf::IQSqlQueryWrapper
{
public:
    PassingQuery(
        std::shared_ptr<interf::IQSqlQueryWrapper> inner,
        std::shared_ptr<interf::IQSqlDatabaseWrapper> connection)
        : inner(std::move(inner))
        , connection(std::move(connection))
    {
    }

    QString lastError() const override { return inner->lastError(); }
    QString lastQuery() const override { return inner->lastQuery(); }
    QVariant value(int index) const override { return inner->value(index); }
    bool next() override { return inner->next(); }
    bool isValid() const override { return inner->isValid(); }
    bool prepare(const QString& sql) override { return inner->prepare(sql); }
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        inner->bindValue(placeholder, value);
    }
    QVariant boundValue(const QString& placeholder) const override
    {
        return inner->boundValue(placeholder);
    }
    void setForwardOnly(bool forward) override { inner->setForwardOnly(forward); }
    bool exec() override { return inner->exec(); }
    QVariant lastInsertId() const override { return inner->lastInsertId(); }
    int numRowsAffected() const override { return inner->numRowsAffected(); }

protected:
    const std::shared_ptr<interf::IQSqlQueryWrapper> inner;
    const std::shared_ptr<interf::IQSqlDatabaseWrapper> connection;
};

/// The same for a typed query.
class PassingTypedQuery : public interf::IQSqlTypedQuery
{
public:
    PassingTypedQuery(
        const std::shared_ptr<interf::IQSqlQueryWrapper>& query,
        const std::shared_ptr<interf::IQSqlDatabaseWrapper>& /*connection*/)
        : inner(std::dynamic_pointer_cast<interf::IQSqlTypedQuery>(query))
    {
    }

    QString lastError() const override { return inner->lastError(); }
    QString lastQuery() const override { return inner->lastQuery(); }
    QVariant value(int index) const override { return inner->value(index); }
    bool next() override { return inner->next(); }
    bool isValid() const override { return inner->isValid(); }
    bool prepare(const QString& sql) override { return inner->prepare(sql); }
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        inner->bindValue(placeholder, value);
    }
    QVariant boundValue(const QString& placeholder) const override
    {
        return inner->boundValue(placeholder);
    }
    void setForwardOnly(bool forward) override { inner->setForwardOnly(forward); }
    bool exec() override { return inner->exec(); }
    QVariant lastInsertId() const override { return inner->lastInsertId(); }
    int numRowsAffected() const override { return inner->numRowsAffected(); }
    int intValue(int index) const override { return inner->intValue(index); }
    qlonglong longLongValue(int index) const override { return inner->longLongValue(index); }
    QString textValue(int index) const override { return inner->textValue(index); }
    bool holdsText(int index, QStringView text) const override
    {
        return inner->holdsText(index, text);
    }
    QDateTime utcTimeValue(int index) const override { return inner->utcTimeValue(index); }
    void bindNumber(const QString& placeholder, qlonglong value) override
    {
        inner->bindNumber(placeholder, value);
    }
    void bindText(const QString& placeholder, const QString& value) override
    {
        inner->bindText(placeholder, value);
    }
    void bindTime(const QString& placeholder, const QDateTime& value) override
    {
        inner->bindTime(placeholder, value);
    }

protected:
    const std::shared_ptr<interf::IQSqlTypedQuery> inner;
};

/// A connection that passes every call on.
class PassingDatabase : public interf::IQSqlDatabaseWrapper
{
public:
    explicit PassingDatabase(std::shared_ptr<interf::IQSqlDatabaseWrapper> inner)
        : inner(std::move(inner))
    {
    }

    bool transaction() override { return inner->transaction(); }
    bool commit() override { return inner->commit(); }
    bool rollback() override { return inner->rollback(); }

protected:
    const std::shared_ptr<interf::IQSqlDatabaseWrapper> inner;
};

/// A factory over another one, with queries and connections of these classes.
template <typename Query, typename Database = PassingDatabase>
class PassingFactory : public interf::factory::IDatabaseFactory
{
public:
    explicit PassingFactory(std::shared_ptr<interf::factory::IDatabaseFactory> inner)
        : inner(std::move(inner))
    {
    }

    std::shared_ptr<interf::IQSqlDatabaseWrapper> GetDatabase() override
    {
        return std::make_shared<Database>(inner->GetDatabase());
    }
    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override
    {
        return std::make_shared<Query>(inner->CreateQuery(), inner->GetDatabase());
    }

protected:
    const std::shared_ptr<interf::factory::IDatabaseFactory> inner;
};

} // namespace sync::test
