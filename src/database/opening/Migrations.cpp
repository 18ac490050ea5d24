#include <database/opening/Migrations.h>

#include <database/connection/SqliteError.h>

#include <QFile>

#include <sqlite3.h>

#include <string>

using namespace Qt::StringLiterals;

namespace sync::database {

int currentSchemaVersion()
{
    return static_cast<int>(migrationScripts().size());
}

SqliteHandle createDatabase(const QString& path)
{
    QFile(path).open(QIODevice::WriteOnly | QIODevice::NewOnly);
    SqliteHandle database = openConnection(path);
    migrate(database.get(), path);
    return database;
}

void migrate(sqlite3* database, const QString& path)
{
    for (;;) {
        execute(database, "BEGIN IMMEDIATE", path);
        try {
            const auto version = queryNumber(database, "PRAGMA user_version", path);
            if (version >= currentSchemaVersion()) {
                execute(database, "ROLLBACK", path);
                return;
            }
            const auto next = std::to_string(version + 1);
            const auto id = std::to_string(ApplicationId);
            const auto script = migrationScripts()[static_cast<std::size_t>(version)];
            execute(database, std::string(script).c_str(), path);
            execute(database, ("PRAGMA application_id = " + id).c_str(), path);
            execute(database, ("PRAGMA user_version = " + next).c_str(), path);
            execute(database, "COMMIT", path);
        } catch (...) {
            if (sqlite3_get_autocommit(database) == 0)
                sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
            throw;
        }
    }
}

} // namespace sync::database
