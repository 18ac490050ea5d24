#include <database/pool/Checkpointer.h>

#include <base/LockGuard.h>
#include <database/DatabaseError.h>

#include <sqlite3.h>

#include <optional>
#include <thread>

namespace sync::database {

Checkpointer::Checkpointer(const QString& path)
    : path(path)
{
}

bool Checkpointer::run(std::chrono::milliseconds patience) noexcept
{
    const base::LockGuard lock(mutex);
    try {
        open();
    } catch (const DatabaseError&) {
        return false;
    }
    const auto exec = [this](const char* sql) {
        return sqlite3_exec(writeLock.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
    };
    if (!exec("BEGIN IMMEDIATE"))
        return false;
    const bool copied = copyLog(patience);
    exec("ROLLBACK");
    return copied;
}

bool Checkpointer::copyLog(std::chrono::milliseconds patience) noexcept
{
    using namespace std::chrono_literals;
    using Clock = std::chrono::steady_clock;
    std::optional<Clock::time_point> deadline; // from the end of the copying, which may take longer
    for (;;) {
        // Passive: it takes no lock that we hold, and waits for nobody.
        int pages = 0;
        int copiedPages = 0;
        if (sqlite3_wal_checkpoint_v2(
                worker.get(), "main", SQLITE_CHECKPOINT_PASSIVE, &pages, &copiedPages) != SQLITE_OK)
            return false;
        if (!deadline)
            deadline = Clock::now() + patience;
        if (copiedPages == pages) {
            // From now on new readers use only the file. Those that began before still need the
            // WAL.
            std::this_thread::sleep_until(*deadline);
            return true;
        }
        if (Clock::now() >= *deadline)
            return true;
        std::this_thread::sleep_for(250us);
    }
}

void Checkpointer::open()
{
    if (!writeLock)
        writeLock = openConnection(path);
    if (!worker)
        worker = openConnection(path);
}

} // namespace sync::database
