#include <database/sqlite/LogCheckpointer.h>

#include <database/DatabaseError.h>

#include <sqlite3.h>

namespace sync::database {

LogCheckpointer::LogCheckpointer(const QString& path)
    : path(path)
{
}

bool LogCheckpointer::run(bool wait) noexcept
{
    const std::lock_guard lock(mutex);
    try {
        open();
    } catch (const DatabaseError&) {
        return false;
    }
    const auto exec = [this](const char* sql) {
        return sqlite3_exec(writeLock.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
    };
    if (!wait)
        sqlite3_busy_timeout(writeLock.get(), 0);
    if (!exec("BEGIN IMMEDIATE"))
        return false;
    // Passive: it takes no lock that we hold, and waits for nobody.
    const int result = sqlite3_wal_checkpoint_v2(
        worker.get(), "main", SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    exec("ROLLBACK");
    return result == SQLITE_OK;
}

void LogCheckpointer::open()
{
    if (!writeLock)
        writeLock = openConnection(path);
    if (!worker)
        worker = openConnection(path);
}

} // namespace sync::database
