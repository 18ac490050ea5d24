#include <database/changes/ExternalCommits.h>

#include <database/DatabaseError.h>

#include <sqlite3.h>

#include <chrono>
#include <utility>

namespace sync::database {

namespace {

using namespace std::chrono_literals;

// The header of the wal-index (sqlite.org/walformat.html, "The WAL-Index Header"): the version of
// its format, and a counter that every commit to the log increments, whoever does it.
constexpr std::size_t FormatVersion = 0;
constexpr std::size_t ChangeCounter = 2;
constexpr std::uint32_t KnownFormat = 3007000;

// A commit of ours is in the counter for some microseconds before it is counted as ours.
constexpr std::chrono::milliseconds Patience = 10ms;

const volatile std::uint32_t* logHeaderOf(sqlite3* database)
{
    constexpr int RegionBytes = 32768;
    sqlite3_file* file = nullptr;
    volatile void* region = nullptr;
    sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (!file || file->pMethods->iVersion < 2 || !file->pMethods->xShmMap ||
        file->pMethods->xShmMap(file, 0, RegionBytes, 0, &region) != SQLITE_OK || !region)
        return nullptr;
    const auto* const header = static_cast<const volatile std::uint32_t*>(region);
    return header[FormatVersion] == KnownFormat ? header : nullptr;
}

} // namespace

ExternalCommits::ExternalCommits(
    const QString& path, const std::atomic<std::uint32_t>& ownCommits,
    std::shared_ptr<WriterQueue> writers)
    : database(openConnection(path))
    , ownCommits(ownCommits)
    , writers(std::move(writers))
{
    // A read opens the log, and with it the shared memory.
    queryNumber(database.get(), "SELECT count(*) FROM sqlite_schema", path);
    if (queryText(database.get(), "PRAGMA journal_mode", path) == QLatin1StringView("wal"))
        logHeader = logHeaderOf(database.get());
    // Without a writer, or in the middle of a long transaction, no commit is half counted.
    const bool hasTurn = this->writers->enter(Patience);
    othersBefore = logHeader ? commitsOfOthers() : 0;
    versionBefore = dataVersion();
    if (hasTurn)
        this->writers->leave();
}

bool ExternalCommits::anySinceLast()
{
    if (logHeader)
        return anyInLog();
    const auto version = dataVersion();
    if (!version || version == versionBefore)
        return false;
    versionBefore = version;
    return true;
}

bool ExternalCommits::anyInLog()
{
    if (commitsOfOthers() == othersBefore)
        return false;
    if (!writers->enter(Patience))
        return false;
    const std::uint32_t others = commitsOfOthers();
    writers->leave();
    return std::exchange(othersBefore, others) != others;
}

// The own ones are read first: one that comes in between makes a difference, and hides none.
std::uint32_t ExternalCommits::commitsOfOthers() const
{
    const std::uint32_t own = ownCommits;
    return logHeader[ChangeCounter] - own;
}

// Nothing while somebody has the file locked.
std::optional<std::uint32_t> ExternalCommits::dataVersion()
{
    try {
        return static_cast<std::uint32_t>(queryNumber(database.get(), "PRAGMA data_version", {}));
    } catch (const DatabaseError&) {
        return {};
    }
}

} // namespace sync::database
