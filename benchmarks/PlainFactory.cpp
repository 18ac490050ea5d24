#include "PlainFactory.h"

#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

namespace velmio::benchmarks {

namespace {

class PlainQuery : public sync::interf::IQSqlQueryWrapper
{
public:
    explicit PlainQuery(std::shared_ptr<sync::interf::IQSqlQueryWrapper> wrapped)
        : wrapped(std::move(wrapped))
    {
    }

    QString lastError() const override { return wrapped->lastError(); }
    QString lastQuery() const override { return wrapped->lastQuery(); }
    QVariant value(int index) const override { return wrapped->value(index); }
    bool next() override { return wrapped->next(); }
    bool isValid() const override { return wrapped->isValid(); }
    bool prepare(const QString& sql) override { return wrapped->prepare(sql); }
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        wrapped->bindValue(placeholder, value);
    }
    QVariant boundValue(const QString& placeholder) const override
    {
        return wrapped->boundValue(placeholder);
    }
    void setForwardOnly(bool forward) override { wrapped->setForwardOnly(forward); }
    bool exec() override { return wrapped->exec(); }
    QVariant lastInsertId() const override { return wrapped->lastInsertId(); }
    int numRowsAffected() const override { return wrapped->numRowsAffected(); }

private:
    const std::shared_ptr<sync::interf::IQSqlQueryWrapper> wrapped;
};

} // namespace

std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> PlainFactory::GetDatabase()
{
    return wrapped->GetDatabase();
}

std::shared_ptr<sync::interf::IQSqlQueryWrapper> PlainFactory::CreateQuery()
{
    return std::make_shared<PlainQuery>(wrapped->CreateQuery());
}

} // namespace velmio::benchmarks
