#include <velmioctl/store/FleetConnection.h>

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/FleetStore.h>
#include <velmioctl/store/Session.h>

#include <libpq-fe.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace velmioctl::fleet {

namespace {

// The lines after it are context for the administrator of the server, and may repeat values.
QString firstLine(const char* message)
{
    QString line = QString::fromUtf8(message).section(u'\n', 0, 0).trimmed();
    return line.endsWith(u'.') ? line : line + u'.';
}

CommandError errorFor(const QByteArray& state, const QString& name, const QString& text)
{
    if (state.startsWith("42P01") || state.startsWith("3F000")) {
        return {
            ExitCode::NotFound,
            u"The database %1 has no fleet in it, or one of an earlier version. Run 'velmioctl "
            u"fleet init' as its owner."_s.arg(quoted(name))};
    }
    if (state.startsWith("42501") && text.contains(u"row-level security"_s)) {
        return {
            ExitCode::OtherError,
            text + u" A login of velmio_client pushes only the store whose id is its name."_s,
            u"no-permission"_s};
    }
    if (state.startsWith("42501")) {
        return {
            ExitCode::OtherError,
            text + u" Ask the owner of the fleet for one of its roles: velmio_client or "
                   u"velmio_service to push, velmio_report to read."_s,
            u"no-permission"_s};
    }
    if (state.startsWith("55P03") || state.startsWith("57014"))
        return {ExitCode::Busy, text + u" Try again later."_s};
    if (state.startsWith("53100"))
        return {ExitCode::OtherError, text + u" Make space on the server."_s, u"disk-full"_s};
    return {ExitCode::OtherError, text + u" Nothing was changed. Run the command again."_s};
}

// A connection whose certificate nobody checks could be to anyone.
pg_conn* connect(const QString& place)
{
    const QByteArray given = place.toUtf8();
    const bool choosesSslMode = qEnvironmentVariableIsSet("PGSSLMODE");
    // The last one counts, so what the connection itself says does.
    std::vector<const char*> keywords{"application_name", "client_encoding"};
    std::vector<const char*> values{"velmioctl", "UTF8"};
    if (!choosesSslMode) {
        keywords.push_back("sslmode");
        values.push_back("verify-full");
    }
    keywords.insert(keywords.end(), {"dbname", nullptr});
    values.insert(values.end(), {given.constData(), nullptr});
    return PQconnectdbParams(keywords.data(), values.data(), 1);
}

} // namespace

Rows::Rows(pg_result* result)
    : result(result, PQclear)
{
}

int Rows::count() const
{
    return PQntuples(result.get());
}

bool Rows::isNull(int row, int column) const
{
    return PQgetisnull(result.get(), row, column) != 0;
}

QByteArray Rows::bytes(int row, int column) const
{
    return {PQgetvalue(result.get(), row, column), PQgetlength(result.get(), row, column)};
}

QByteArray Rows::binary(int row, int column) const
{
    return QByteArray::fromHex(bytes(row, column).mid(2));
}

qint64 Rows::changed() const
{
    return QByteArray(PQcmdTuples(result.get())).toLongLong();
}

bool Rows::succeeded() const
{
    const ExecStatusType status = PQresultStatus(result.get());
    return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK || status == PGRES_COPY_IN;
}

QByteArray Rows::state() const
{
    return PQresultErrorField(result.get(), PG_DIAG_SQLSTATE);
}

QString Rows::error() const
{
    return firstLine(PQresultErrorField(result.get(), PG_DIAG_MESSAGE_PRIMARY));
}

Connection::Connection(const QString& place)
    : name(fleetName(place))
    , handle(connect(place), PQfinish)
{
    if (PQstatus(handle.get()) != CONNECTION_OK) {
        throw CommandError(
            ExitCode::OtherError,
            u"The fleet %1 cannot be reached: %2 Check the connection and the login."_s.arg(
                quoted(name), firstLine(PQerrorMessage(handle.get()))));
    }
    PQsetNoticeProcessor(
        handle.get(), [](void*, const char*) {}, nullptr);
}

