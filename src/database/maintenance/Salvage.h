#pragma once

#include <database/DatabaseBackups.h>
#include <database/connection/SqliteHandle.h>

namespace sync::database {

/// A connection to a copy of a damaged database, which changes it. Null if SQLite cannot open it as
/// a database.
SqliteHandle openDamaged(const QString& copy);

/// Copies what can be read of a damaged database into a new one, row by row and in one transaction.
///
/// Every row that can be reached is copied unchanged. Ids whose rows cannot be reached are
/// reported, and are not given to other rows later. Throws DatabaseError if the new one cannot be
/// written.
QList<DatabaseBackups::SalvagedTable> salvageTables(
    sqlite3* damaged, sqlite3* fresh, const QString& freshPath);

} // namespace sync::database
