#pragma once

#include <database/DatabaseError.h>

#include <QString>

struct sqlite3;

namespace sync::database {

/// What a failed statement says to a person: SQLite's message, and what to do where that is known.
QString errorText(sqlite3* database);

/// The error of a failed call on a database file. Takes the extended result code and message from
/// the connection.
DatabaseError databaseError(sqlite3* database, const QString& path);

} // namespace sync::database
