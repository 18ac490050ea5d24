#pragma once
#include <core/PosixSync.h>

#include <testkit/PassingFactory.h>

#include <database/TransactionalScope.h>

#include <memory>
#include <vector>

/// \file
/// Factories that break a promise about transactions, scopes or locks.

namespace sync::test {

/// Keeps a query that was left half read.
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

/// Tells the query above whether the host has a transaction open.
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

} // namespace sync::test
