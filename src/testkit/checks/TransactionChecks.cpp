#include <testkit/checks/CheckRun.h>

#include <database/ChangeSource.h>
#include <database/HostTransaction.h>
#include <database/TransactionalScope.h>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

using database::TransactionalScope;

/// A transaction that the check needs.
class HostTransaction : public database::HostTransaction
{
public:
    explicit HostTransaction(const Database& database)
        : database::HostTransaction(database.engine())
    {
        if (!isOpen())
            throw Stopped{u"transaction() returned false"_s};
    }
};

QString joined(const QStringList& words)
{
    return words.isEmpty() ? u"nothing"_s : words.join(u", "_s);
}

void expectWords(
    CheckRun& run, const Database& database, const QStringList& words, const QString& when)
{
    const QStringList found = database.words();
    run.expect(
        found == words, u"%1 there is %2 instead of %3"_s.arg(when, joined(found), joined(words)));
}

void releasesItsQueries(CheckRun& run)
{
    for (int row = 0; row < 100; ++row)
        run.database.insert(u"words"_s, u"old"_s);
    const auto readHalf = [&run] {
        const Query query = run.database.exec(u"SELECT words FROM VelmioCheck ORDER BY id"_s);
        return query->next() && query->next();
    };

    run.expect(readHalf(), u"the rows cannot be read"_s);
    run.database.exec(u"UPDATE VelmioCheck SET words = 'new'"_s);
    {
        HostTransaction transaction(run.database);
        readHalf();
        run.database.exec(u"DELETE FROM VelmioCheck"_s);
        run.expect(transaction.commit(), u"commit() fails after a query that was left half read"_s);
    }
    run.database.insert(u"words"_s, u"one"_s);
    run.database.insert(u"words"_s, u"two"_s);
    run.expect(readHalf(), u"the rows cannot be read"_s);
    // Nobody may be reading a table that is dropped.
    run.replaceTables();
}

void isStoredWhenExecReturns(CheckRun& run)
{
    const Database other = run.reopened();
    run.database.insert(u"words"_s, u"alone"_s);
    expectWords(run, other, {u"alone"_s}, u"after exec() of an INSERT"_s);
    {
        const TransactionalScope scope;
        run.database.insert(u"words"_s, u"scoped"_s);
        expectWords(run, other, {u"alone"_s, u"scoped"_s}, u"after exec() in a scope"_s);
    }
    run.database.exec(u"UPDATE VelmioCheck SET words = 'changed' WHERE words = 'alone'"_s);
    run.database.exec(u"DELETE FROM VelmioCheck WHERE words = 'scoped'"_s);
    expectWords(run, other, {u"changed"_s}, u"after an UPDATE and a DELETE"_s);
}

void addsInNestedScopes(const Database& database, bool commits)
{
    TransactionalScope outer;
    {
        const TransactionalScope inner;
        database.insert(u"words"_s, u"one"_s);
    }
    {
        TransactionalScope inner;
        database.insert(u"words"_s, u"two"_s);
        inner.commit();
    }
    if (commits)
        outer.commit();
}

void storesWhatNestedScopesDo(CheckRun& run)
{
    const Database other = run.reopened();
    addsInNestedScopes(run.database, false);
    expectWords(run, other, {u"one"_s, u"two"_s}, u"after nested scopes have ended"_s);
    run.database.exec(u"DELETE FROM VelmioCheck"_s);
    addsInNestedScopes(run.database, true);
    expectWords(run, other, {u"one"_s, u"two"_s}, u"after commit() of the outermost scope"_s);
}

void readsItsOwnWritesInScopes(CheckRun& run)
{
    const TransactionalScope outer;
    const TransactionalScope inner;
    run.database.insert(u"words"_s, u"mine"_s);
    run.database.exec(u"UPDATE VelmioCheck SET words = 'changed' WHERE words = 'mine'"_s);
    expectWords(run, run.database, {u"changed"_s}, u"inside nested scopes"_s);
}

void commitsTransactions(CheckRun& run)
{
    HostTransaction transaction(run.database);
    run.database.insert(u"words"_s, u"kept"_s);
    expectWords(run, run.database, {u"kept"_s}, u"inside the transaction"_s);
    run.expect(transaction.commit(), u"commit() returned false"_s);
    expectWords(run, run.database, {u"kept"_s}, u"after commit()"_s);
}

void storesWithCommitOnly(CheckRun& run)
{
    const Database other = run.reopened();
    HostTransaction transaction(run.database);
    run.database.insert(u"words"_s, u"kept"_s);
    expectWords(run, other, {}, u"for others before commit()"_s);
    run.expect(transaction.commit(), u"commit() returned false"_s);
    expectWords(run, other, {u"kept"_s}, u"for others after commit()"_s);
}

void rollsTransactionsBack(CheckRun& run)
{
    run.database.insert(u"words"_s, u"before"_s);
    HostTransaction transaction(run.database);
    run.database.insert(u"words"_s, u"lost"_s);
    run.database.exec(u"UPDATE VelmioCheck SET words = 'changed' WHERE words = 'before'"_s);
    run.expect(transaction.rollback(), u"rollback() returned false"_s);
    expectWords(run, run.database, {u"before"_s}, u"after rollback()"_s);
}

void refusesTransactionsOutOfTurn(CheckRun& run)
{
    const auto connection = run.database.connection();
    run.expect(!connection->commit(), u"commit() without a transaction returned true"_s);
    run.expect(!connection->rollback(), u"rollback() without a transaction returned true"_s);
    HostTransaction transaction(run.database);
    run.expect(!connection->transaction(), u"transaction() inside a transaction returned true"_s);
    run.database.insert(u"words"_s, u"kept"_s);
    run.expect(transaction.commit(), u"commit() returned false after it"_s);
    expectWords(run, run.database, {u"kept"_s}, u"after that commit()"_s);
}

