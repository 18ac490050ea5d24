#pragma once

#include <string>
#include <vector>

namespace velmioctl {

class Session;

/// What `velmioctl secrets prune` has been told.
struct KeyPruningOptions
{
    std::vector<std::string> files; ///< Backups in other places.
    bool rewriteBackups = false;    ///< Encrypt their passwords with the current key.
    bool removeBackups = false;     ///< Remove those that need an earlier key.
    bool noRest = false;            ///< Also drop keys that were replaced a moment ago.
    bool force = false;             ///< Also drop keys that backups or other databases need.
    bool dryRun = false;
    bool yes = false;
};

/// Drops the keys that nothing uses any more, and shows which ones stay and why.
void pruneKeys(Session& session, const KeyPruningOptions& options);

} // namespace velmioctl
