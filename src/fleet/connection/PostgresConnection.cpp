#include <fleet/connection/PostgresConnection.h>

#include <database/ScopeParticipant.h>
#include <database/TransactionalScope.h>
#include <fleet/pool/ConnectionPool.h>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::fleet {

namespace {

using database::DatabaseError;
using database::Failure;
using database::RecordKinds;
using database::TransactionalScope;

// A return to the savepoint repeats the writes since it: so many that a savepoint costs each of
// them next to nothing, and so few that repeating them does not either. The values are kept
// meanwhile.
constexpr std::size_t MostRepeatedWrites = 64;
constexpr std::size_t MostRepeatedBytes = 262144;

// A write that touched more rows is not repeated.
constexpr int MostRepeatedRows = 64;

/// Ends the transaction of a connection with the outermost scope of its thread.
class ScopeTransaction : public database::ScopeParticipant
{
public:
    explicit ScopeTransaction(std::shared_ptr<ConnectionPool> pool)
        : connection(std::move(pool))
    {
    }

    bool endScopeTransaction(bool commit) noexcept override
    {
        return connection->endScopeTransaction(commit);
    }

private:
    const ConnectionLease connection;
};

QByteArray joined(const std::vector<QByteArray>& parts, const char* between)
{
    QByteArray text;
    for (const QByteArray& part : parts)
        text += text.isEmpty() ? part : between + part;
    return text;
}

// The turn of a write that is a transaction by itself: counts it, and the row that it adds.
QByteArray loneTurn(const Translation& statement)
{
    QByteArray text = "UPDATE velmio.Counters SET changes = changes + 1";
    if (statement.insertedTable && !statement.namesItsId) {
        const QByteArray& table = RecordTables[*statement.insertedTable];
        text += ", " + table + " = " + table + " + 1";
    }
    return text + " WHERE store = $1";
}

// After a row whose INSERT names its id.
QByteArray countedId(const Translation& statement)
{
    const QByteArray& table = RecordTables[*statement.insertedTable];
    return "UPDATE velmio.Counters SET " + table + " = greatest(" + table +
           ", (SELECT max(id) FROM velmio." + table + " WHERE store = $1)) WHERE store = $1";
}

const QByteArray& turnOfTransaction()
{
    static const QByteArray text = "SELECT " + joined(RecordTables, ", ") +
                                   " FROM velmio.Counters WHERE store = $1 FOR UPDATE";
    return text;
}

const QByteArray& countsOfTransaction()
{
    static const QByteArray text = [] {
        QByteArray update = "UPDATE velmio.Counters SET changes = changes + 1";
        for (std::size_t table = 0; table < RecordTables.size(); ++table)
            update += ", " + RecordTables[table] + " = $" + QByteArray::number(int(table + 2));
        return update + " WHERE store = $1";
    }();
    return text;
}

const QByteArray Begin = "BEGIN";
const QByteArray Commit = "COMMIT";
const QByteArray Rollback = "ROLLBACK";
const QByteArray MakeSavepoint = "SAVEPOINT velmio";
const QByteArray ReleaseSavepoint = "RELEASE SAVEPOINT velmio";
const QByteArray ReturnToSavepoint = "ROLLBACK TO SAVEPOINT velmio";

int touchedRows(PGresult* result)
{
    return QByteArray(PQcmdTuples(result)).toInt();
}

Failure storeIsGone()
{
    return {.text = u"the store was removed from the fleet: open it again"_s};
}

bool hasCode(const Session::Answers& answers, const char* code)
{
    return answers.last() && errorCodeOf(answers.last()) == code;
}

} // namespace

PostgresConnection::PostgresConnection(ConnectionPool& pool)
    : pool(pool)
{
}

PostgresConnection::~PostgresConnection()
{
    rollback();
}

