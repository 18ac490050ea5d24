#include <fleet/opening/FleetSchema.h>

#include <database/DatabaseError.h>
#include <fleet/connection/PostgresHandle.h>
#include <fleet/connection/Session.h>
#include <fleet/schema/SchemaScripts.h>

#include <QByteArrayList>
#include <QDateTime>

#include <utility>

using namespace Qt::StringLiterals;

namespace sync::fleet {

namespace {

using database::DatabaseError;

/// Lets a session run statements one by one, which it does not keep prepared.
class OneByOne
{
public:
    explicit OneByOne(Session& session)
        : session(session)
    {
        PQexitPipelineMode(session.handle());
    }
    ~OneByOne() { PQenterPipelineMode(session.handle()); }
    Q_DISABLE_COPY_MOVE(OneByOne)

private:
    Session& session;
};

/// Keeps two programs from making the tables at the same time.
class SchemaLock
{
public:
    explicit SchemaLock(PGconn* connection)
        : connection(connection)
    {
        // Any number that others hardly use.
        execute(connection, "SELECT pg_advisory_lock(6219248837)");
    }
    ~SchemaLock() { ResultHandle(PQexec(connection, "SELECT pg_advisory_unlock(6219248837)")); }
    Q_DISABLE_COPY_MOVE(SchemaLock)

private:
    PGconn* const connection;
};

bool hasAnyRow(PGconn* connection, const QByteArray& sql, const QByteArray& value)
{
    return PQntuples(execute(connection, sql, {value}).get()) > 0;
}

std::size_t schemaVersion(PGconn* connection)
{
    const auto table = execute(connection, "SELECT to_regclass('velmio.SchemaVersions')");
    if (PQgetisnull(table.get(), 0, 0))
        return 0;
    const auto version =
        execute(connection, "SELECT coalesce(max(version), 0) FROM velmio.SchemaVersions");
    return QByteArray(PQgetvalue(version.get(), 0, 0)).toULong();
}

// Comments contain no quotes that matter, and no text contains a ";".
QByteArrayList statementsOf(std::string_view script)
{
    QByteArrayList statements;
    QByteArray statement;
    for (QByteArray line : QByteArray(script.data(), qsizetype(script.size())).split('\n')) {
        if (const qsizetype comment = line.indexOf("--"); comment >= 0)
            line.truncate(comment);
        line = line.trimmed();
        if (line.isEmpty())
            continue;
        statement += line + '\n';
        if (line.endsWith(';'))
            statements.append(std::exchange(statement, {}));
    }
    return statements;
}

// Roles belong to the server, and policies have no IF NOT EXISTS.
bool isThere(PGconn* connection, const QByteArray& statement)
{
    const QByteArrayList words = statement.simplified().split(' ');
    if (statement.startsWith("CREATE ROLE "))
        return hasAnyRow(connection, "SELECT 1 FROM pg_roles WHERE rolname = $1", words.at(2));
    if (statement.startsWith("CREATE POLICY "))
        return hasAnyRow(
            connection,
            "SELECT 1 FROM pg_policy WHERE polname = '" + words.at(2) +
                "' AND polrelid = to_regclass($1)",
            words.at(4));
    return false;
}

} // namespace

void bringSchemaUpToDate(Session& session)
{
    const OneByOne statements(session);
    PGconn* const connection = session.handle();
    const auto& scripts = schemaScripts();
    if (schemaVersion(connection) == scripts.size())
        return;
    const SchemaLock lock(connection);
    const std::size_t version = schemaVersion(connection);
    if (version > scripts.size())
        throw DatabaseError(
            DatabaseError::Cause::TooNew,
            u"The fleet's database %1 has version %2, and this program knows only version %3: use "
            u"a newer program."_s.arg(serverOf(connection))
                .arg(version)
                .arg(scripts.size()));
    for (qulonglong next = version; next < scripts.size(); ++next) {
        for (const QByteArray& statement : statementsOf(scripts[next])) {
            if (!isThere(connection, statement))
                execute(connection, statement);
        }
        execute(
            connection,
            "INSERT INTO velmio.SchemaVersions (version) VALUES ($1) ON CONFLICT DO NOTHING",
            {QByteArray::number(next + 1)});
    }
}

void makeStore(Session& session, const QString& storeId)
{
    Parameters store;
    store.addText(storeId.toUtf8());
    Parameters storeAndTime = store;
    storeAndTime.addText(QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toLatin1());
    auto answers = session.run({{"SELECT 1 FROM velmio.Counters WHERE store = $1", &store}});
    if (answers.succeeded && PQntuples(answers.last()) == 0)
        answers = session.run(
            {{"INSERT INTO velmio.Stores (store, createdTime) VALUES ($1, $2)"
              " ON CONFLICT DO NOTHING",
              &storeAndTime},
             // Waits for another program that makes the same store.
             {"INSERT INTO velmio.Counters (store, Schedules) VALUES ($1, 1)"
              " ON CONFLICT DO NOTHING",
              &store},
             // The default schedule, which every new store has.
             {"INSERT INTO velmio.Schedules"
              " (store, id, folderConfigurationId, syncScheduleType, syncInterval)"
              " VALUES ($1, 1, 0, 0, 30) ON CONFLICT DO NOTHING",
              &store}});
    if (!answers.succeeded)
        throw unusable(session.handle(), failureOf(answers.last(), session.handle()));
}

} // namespace sync::fleet
