#pragma once
#include <core/PosixSync.h>

#include <testkit/PassingFactory.h>

#include <memory>
#include <utility>

namespace sync::test {

/// A database whose n-th exec() or n-th next() fails, as on a broken disk. All other calls pass
/// through. For one thread.
class NthQueryFails : public interf::factory::IDatabaseFactory
{
public:
    explicit NthQueryFails(std::shared_ptr<interf::factory::IDatabaseFactory> inner)
        : inner(std::move(inner))
    {
    }

    std::shared_ptr<interf::IQSqlDatabaseWrapper> GetDatabase() override
    {
        return inner->GetDatabase();
    }
    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override
    {
        return std::make_shared<Query>(inner->CreateQuery(), calls);
    }

    /// Restart the count: the next call is number 1. With 0, no call fails.
    void failExec(int number) { *calls = {.failingExec = number}; }
    void failNext(int number) { *calls = {.failingNext = number}; }

    /// The number of exec() calls since the count was restarted.
    int execs() const { return calls->execs; }

private:
    struct Calls
    {
        int execs = 0;
        int nexts = 0;
        int failingExec = 0;
        int failingNext = 0;
    };

    class Query : public PassingQuery
    {
    public:
        Query(std::shared_ptr<IQSqlQueryWrapper> inner, std::shared_ptr<Calls> calls)
            : PassingQuery(std::move(inner), nullptr)
            , calls(std::move(calls))
        {
        }

        QString lastError() const override
        {
            return failed ? QStringLiteral("injected failure") : PassingQuery::lastError();
        }
        bool isValid() const override { return !failed && PassingQuery::isValid(); }
        bool exec() override
        {
            failed = ++calls->execs == calls->failingExec;
            return !failed && PassingQuery::exec();
        }
        bool next() override
        {
            failed = failed || ++calls->nexts == calls->failingNext;
            return !failed && PassingQuery::next();
        }

    private:
        const std::shared_ptr<Calls> calls;
        bool failed = false;
    };

    const std::shared_ptr<interf::factory::IDatabaseFactory> inner;
    const std::shared_ptr<Calls> calls = std::make_shared<Calls>();
};

} // namespace sync::test
