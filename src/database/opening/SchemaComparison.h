#pragma once

#include <database/StoreInspection.h>

struct sqlite3;

namespace sync::database {

/// How the schema of a store of a version differs from that of a new one of the same version; for a
/// newer version than this library knows, what it lacks of the newest known one, and what can act.
/// Blanks, comments and quotes of names do not count. Throws DatabaseError.
QList<SchemaDifference> schemaDifferencesOf(sqlite3* database, qint64 version, const QString& path);

} // namespace sync::database
