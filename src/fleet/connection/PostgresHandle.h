#pragma once

#include <database/DatabaseError.h>
#include <database/FailureLog.h>

#include <QByteArray>
#include <QString>

#include <libpq-fe.h>

#include <initializer_list>
#include <memory>

namespace sync::fleet {

class ConnectionOptions;

struct CloseConnection
{
    void operator()(PGconn* connection) const { PQfinish(connection); }
};
/// A connection to a server, closed when this goes out of scope.
using PostgresHandle = std::unique_ptr<PGconn, CloseConnection>;

struct ClearResult
{
    void operator()(PGresult* result) const { PQclear(result); }
};
using ResultHandle = std::unique_ptr<PGresult, ClearResult>;

/// Opens a connection with our settings. Throws DatabaseError.
PostgresHandle openConnection(const ConnectionOptions& options);

/// True if the connection has the state of a session that it was opened with. A pool that lends a
/// server for one transaction only may leave it out. Throws DatabaseError.
bool hasSession(PGconn* connection);

/// The server of a connection, for a person: its host, port and database.
QString serverOf(PGconn* connection);

/// The five characters of the error code; empty without one, as after a broken connection.
QByteArray errorCodeOf(const PGresult* result);

/// What a failed result says, and what to do if that is known. It names tables and columns at most,
/// and no value.
database::Failure failureOf(const PGresult* result, PGconn* connection);

/// The error of a failure while a store is opened.
database::DatabaseError unusable(PGconn* connection, const database::Failure& failure);

/// True if the server has ended the connection, or can no longer be reached.
bool isBroken(PGconn* connection);

/// Runs one statement with text values and waits for its end. Throws DatabaseError.
ResultHandle execute(
    PGconn* connection, const QByteArray& sql, std::initializer_list<QByteArray> values = {});

} // namespace sync::fleet
