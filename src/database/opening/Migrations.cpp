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

void migrate(sqlite3* database, const QString& path, const std::function<void()>& verify)
{
    execute(database, "BEGIN IMMEDIATE", path);
    try {
        const auto version = queryNumber(database, "PRAGMA user_version", path);
        if (version >= currentSchemaVersion()) {
            execute(database, "ROLLBACK", path);
            return;
        }
        const auto& scripts = migrationScripts();
        for (auto next = static_cast<std::size_t>(version); next < scripts.size(); ++next)
            execute(database, std::string(scripts[next]).c_str(), path);
        const std::string marks = "PRAGMA application_id = " + std::to_string(ApplicationId) +
                                  "; PRAGMA user_version = " + std::to_string(scripts.size());
        execute(database, marks.c_str(), path);
        if (verify)
            verify();
        execute(database, "COMMIT", path);
    } catch (...) {
        if (sqlite3_get_autocommit(database) == 0)
            sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

} // namespace sync::database
