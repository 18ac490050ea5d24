#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

struct sqlite3;

namespace sync::database {

/// The counter in the shared memory of a WAL that every commit to it increments, by any process;
/// null without a WAL. It stays in place while the connection is open, which must have read or
/// written before.
const volatile std::uint32_t* walCommitCounter(sqlite3* database);

/// Counts the commits of one store to its WAL, so that they can be distinguished from those of
/// others.
///
/// It is a sequence lock: only the thread that has the turn of the writer queue changes it, any
/// thread reads it, and neither ever waits for the other.
class OwnCommits
{
public:
    /// Call before a commit, while its connection holds SQLite's write lock, so that nobody else
    /// commits. `walCommits` is what walCommitCounter() points to; nothing before a statement that
    /// takes the lock itself.
    void begin(std::optional<std::uint32_t> walCommits) noexcept;

    /// The commit is in the WAL.
    void count() noexcept { ++own; }

    /// Call when the commit has ended, whether it succeeded or not; also without begin().
    void end() noexcept;

    /// How many commits to the WAL were those of others. While a transaction of the store commits,
    /// this is the number from before. Nothing while a single statement of the store commits, or
    /// when commits follow each other too closely to be read: a later call knows.
    std::optional<std::uint32_t> commitsOfOthers(
        const volatile std::uint32_t* walCommits) const noexcept;

private:
    mutable std::atomic<std::uint32_t> sequence = 0; // odd from begin() to end()
    std::atomic<std::uint32_t> own = 0;
    std::atomic<std::uint32_t> othersAtBegin = 0;
    std::atomic<bool> isKnown = false; // othersAtBegin
};

} // namespace sync::database
