#pragma once

#include <database/changes/OwnCommits.h>
#include <database/connection/SqliteHandle.h>

#include <QString>

#include <cstdint>
#include <optional>

namespace sync::database {

/// Notices that somebody other than one store has committed to its database.
///
/// With a WAL it reads one number in the shared memory and is exact. Without one it cannot
/// distinguish the store's own commits, and counts them as external. One thread at a time.
class ExternalCommits
{
public:
    /// Notices what is committed from now on. Waits for a writer that has locked the readers out,
    /// for up to the busy timeout. Throws DatabaseError.
    ExternalCommits(const QString& path, const OwnCommits& own);

    /// True if there was one since the last call. Waits for nobody: without a WAL, a writer that
    /// has locked the readers out puts the answer off to a later call.
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
