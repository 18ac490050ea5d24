#pragma once
#include <core/PosixSync.h>

#include <testkit/PassingFactory.h>

#include <database/ChangeSource.h>
#include <database/FailureLog.h>
#include <database/ScopeParticipant.h>
#include <database/TransactionalScope.h>

#include <memory>
#include <vector>

/// \file
/// Factories that break a promise about transactions, scopes or locks.

namespace sync::test {

/// Keeps a half-read query.
class KeepsItsQueries : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    ~KeepsItsQueries() override
    {
        if (rows > 1 && inner->isValid())
            kept.push_back(inner);
    }
    bool next() override
    {
        ++rows;
        return inner->next();
    }

    static inline std::vector<std::shared_ptr<interf::IQSqlQueryWrapper>> kept;

private:
    int rows = 0;
};

class LosesNestedWrites : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool exec() override
    {
        const bool lost = database::TransactionalScope::depth() >= 2 &&
                          !inner->lastQuery().startsWith(QStringLiteral("SELECT")) &&
                          !inHostTransaction && connection->transaction();
        const bool done = inner->exec();
        if (lost)
            connection->rollback();
        return done;
    }

    static inline thread_local bool inHostTransaction = false;
};

/// Shows the query above whether the host has a transaction open.
class NotesTransactions : public PassingDatabase
{
public:
    using PassingDatabase::PassingDatabase;

    bool transaction() override
    {
        const bool begun = inner->transaction();
        LosesNestedWrites::inHostTransaction = LosesNestedWrites::inHostTransaction || begun;
        return begun;
    }
    bool commit() override
    {
        LosesNestedWrites::inHostTransaction = false;
        return inner->commit();
    }
    bool rollback() override
    {
        LosesNestedWrites::inHostTransaction = false;
        return inner->rollback();
    }
};

class ReadsNothingInScopes : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool next() override { return database::TransactionalScope::depth() == 0 && inner->next(); }
};

class IgnoresCommit : public PassingDatabase
{
public:
    using PassingDatabase::PassingDatabase;

    bool commit() override { return inner->rollback(); }
};

class IgnoresTransactions : public PassingDatabase
{
public:
    using PassingDatabase::PassingDatabase;

    bool transaction() override { return true; }
    bool commit() override { return true; }
    bool rollback() override { return true; }
};

class CommitsOnRollback : public PassingDatabase
{
public:
    using PassingDatabase::PassingDatabase;

    bool rollback() override { return inner->commit(); }
};

class BeginsTwice : public PassingDatabase
{
public:
    using PassingDatabase::PassingDatabase;

    bool transaction() override
    {
        inner->transaction();
        return true;
    }
};

class CommitsWithScopes : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool exec() override
    {
        const bool done = inner->exec();
        if (database::TransactionalScope::depth() > 0)
            connection->commit();
        return done;
    }
};

/// Like a database that ends the transaction with the statement.
class RollsBackOnErrors : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool exec() override
    {
        const bool done = inner->exec();
        if (!done && LosesNestedWrites::inHostTransaction)
            connection->rollback();
        return done;
    }
};

/// Joins scopes, and always commits them.
class CommitsEveryScope : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool exec() override
    {
        if (database::TransactionalScope::depth() >= 2 && !joined &&
            inner->lastQuery().startsWith(QStringLiteral("INSERT")) && connection->transaction()) {
            joined = true;
            database::joinOutermostScope(std::make_shared<Participant>(connection));
        }
        return inner->exec();
    }

private:
    class Participant : public database::ScopeParticipant
    {
    public:
        explicit Participant(std::shared_ptr<interf::IQSqlDatabaseWrapper> connection)
            : connection(std::move(connection))
        {
        }

        bool endScopeTransaction(bool /*commit*/) noexcept override
        {
            joined = false;
            return connection->commit();
        }

    private:
        const std::shared_ptr<interf::IQSqlDatabaseWrapper> connection;
    };

    static inline thread_local bool joined = false;
};

class CountsNoFailures : public PassingFactory<PassingQuery>,
                         public database::FailureSource
{
public:
    using PassingFactory::PassingFactory;

    int failureCount() const override { return 0; }
    std::optional<database::Failure> lastFailure() const override { return {}; }
    database::Listening onFailure(std::function<void(const database::Failure&)> function) override
    {
        return listeners.add(std::move(function));
    }

private:
    database::Listeners<database::Failure> listeners;
};

/// Reports a statement instead of its commit, which may never come.
class ReportsBeforeTheCommit : public PassingFactory<PassingQuery>,
                               public database::ChangeSource
{
public:
    using PassingFactory::PassingFactory;

    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override
    {
        return std::make_shared<Query>(inner->CreateQuery(), inner->GetDatabase(), listeners);
    }
    database::Listening onChange(std::function<void(database::RecordKinds)> function) override
    {
        return listeners->add(std::move(function));
    }
    void poll() override {}

private:
    using Reported = database::Listeners<database::RecordKinds>;

    class Query : public PassingQuery
    {
    public:
        Query(
            std::shared_ptr<interf::IQSqlQueryWrapper> inner,
            std::shared_ptr<interf::IQSqlDatabaseWrapper> connection,
            std::shared_ptr<Reported> listeners)
            : PassingQuery(std::move(inner), std::move(connection))
            , listeners(std::move(listeners))
        {
        }

        bool exec() override
        {
            const bool done = inner->exec();
            if (done && inner->lastQuery().startsWith(QStringLiteral("INSERT")))
                listeners->notify(database::RecordKind::Other);
            return done;
        }

    private:
        const std::shared_ptr<Reported> listeners;
    };

    const std::shared_ptr<Reported> listeners = std::make_shared<Reported>();
};

} // namespace sync::test
