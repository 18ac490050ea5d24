#pragma once

#include <database/connection/SqliteHandle.h>

#include <functional>
#include <string_view>
#include <vector>

namespace sync::database {

/// The application id of our files: "Velm" (sqlite.org/pragma.html#pragma_application_id).
constexpr int ApplicationId = 0x56656C6D;

/// The SQL scripts that lead from schema version n (the index) to n + 1.
const std::vector<std::string_view>& migrationScripts();

/// The schema version that this library works with.
int currentSchemaVersion();

/// Creates a database with the current schema in a new file. Throws DatabaseError.
SqliteHandle createDatabase(const QString& path);

/// Brings a database to the current schema in one transaction, so that nobody who opens it at the
/// same time sees an intermediate version and makes a backup of it.
///
/// `verify` is called before the commit, and throws if the database has to stay as it was.
///
/// Throws DatabaseError. Other processes may do the same at the same time.
void migrate(sqlite3* database, const QString& path, const std::function<void()>& verify = {});

} // namespace sync::database
