#pragma once

#include <interf/IDatabaseFactory.h>
#include <testkit/PassingFactory.h>

#include <memory>

namespace velmio::benchmarks {

/// The best case of a host's own factory: the embedded engine, with queries that implement only
/// IQSqlQueryWrapper.
class PlainFactory : public sync::interf::factory::IDatabaseFactory
{
public:
    explicit PlainFactory(std::shared_ptr<sync::interf::factory::IDatabaseFactory> wrapped)
        : wrapped(std::move(wrapped))
    {
    }

    std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> GetDatabase() override
    {
        return wrapped->GetDatabase();
    }
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> CreateQuery() override
    {
        return std::make_shared<sync::test::PassingQuery>(wrapped->CreateQuery(), nullptr);
    }

private:
    const std::shared_ptr<sync::interf::factory::IDatabaseFactory> wrapped;
};

} // namespace velmio::benchmarks
