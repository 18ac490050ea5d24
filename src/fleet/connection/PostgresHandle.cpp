#include <fleet/connection/PostgresHandle.h>

#include <fleet/connection/ConnectionOptions.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace sync::fleet {

namespace {

using Cause = database::DatabaseError::Cause;

// What libpq says of a connection, on one line. It never contains the password.
QString messageOf(PGconn* connection)
{
    return QString::fromUtf8(PQerrorMessage(connection)).simplified();
}

// A certificate is the usual hurdle, because we ask for more than libpq does by default.
QString remedyForConnecting(const QString& message)
{
    if (message.contains(u"root certificate file"_s) ||
        message.contains(u"certificate verify failed"_s))
        return u" Name the file of the authority that has signed the server's certificate with "
               u"sslrootcert."_s;
    if (message.contains(u"does not support SSL"_s))
        return u" Switch TLS on at the server. In a network that nobody else can read, "
               u"sslmode=disable connects without it."_s;
    if (message.contains(u"password"_s))
        return u" Put the password in ~/.pgpass or in PGPASSWORD."_s;
    return {};
}

Cause causeOfRefusal(const QString& message)
{
    return message.contains(u"authentication"_s) || message.contains(u"password"_s) ||
                   message.contains(u"permission denied"_s)
               ? Cause::NoPermission
               : Cause::Unreachable;
}

struct KnownError
{
    const char* code; // or its first two characters, which name its class
    Cause cause;
    const char16_t* remedy;
};

// https://www.postgresql.org/docs/current/errcodes-appendix.html
constexpr KnownError KnownErrors[] = {
    {"22003", Cause::IdsUsedUp, u"A number does not fit its column, or no id is left."},
    {"22", Cause::Other, u"A value does not fit its column."},
    {"25006", Cause::ReadOnly,
     u"The server takes no writes, like a standby: name the primary as well, and "
     u"target_session_attrs=read-write."},
    {"42501", Cause::NoPermission,
     u"The login needs the role velmio_client, velmio_service or velmio_report, and with "
     u"velmio_client it must have the name of the store."},
    {"53100", Cause::DiskFull, u"Free some space on the disk of the server."},
    {"53", Cause::Busy, u"Try again when the server has less to do."},
    {"55P03", Cause::Busy, u"Another program has been writing to the store for more than 5 s."},
    {"57014", Cause::Busy, u"The statement took longer than statement_timeout allows."},
    {"58", Cause::InputOutput, u"Check the disk of the server."},
    {"XX", Cause::Damaged, u"Check the server's log and its disk."},
};

const KnownError* findKnownError(const QByteArray& code)
{
    for (const KnownError& error : KnownErrors) {
        if (code.startsWith(error.code))
            return &error;
    }
    return nullptr;
}

} // namespace

PostgresHandle openConnection(const ConnectionOptions& options)
{
    PostgresHandle connection(
        PQconnectdbParams(options.keywords().data(), options.values().data(), 0));
    if (PQstatus(connection.get()) == CONNECTION_OK) {
        // Notices, such as that a table already exists, are nobody's concern.
        PQsetNoticeReceiver(
            connection.get(), [](void*, const PGresult*) {}, nullptr);
        return connection;
    }
    const QString message = messageOf(connection.get());
    throw database::DatabaseError(
        causeOfRefusal(message), u"The fleet's database %1 cannot be reached: %2."_s.arg(
                                     serverOf(connection.get()), message) +
                                     remedyForConnecting(message));
}

bool hasSession(PGconn* connection)
{
    const auto mark = execute(connection, "SELECT current_setting('velmio.session', true)");
    return QByteArrayView(PQgetvalue(mark.get(), 0, 0)) == "kept";
}

QString serverOf(PGconn* connection)
{
    const auto text = [](const char* part) { return QString::fromUtf8(part ? part : ""); };
    return u"\"%1\" at %2:%3"_s.arg(
        text(PQdb(connection)), text(PQhost(connection)), text(PQport(connection)));
}

QByteArray errorCodeOf(const PGresult* result)
{
    return PQresultErrorField(result, PG_DIAG_SQLSTATE);
}

database::Failure failureOf(const PGresult* result, PGconn* connection)
{
    const QByteArray code = errorCodeOf(result);
    if (code.isEmpty())
        return {
            .cause = Cause::Unreachable,
            .text = u"the connection to the server broke: "_s + messageOf(connection)};
    const KnownError* const known = findKnownError(code);
    const QString number = u" ("_s + QString::fromLatin1(code) + u')';
    // The texts of this class quote the value.
    if (code.startsWith("22"))
        return {.cause = known->cause, .text = QString::fromUtf16(known->remedy) + number};
    const QString message =
        QString::fromUtf8(PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY)) + number;
    if (!known)
        return {.text = message};
    return {.cause = known->cause, .text = message + u". "_s + QString::fromUtf16(known->remedy)};
}

bool isBroken(PGconn* connection)
{
    return PQstatus(connection) != CONNECTION_OK;
}

ResultHandle execute(
    PGconn* connection, const QByteArray& sql, std::initializer_list<QByteArray> values)
{
    std::vector<const char*> pointers;
    for (const QByteArray& value : values)
        pointers.push_back(value.constData());
    ResultHandle result(PQexecParams(
        connection, sql.constData(), static_cast<int>(pointers.size()), nullptr, pointers.data(),
        nullptr, nullptr, 0));
    const ExecStatusType status = PQresultStatus(result.get());
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK)
        return result;
    throw unusable(connection, failureOf(result.get(), connection));
}

database::DatabaseError unusable(PGconn* connection, const database::Failure& failure)
{
    return database::DatabaseError(
        failure.cause,
        u"The fleet's database %1 cannot be used: %2"_s.arg(serverOf(connection), failure.text));
}

} // namespace sync::fleet