bool PostgresConnection::connect(Failure& error)
{
    if (session && !isBroken(session->handle()))
        return true;
    try {
        session = pool.openSession();
        return true;
    } catch (const DatabaseError& failure) {
        error = {Failure::Kind::Opening, failure.cause(), failure.text()};
        return false;
    }
}

// A server that was restarted meanwhile has closed the connection, which is known before anything
// is sent.
bool PostgresConnection::connectAgain(Failure& error)
{
    if (session && !session->isAlive())
        session.reset();
    return connect(error);
}

ResultHandle PostgresConnection::run(
    const Translation& statement, const std::vector<BoundValue>& values, Failure& error)
{
    // depth() rolls back what a scope that ended on another thread has left.
    if (owner == TransactionOwner::Scope)
        TransactionalScope::depth();
    if (!lostError.isEmpty()) {
        error = lostError;
        return {};
    }
    const bool writes = statement.kind != Translation::Kind::Read;
    if (writes && !beginWrite(error))
        return {};
    if (!fill(statement, values, error))
        return {};
    const auto runText = [&](const QByteArray& text) {
        return inTransaction() ? runInTransaction(statement, text, error)
               : writes        ? runAlone(statement, text, error)
                               : runRead(text, error);
    };
    ResultHandle result = runText(statement.text);
    if (result || statement.textWithoutId.isEmpty() || !error.text.contains(u"(42703)"_s))
        return result;
    error = {};
    return runText(statement.textWithoutId);
}

// From the second level on, writes belong together; a lone one is a transaction by itself.
bool PostgresConnection::beginWrite(Failure& error)
{
    if (abandoned)
        reportAbandonedTransaction();
    if (!inTransaction()) {
        if (TransactionalScope::depth() < 2)
            return true;
        if (!begin(TransactionOwner::Scope, error))
            return false;
        database::joinOutermostScope(std::make_shared<ScopeTransaction>(pool.shared_from_this()));
    }
    return hasTurn || takeTurn(error);
}

bool PostgresConnection::fill(
    const Translation& statement, const std::vector<BoundValue>& values, Failure& error)
{
    using Meaning = Translation::Parameter::Meaning;
    parameters.clear();
    for (const Translation::Parameter& parameter : statement.parameters) {
        switch (parameter.meaning) {
        case Meaning::Store:
            parameters.addText(pool.store());
            break;
        case Meaning::NewId:
            if (hasTurn)
                parameters.addNumber(lastIds[*statement.insertedTable] + 1);
            else
                parameters.addNull(); // the turn of the lone write counts it
            break;
        case Meaning::Value:
            if (!parameters.add(values[parameter.value])) {
                error = {.text = parameters.error()};
                return false;
            }
        }
    }
    return true;
}

ResultHandle PostgresConnection::runRead(const QByteArray& text, Failure& error)
{
    if (!connect(error))
        return {};
    Session::Answers answers = session->run({{text, &parameters}});
    // Nothing has changed, so it can be repeated: on another connection, or when the server has
    // forgotten the statement or its tables have changed.
    if (answers.broke || hasCode(answers, "26000") || hasCode(answers, "0A000")) {
        if (!connect(error))
            return {};
        answers = session->run({{text, &parameters}});
    }
    if (answers.succeeded)
        return std::move(answers.results.back());
    error = failureOf(answers);
    return {};
}

// The turn comes first, and both are one transaction, which ends with the round trip.
ResultHandle PostgresConnection::runAlone(
    const Translation& statement, const QByteArray& text, Failure& error)
{
    if (!connectAgain(error))
        return {};
    Parameters store;
    store.addText(pool.store());
    std::vector<Command> commands{{text, &parameters}};
    if (statement.kind == Translation::Kind::Write)
        commands.insert(commands.begin(), {loneTurn(statement), &store});
    if (statement.namesItsId)
        commands.push_back({countedId(statement), &store});
    CommitCount count(pool.changes());
    Session::Answers answers = session->run(commands);
    if (hasCode(answers, "26000") || hasCode(answers, "0A000"))
        answers = session->run(commands);
    if (!answers.succeeded) {
        error = failureOf(answers);
        if (answers.broke)
            error.text = u"it is not known whether the change was stored, because "_s + error.text;
        return {};
    }
    if (statement.kind != Translation::Kind::Write)
        return std::move(answers.results.back());
    if (touchedRows(answers.results.front().get()) == 0) {
        // Not a change: without the row of the store nothing was written.
        error = storeIsGone();
        return {};
    }
    count.add();
    if (touchedRows(answers.results[1].get()) > 0)
        pool.changes().publish(statement.writtenKinds);
    return std::move(answers.results[1]);
}

