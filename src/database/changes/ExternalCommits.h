#pragma once

#include <database/connection/SqliteHandle.h>
#include <database/pool/WriterQueue.h>

#include <QString>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

namespace sync::database {

/// Notices that somebody other than one store has committed to its database.
///
/// With a write-ahead log it reads one number in the shared memory and is exact. Without one it
/// cannot tell whose a commit was, and takes those of the store for others'. One thread at a time.
class ExternalCommits
{
public:
    /// `ownCommits` is what the store counts of its own, each before the writer leaves the queue.
    /// Throws DatabaseError.
    ExternalCommits(
        const QString& path, const std::atomic<std::uint32_t>& ownCommits,
        std::shared_ptr<WriterQueue> writers);

    /// Whether there was one since the last call. A writer of the store that keeps its turn for
    /// long puts the answer off to a later call.
    bool anySinceLast();

private:
    bool anyInLog();
    std::uint32_t commitsOfOthers() const;
    std::optional<std::uint32_t> dataVersion();

    const SqliteHandle database;
    const std::atomic<std::uint32_t>& ownCommits;
    const std::shared_ptr<WriterQueue> writers;
    const volatile std::uint32_t* logHeader = nullptr; // null without a log
    std::uint32_t othersBefore = 0;
    std::optional<std::uint32_t> versionBefore;
};

} // namespace sync::database
