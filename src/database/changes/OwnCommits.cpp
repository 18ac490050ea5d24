#include <database/changes/OwnCommits.h>

#include <QtGlobal>

#include <sqlite3.h>

namespace sync::database {

namespace {

bool isOdd(std::uint32_t number)
{
    return number % 2 != 0;
}

} // namespace

const volatile std::uint32_t* walCommitCounter(sqlite3* database)
{
    // The header of the WAL-index (sqlite.org/walformat.html, "The WAL-Index Header").
    constexpr int RegionBytes = 32768;
    constexpr std::size_t FormatVersion = 0;
    constexpr std::size_t ChangeCounter = 2;
    constexpr std::uint32_t KnownFormat = 3007000;
    sqlite3_file* file = nullptr;
    volatile void* region = nullptr;
    sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (!file || file->pMethods->iVersion < 2 || !file->pMethods->xShmMap ||
        file->pMethods->xShmMap(file, 0, RegionBytes, 0, &region) != SQLITE_OK || !region)
        return nullptr;
    const auto* const header = static_cast<const volatile std::uint32_t*>(region);
    return header[FormatVersion] == KnownFormat ? header + ChangeCounter : nullptr;
}

void OwnCommits::begin(std::optional<std::uint32_t> walCommits) noexcept
{
    Q_ASSERT(!isOdd(sequence));
    isKnown = walCommits.has_value();
    othersAtBegin = walCommits.value_or(0) - own;
    ++sequence;
}

void OwnCommits::end() noexcept
{
    if (isOdd(sequence))
        ++sequence;
}

std::optional<std::uint32_t> OwnCommits::commitsOfOthers(
    const volatile std::uint32_t* walCommits) const noexcept
{
    constexpr int Attempts = 3;
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        const std::uint32_t before = sequence;
        if (isOdd(before) && !isKnown)
            return {};
        const std::uint32_t others = isOdd(before) ? othersAtBegin.load() : *walCommits - own;
        // Adds 0 instead of loading: a load could be reordered before those above.
        if (sequence.fetch_add(0) == before)
            return others;
    }
    return {};
}

} // namespace sync::database
