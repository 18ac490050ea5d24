#pragma once

#include <database/changes/OwnCommits.h>
#include <database/connection/SqliteHandle.h>

#include <QString>

#include <cstdint>
#include <optional>

namespace sync::database {

/// Notices commits to a store's database by anyone except that store.
///
/// With a WAL it reads one number in the shared memory and is exact. Without one it cannot
/// distinguish the store's own commits, and counts them as external. One thread at a time may use
/// it.
class ExternalCommits
{
public:
    /// Notices commits from now on. Waits up to the busy timeout for a writer that has locked the
    /// readers out. Throws DatabaseError.
    ExternalCommits(const QString& path, const OwnCommits& own);

    /// True if there was one since the last call. Never waits: if a writer has locked the readers
    /// out of a store without a WAL, a later call reports it.
    bool anySinceLast();

private:
    std::optional<std::uint32_t> present() const;
    std::uint32_t dataVersion(const QString& path) const;

    const SqliteHandle database;
    const OwnCommits& own;
    const volatile std::uint32_t* walCommits = nullptr; // null without a WAL
    std::optional<std::uint32_t> before;                // commits of others, or the data version
};

} // namespace sync::database