ResultHandle PostgresConnection::runInTransaction(
    const Translation& statement, const QByteArray& text, Failure& error)
{
    const bool writes = statement.kind != Translation::Kind::Read;
    std::vector<Command> commands{{text, &parameters}};
    const bool renews = writes && mustRenewSavepoint();
    if (renews)
        commands.insert(commands.begin(), {{ReleaseSavepoint}, {MakeSavepoint}});
    Session::Answers answers = session->run(commands);
    if (renews && answers.results.size() > 1) {
        repeatable.clear();
        writtenBytes = 0;
    }
    if (!answers.succeeded) {
        error = failureOf(answers);
        recover(answers, error);
        return {};
    }
    ResultHandle result = std::move(answers.results.back());
    if (writes)
        noteWrite(statement, text, result.get());
    return result;
}

bool PostgresConnection::mustRenewSavepoint() const
{
    return repeatable.size() >= MostRepeatedWrites || writtenBytes >= MostRepeatedBytes;
}

// Locks the row of the store, which tells the last ids. Other writers of the store wait until the
// transaction ends.
bool PostgresConnection::takeTurn(Failure& error)
{
    Parameters store;
    store.addText(pool.store());
    Session::Answers answers =
        session->run({{turnOfTransaction(), &store}, {ReleaseSavepoint}, {MakeSavepoint}});
    if (!answers.succeeded) {
        error = failureOf(answers);
        recover(answers, error);
        return false;
    }
    return readTurn(answers.results.front().get(), error);
}

bool PostgresConnection::readTurn(const PGresult* turn, Failure& error)
{
    if (PQntuples(turn) == 0) {
        error = storeIsGone();
        return false;
    }
    lastIds.clear();
    for (int table = 0; table < PQnfields(turn); ++table)
        lastIds.push_back(ColumnValue(turn, 0, table).toLongLong());
    hasTurn = true;
    return true;
}

void PostgresConnection::noteWrite(
    const Translation& statement, const QByteArray& text, PGresult* result)
{
    const int rows = touchedRows(result);
    if (statement.insertedTable) {
        qlonglong& last = lastIds[*statement.insertedTable];
        last = std::max(last, ColumnValue(result, 0, 0).toLongLong());
    }
    if (statement.kind == Translation::Kind::Write && rows > 0) {
        changed = true;
        changedKinds |= statement.writtenKinds;
    }
    writtenBytes += rows > MostRepeatedRows ? MostRepeatedBytes : parameters.byteCount();
    repeatable.push_back({text, std::exchange(parameters, {}), PQcmdTuples(result)});
}

// After a statement that failed: returns to the savepoint, and repeats the writes since then.
void PostgresConnection::recover(const Session::Answers& failed, const Failure& error)
{
    if (failed.broke)
        return lose(error);
    std::vector<Command> commands{{ReturnToSavepoint}};
    for (Write& write : repeatable)
        commands.push_back({write.text, &write.parameters});
    const Session::Answers answers = session->run(commands);
    bool same = answers.succeeded;
    for (std::size_t at = 0; same && at < repeatable.size(); ++at)
        same = repeatable[at].rows == PQcmdTuples(answers.results[at + 1].get());
    if (!same)
        lose(error);
}

