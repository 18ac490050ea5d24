#pragma once

#include <database/DatabaseBackups.h>

#include <optional>

struct sqlite3;

namespace sync::database {

/// Merges the WAL of a copy of a damaged database and rolls its journal back, as far as SQLite can
/// open it. Returns its schema version; nothing if SQLite cannot open it. Throws DatabaseError.
std::optional<qint64> prepareForSalvage(const QString& copy);

/// Copies what can be read of such a copy into a new database, in one transaction.
///
/// Every row that is found is copied unchanged. Which ones are missing is concluded from the pages
/// that cannot be read, the indexes and the last ids that were assigned. Their ids are not given to
/// other rows later. Throws FileError, and DatabaseError if the new one cannot be written.
QList<DatabaseBackups::SalvagedTable> salvageTables(
    const QString& copy, sqlite3* fresh, const QString& freshPath);

} // namespace sync::database
