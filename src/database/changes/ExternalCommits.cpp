#include <database/changes/ExternalCommits.h>

#include <database/DatabaseError.h>

#include <chrono>
#include <thread>
#include <utility>

namespace sync::database {

ExternalCommits::ExternalCommits(const QString& path, const OwnCommits& own)
    : database(openConnection(path))
    , own(own)
{
    // A read opens the WAL, and with it the shared memory.
    queryNumber(database.get(), "SELECT count(*) FROM sqlite_schema", path);
    if (queryText(database.get(), "PRAGMA journal_mode", path) == QLatin1StringView("wal"))
        walCommits = walCommitCounter(database.get());
    if (!walCommits)
        before = dataVersion(path);
    else
        while (!(before = own.commitsOfOthers(walCommits)))
            std::this_thread::sleep_for(std::chrono::microseconds(50)); // a commit is under way
    setWaiting(database.get(), false);
}

bool ExternalCommits::anySinceLast()
{
    const auto now = present();
    if (!now)
        return false;
    return std::exchange(before, now) != now;
}

std::optional<std::uint32_t> ExternalCommits::present() const
{
    if (walCommits)
        return own.commitsOfOthers(walCommits);
    try {
        return dataVersion({});
    } catch (const DatabaseError&) {
        return {};
    }
}

std::uint32_t ExternalCommits::dataVersion(const QString& path) const
{
    return static_cast<std::uint32_t>(queryNumber(database.get(), "PRAGMA data_version", path));
}

} // namespace sync::database
