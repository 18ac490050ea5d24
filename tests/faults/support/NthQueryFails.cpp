#include "NthQueryFails.h"

#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

using namespace Qt::StringLiterals;

namespace sync::test {

struct NthQueryFails::Calls
{
    int execs = 0;
    int nexts = 0;
    int failingExec = 0;
    int failingNext = 0;
};

class NthQueryFails::Query : public interf::IQSqlQueryWrapper
{
public:
    Query(std::shared_ptr<IQSqlQueryWrapper> query, std::shared_ptr<Calls> calls)
        : query(std::move(query))
        , calls(std::move(calls))
    {
    }

    QString lastError() const override
    {
        return failed ? u"planted failure"_s : query->lastError();
    }
    QString lastQuery() const override { return query->lastQuery(); }
    QVariant value(int index) const override { return query->value(index); }
    bool isValid() const override { return !failed && query->isValid(); }
    bool prepare(const QString& sql) override { return query->prepare(sql); }
    void setForwardOnly(bool forward) override { query->setForwardOnly(forward); }
    QVariant lastInsertId() const override { return query->lastInsertId(); }
    int numRowsAffected() const override { return query->numRowsAffected(); }
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        query->bindValue(placeholder, value);
    }
    QVariant boundValue(const QString& placeholder) const override
    {
        return query->boundValue(placeholder);
    }

    bool exec() override
    {
        failed = ++calls->execs == calls->failingExec;
        return !failed && query->exec();
    }

    bool next() override
    {
        failed = failed || ++calls->nexts == calls->failingNext;
        return !failed && query->next();
    }

private:
    const std::shared_ptr<IQSqlQueryWrapper> query;
    const std::shared_ptr<Calls> calls;
    bool failed = false;
};

NthQueryFails::NthQueryFails(std::shared_ptr<interf::factory::IDatabaseFactory> behind)
    : behind(std::move(behind))
    , calls(std::make_shared<Calls>())
{
}

NthQueryFails::~NthQueryFails() = default;

std::shared_ptr<interf::IQSqlDatabaseWrapper> NthQueryFails::GetDatabase()
{
    return behind->GetDatabase();
}

std::shared_ptr<interf::IQSqlQueryWrapper> NthQueryFails::CreateQuery()
{
    return std::make_shared<Query>(behind->CreateQuery(), calls);
}

void NthQueryFails::failExec(int number)
{
    *calls = {};
    calls->failingExec = number;
}

void NthQueryFails::failNext(int number)
{
    *calls = {};
    calls->failingNext = number;
}

int NthQueryFails::execs() const
{
    return calls->execs;
}

int NthQueryFails::nexts() const
{
    return calls->nexts;
}

} // namespace sync::test