void PostgresConnection::lose(const Failure& failure)
{
    lostError = failure;
    lostError.text.prepend(u"the transaction was rolled back when a statement failed: "_s);
}

Failure PostgresConnection::failureOf(const Session::Answers& answers) const
{
    return fleet::failureOf(answers.last(), session->handle());
}

bool PostgresConnection::beginHostTransaction(Failure& error)
{
    if (inTransaction()) {
        error = {.text = u"a transaction is already open on this thread"_s};
        return false;
    }
    undoneByCommit = false;
    return begin(TransactionOwner::Host, error);
}

bool PostgresConnection::commitHostTransaction(Failure& error)
{
    if (owner != TransactionOwner::Host) {
        error = {.text = u"no transaction is open on this thread"_s};
        return false;
    }
    undoneByCommit = !commit(error);
    return !undoneByCommit;
}

bool PostgresConnection::rollbackHostTransaction(Failure& error)
{
    if (std::exchange(undoneByCommit, false))
        return true;
    if (owner != TransactionOwner::Host) {
        error = {.text = u"no transaction is open on this thread"_s};
        return false;
    }
    rollback();
    return true;
}

void PostgresConnection::reportAbandonedTransaction()
{
    abandoned = false;
    const Failure failure{
        .text = u"an exception has left a transaction() of this thread without commit() or "
                u"rollback(): what the thread writes until one of them is called may be lost. "
                u"HostTransaction ends a transaction in any case"_s};
    pool.failures().report(failure);
    qCWarning(velmioFleet).noquote() << failure.text;
}

bool PostgresConnection::endScopeTransaction(bool commitIt) noexcept
{
    if (!commitIt) {
        rollback();
        return true;
    }
    Failure error;
    if (commit(error))
        return true;
    qCWarning(velmioFleet).noquote()
        << u"Changes to the store %1 were rolled back because they could not be committed: %2"_s
               .arg(QString::fromUtf8(pool.store()), error.text);
    pool.failures().report(error);
    return false;
}

bool PostgresConnection::begin(TransactionOwner newOwner, Failure& error)
{
    if (!connectAgain(error))
        return false;
    const Session::Answers answers = session->run({{Begin}, {MakeSavepoint}});
    if (!answers.succeeded) {
        error = failureOf(answers);
        return false;
    }
    owner = newOwner;
    return true;
}

bool PostgresConnection::commit(Failure& error) noexcept
{
    Parameters counts;
    counts.addText(pool.store());
    for (const qlonglong id : lastIds)
        counts.addNumber(id);
    std::vector<Command> commands{{Commit}};
    if (changed)
        commands.insert(commands.begin(), {countsOfTransaction(), &counts});
    if (lostError.isEmpty()) {
        CommitCount count(pool.changes());
        const Session::Answers answers = session->run(commands);
        // After a failure that went unnoticed, the server answers COMMIT with a rollback.
        if (answers.succeeded &&
            QByteArrayView(PQcmdStatus(answers.results.back().get())) == "COMMIT") {
            if (changed)
                count.add();
            end();
            return true;
        }
        error = failureOf(answers);
        if (answers.broke)
            error.text =
                u"it is not known whether the transaction was committed, because "_s + error.text;
    } else {
        error = lostError;
    }
    error.kind = Failure::Kind::Commit;
    rollback();
    return false;
}

void PostgresConnection::rollback() noexcept
{
    if (inTransaction() && !isBroken(session->handle()))
        session->run({{Rollback}});
    changedKinds = {};
    end();
}

// Listeners run last, outside the transaction.
void PostgresConnection::end() noexcept
{
    owner = TransactionOwner::None;
    abandoned = false;
    lostError = {};
    hasTurn = false;
    changed = false;
    lastIds.clear();
    repeatable.clear();
    writtenBytes = 0;
    if (const RecordKinds published = std::exchange(changedKinds, {}))
        pool.changes().publish(published);
}

} // namespace sync::fleet