Connection::~Connection() = default;

Rows Connection::run(const QByteArray& sql, const Values& values)
{
    std::vector<const char*> texts;
    for (const auto& value : values)
        texts.push_back(value ? value->constData() : nullptr);
    return checked(PQexecParams(
        handle.get(), sql.constData(), int(texts.size()), nullptr, texts.data(), nullptr, nullptr,
        0));
}

void Connection::beginCopy(const QByteArray& table, const QByteArray& columns)
{
    QByteArray target = table;
    insertAfterCopy.clear();
    // PostgreSQL copies into no table whose rows policies restrict.
    if (isRestricted(table)) {
        target = "pushed" + table.mid(table.indexOf('.') + 1);
        run("CREATE TEMPORARY TABLE IF NOT EXISTS " + target + " (LIKE " + table +
            ") ON COMMIT DROP");
        run("TRUNCATE " + target);
        insertAfterCopy =
            "INSERT INTO " + table + " (" + columns + ") SELECT " + columns + " FROM " + target;
    }
    run("COPY " + target + " (" + columns + ") FROM STDIN");
}

void Connection::put(const QByteArray& lines)
{
    if (PQputCopyData(handle.get(), lines.constData(), int(lines.size())) != 1)
        failAsBroken();
}

void Connection::endCopy()
{
    if (PQputCopyEnd(handle.get(), nullptr) != 1)
        failAsBroken();
    checked(PQgetResult(handle.get()));
    // The end of the answer.
    while (PGresult* const more = PQgetResult(handle.get()))
        PQclear(more);
    if (!insertAfterCopy.isEmpty())
        run(insertAfterCopy);
}

bool Connection::isRestricted(const QByteArray& table)
{
    const auto known = restricted.find(table);
    if (known != restricted.end())
        return *known;
    const bool active = run("SELECT row_security_active($1)", {table}).flag(0, 0);
    restricted.insert(table, active);
    return active;
}

Rows Connection::checked(pg_result* result) const
{
    Rows rows(result);
    if (rows.succeeded())
        return rows;
    if (rows.state().isEmpty())
        failAsBroken();
    throw errorFor(
        rows.state(), name, u"The fleet %1 answered: %2"_s.arg(quoted(name), rows.error()));
}

void Connection::failAsBroken() const
{
    throw CommandError(
        ExitCode::OtherError,
        u"The connection to the fleet %1 broke: %2 Run the command again."_s.arg(
            quoted(name), firstLine(PQerrorMessage(handle.get()))));
}

FleetTransaction::FleetTransaction(Connection& connection)
    : connection(connection)
{
    connection.run("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
}

FleetTransaction::FleetTransaction(Connection& connection, const QByteArray& store)
    : connection(connection)
{
    connection.run("BEGIN");
    connection.run(
        "SELECT set_config('velmio.store', $1, true), set_config('lock_timeout', '5s', true)",
        {store});
}

FleetTransaction::~FleetTransaction()
{
    if (!open)
        return;
    try {
        connection.run("ROLLBACK");
    } catch (const CommandError&) {
        // The server rolls back when the connection ends.
    }
}

void FleetTransaction::commit()
{
    // What fails here leaves nothing to roll back.
    open = false;
    connection.run("COMMIT");
}

QString requireStore(Connection& connection, const QByteArray& store)
{
    const Rows found = connection.run("SELECT name FROM velmio.Pushes WHERE store = $1", {store});
    if (found.count() > 0)
        return found.text(0, 0);
    throw notFound(
        u"The store "_s + quoted(QString::fromUtf8(store)), u"fleet list"_s, u"stores"_s);
}

QByteArray arrayOf(const QList<qint64>& numbers)
{
    QByteArray array = "{";
    for (const qint64 number : numbers)
        array += (array.size() > 1 ? "," : "") + QByteArray::number(number);
    return array + '}';
}

} // namespace velmioctl::fleet
