#include <fleet/connection/Session.h>

#include <fleet/connection/ConnectionOptions.h>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::fleet {

namespace {

// The managers have some 90 statements; lists of ids make more.
constexpr qsizetype MostPrepared = 256;

QByteArray keyOf(const Command& command)
{
    const Parameters* const parameters = command.parameters;
    if (!parameters || !parameters->hasLongNumber())
        return command.text; // a shared copy
    QByteArray key = command.text + '#';
    for (int at = 0; at < parameters->count(); ++at)
        key += parameters->types()[at] == 0 ? '0' : '1';
    return key;
}

bool isFailure(const PGresult* result)
{
    const ExecStatusType status = PQresultStatus(result);
    return status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK;
}

} // namespace

std::unique_ptr<Session> Session::open(const ConnectionOptions& options)
{
    try {
        PostgresHandle direct = openConnection(options);
        if (hasSession(direct.get()))
            return std::make_unique<Session>(std::move(direct));
    } catch (const database::DatabaseError& error) {
        if (!error.text().contains(u"unsupported startup parameter"_s))
            throw;
    }
    return std::make_unique<Session>(
        openConnection(options.withoutSession()), options.transactionSettings());
}

Session::Session(PostgresHandle opened, const QByteArray& transactionSettings)
    : connection(std::move(opened))
    , transactionSettings(transactionSettings)
{
    PQenterPipelineMode(connection.get());
}

Session::Answers Session::run(std::span<const Command> commands)
{
    Answers answers;
    answers.results.reserve(commands.size());
    // What each result belongs to: a statement that is being prepared, or nothing for a command.
    std::vector<QByteArray> expected;
    expected.reserve(commands.size() * 2);
    if (!transactionSettings.isEmpty() && PQtransactionStatus(connection.get()) == PQTRANS_IDLE) {
        if (send({transactionSettings}, expected))
            expected.back() = transactionSettings; // its result is none of the caller's
    }
    answers.succeeded = std::all_of(commands.begin(), commands.end(), [&](const Command& command) {
        return send(command, expected);
    });
    PQpipelineSync(connection.get());

    for (const QByteArray& preparing : expected) {
        ResultHandle result = nextResult();
        if (!answers.succeeded || !result) {
            // Not reached by the server, or not known.
            prepared.remove(preparing);
            answers.succeeded = false;
            continue;
        }
        answers.succeeded = !isFailure(result.get());
        if (!answers.succeeded)
            forgetStatement(result.get(), preparing);
        if (preparing.isNull() || !answers.succeeded)
            answers.results.push_back(std::move(result));
    }
    // The end of the round trip, with which what has run is committed, or the reason why not.
    while (!isBroken(connection.get())) {
        ResultHandle end = nextResult();
        if (!end)
            break;
        if (PQresultStatus(end.get()) == PGRES_PIPELINE_SYNC)
            return answers;
        answers.succeeded = false;
        answers.results.push_back(std::move(end));
    }
    answers.succeeded = false;
    answers.broke = true;
    return answers;
}

bool Session::send(const Command& command, std::vector<QByteArray>& expected)
{
    Parameters* const parameters = command.parameters;
    const int count = parameters ? parameters->count() : 0;
    const Oid* const types = parameters ? parameters->types() : nullptr;
    const char* const* const values = parameters ? parameters->values() : nullptr;
    const int* const lengths = parameters ? parameters->lengths() : nullptr;
    const int* const formats = parameters ? parameters->formats() : nullptr;
    if (!transactionSettings.isEmpty()) {
        expected.emplace_back();
        return PQsendQueryParams(
                   connection.get(), command.text.constData(), count, types, values, lengths,
                   formats, 0) == 1;
    }
    const QByteArray key = keyOf(command);
    auto found = prepared.find(key);
    if (found == prepared.end()) {
        if (prepared.size() >= MostPrepared)
            dropOldStatements(expected);
        const QByteArray name = 's' + QByteArray::number(++names);
        if (PQsendPrepare(
                connection.get(), name.constData(), command.text.constData(), count, types) != 1)
            return false;
        expected.push_back(key);
        found = prepared.insert(key, {name, 0});
    }
    found->lastUse = ++uses;
    if (PQsendQueryPrepared(
            connection.get(), found->name.constData(), count, values, lengths, formats, 0) != 1)
        return false;
    expected.emplace_back();
    return true;
}

// Half of them, so that it happens seldom.
void Session::dropOldStatements(std::vector<QByteArray>& expected)
{
    const quint64 oldest = uses - static_cast<quint64>(MostPrepared / 2);
    for (auto statement = prepared.begin(); statement != prepared.end();) {
        if (statement->lastUse >= oldest) {
            ++statement;
            continue;
        }
        const QByteArray text = "DEALLOCATE " + statement->name;
        // Its result is none of a command's, like that of a preparation.
        if (PQsendQueryParams(
                connection.get(), text.constData(), 0, nullptr, nullptr, nullptr, nullptr, 0) == 1)
            expected.push_back(text);
        statement = prepared.erase(statement);
    }
}

// The result of a command, without the null pointer that ends it; null if the connection broke.
ResultHandle Session::nextResult()
{
    ResultHandle result(PQgetResult(connection.get()));
    if (!result && !isBroken(connection.get()))
        result.reset(PQgetResult(connection.get()));
    return result;
}

// A statement that fails may do so because the server has forgotten it, or because its tables have
// changed: the next use prepares it again.
void Session::forgetStatement(const PGresult* failed, const QByteArray& key)
{
    const QByteArray code = errorCodeOf(failed);
    if (!key.isNull())
        prepared.remove(key);
    else if (code == "26000" || code == "0A000")
        prepared.clear();
}

bool Session::isAlive()
{
    if (isBroken(connection.get()))
        return false;
    // Neither waits. The first may read why the server closes the connection, the second that it
    // has.
    PQconsumeInput(connection.get());
    PQconsumeInput(connection.get());
    return !isBroken(connection.get());
}

} // namespace sync::fleet