void keepsTransactionsOpenUnderScopes(CheckRun& run)
{
    HostTransaction transaction(run.database);
    addsInNestedScopes(run.database, true);
    run.expect(transaction.rollback(), u"rollback() after scopes returned false"_s);
    expectWords(run, run.database, {}, u"after scopes and rollback()"_s);
}

void survivesFailedStatements(CheckRun& run)
{
    const QString add = u"INSERT INTO VelmioCheck (id, words) VALUES (:id, :words)"_s;
    HostTransaction transaction(run.database);
    run.database.exec(add, {{u":id"_s, 1}, {u":words"_s, u"before"_s}});
    const Query same = run.database.prepare(add, {{u":id"_s, 1}, {u":words"_s, u"same id"_s}});
    run.expect(!same->exec(), u"exec() of a second row with the same id returned true"_s);
    const Query after = run.database.prepare(add, {{u":id"_s, 2}, {u":words"_s, u"after"_s}});
    run.expect(after->exec(), u"a write after the failed one failed: "_s + after->lastError());
    run.expect(transaction.commit(), u"commit() after a failed statement returned false"_s);
    expectWords(run, run.database, {u"before"_s, u"after"_s}, u"after that commit()"_s);
}

void endsScopesThatItJoins(CheckRun& run)
{
    const Database other = run.reopened();
    bool joins = false;
    try {
        const TransactionalScope outer;
        const TransactionalScope inner;
        run.database.insert(u"words"_s, u"lost"_s);
        joins = other.words().isEmpty();
        throw std::runtime_error("leaves both");
    } catch (const std::runtime_error&) {
    }
    if (!joins)
        throw Skipped{u"the factory leaves scopes alone (joinOutermostScope())"_s};
    expectWords(run, other, {}, u"after an exception has left the scopes"_s);
    run.database.insert(u"words"_s, u"kept"_s);
    expectWords(run, other, {u"kept"_s}, u"after the next write"_s);
}

void reportsItsChanges(CheckRun& run)
{
    auto& source = run.needs<database::ChangeSource>(u"ChangeSource"_s);
    database::RecordKinds changed;
    auto listening = source.onChange([&](database::RecordKinds kinds) { changed |= kinds; });
    const auto expectReported = [&](bool reported, const QString& when) {
        run.expect(
            changed.testFlag(database::RecordKind::Other) == reported,
            (reported ? u"no change was reported "_s : u"a change was reported "_s) + when);
        changed = {};
    };

    run.database.exec(u"SELECT words FROM VelmioCheck"_s);
    source.poll();
    expectReported(false, u"after a SELECT"_s);
    run.database.insert(u"words"_s, u"alone"_s);
    expectReported(true, u"after exec() of an INSERT"_s);
    {
        HostTransaction transaction(run.database);
        run.database.insert(u"words"_s, u"lost"_s);
        run.expect(transaction.rollback(), u"rollback() returned false"_s);
    }
    expectReported(false, u"after a rollback()"_s);
    {
        HostTransaction transaction(run.database);
        run.database.insert(u"words"_s, u"kept"_s);
        expectReported(false, u"before the commit()"_s);
        run.expect(transaction.commit(), u"commit() returned false"_s);
    }
    expectReported(true, u"after a commit()"_s);
    run.reopened().insert(u"words"_s, u"by another"_s);
    source.poll();
    expectReported(true, u"by poll() when another connection had committed"_s);
    listening.end();
    run.database.insert(u"words"_s, u"unheard"_s);
    expectReported(false, u"after the listening had ended"_s);
}

} // namespace

QList<Check> transactionChecks()
{
    return {
        {u"releasesItsQueries"_s, u"A query that is dropped half read holds nothing up."_s,
         releasesItsQueries},
        {u"isStoredWhenExecReturns"_s,
         u"Outside transactions a write is committed when exec() returns."_s,
         isStoredWhenExecReturns},
        {u"readsItsOwnWritesInScopes"_s, u"What nested scopes have written is read inside them."_s,
         readsItsOwnWritesInScopes},
        {u"storesWhatNestedScopesDo"_s,
         u"What nested scopes have written is committed when the outermost one ends."_s,
         storesWhatNestedScopesDo},
        {u"commitsTransactions"_s, u"commit() keeps what was written since transaction()."_s,
         commitsTransactions},
        {u"storesWithCommitOnly"_s,
         u"Others see a transaction with its commit(), and not before."_s, storesWithCommitOnly},
        {u"rollsTransactionsBack"_s, u"rollback() undoes what was written since transaction()."_s,
         rollsTransactionsBack},
        {u"refusesTransactionsOutOfTurn"_s,
         u"transaction() twice, commit() and rollback() without one return false."_s,
         refusesTransactionsOutOfTurn},
        {u"keepsTransactionsOpenUnderScopes"_s, u"Scopes inside a transaction() do not end it."_s,
         keepsTransactionsOpenUnderScopes},
        {u"survivesFailedStatements"_s,
         u"A statement that fails inside a transaction loses nothing before or after it."_s,
         survivesFailedStatements},
        {u"endsScopesThatItJoins"_s,
         u"Scopes that the factory joins are rolled back when an exception leaves them."_s,
         endsScopesThatItJoins},
        {u"reportsItsChanges"_s,
         u"A ChangeSource reports every commit that changes rows, and nothing else."_s,
         reportsItsChanges},
    };
}

} // namespace sync::testkit
