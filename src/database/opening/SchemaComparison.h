#pragma once

#include <database/StoreInspection.h>

struct sqlite3;

namespace sync::database {

/// How the schema of a store of a version differs from that of a new one of the same version, which
/// is made in memory. Nothing for versions that this library does not know. Throws DatabaseError.
QList<SchemaDifference> schemaDifferencesOf(sqlite3* database, qint64 version, const QString& path);

} // namespace sync::database
