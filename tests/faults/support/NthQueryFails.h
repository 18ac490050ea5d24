#pragma once
#include <core/PosixSync.h>

#include <interf/IDatabaseFactory.h>

#include <memory>

namespace sync::test {

/// A database whose n-th exec() fails, or whose n-th next(), as on a broken disk; the others pass
/// through. For one thread.
class NthQueryFails : public interf::factory::IDatabaseFactory
{
public:
    explicit NthQueryFails(std::shared_ptr<interf::factory::IDatabaseFactory> behind);
    ~NthQueryFails() override;

    std::shared_ptr<interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override;

    /// Counts from here, 1 for the first call; 0 lets all of them pass.
    void failExec(int number);
    void failNext(int number);

    /// How many calls there have been since.
    int execs() const;
    int nexts() const;

private:
    struct Calls;
    class Query;

    const std::shared_ptr<interf::factory::IDatabaseFactory> behind;
    const std::shared_ptr<Calls> calls;
};

} // namespace sync::test
