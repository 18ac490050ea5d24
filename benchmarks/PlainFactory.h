#pragma once

#include <interf/IDatabaseFactory.h>

#include <memory>

namespace velmio::benchmarks {

/// A host's own factory at its best: the embedded engine, of whose queries nothing is seen but
/// IQSqlQueryWrapper.
class PlainFactory : public sync::interf::factory::IDatabaseFactory
{
public:
    explicit PlainFactory(std::shared_ptr<sync::interf::factory::IDatabaseFactory> wrapped)
        : wrapped(std::move(wrapped))
    {
    }

    std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> CreateQuery() override;

private:
    const std::shared_ptr<sync::interf::factory::IDatabaseFactory> wrapped;
};

} // namespace velmio::benchmarks
