#pragma once

#include <memory>
#include <set>
#include <string>

namespace sync::base {

/// What has changed in watched folders.
struct FolderChanges
{
    std::set<std::string> withFiles; ///< Folders in which something other than a folder changed.
    bool folders = false;            ///< A folder came, went or changed.
    bool lost = false;               ///< There was more than the system could keep.

    bool isEmpty() const { return withFiles.empty() && !folders && !lost; }
};

/// Waits for changes in folders, by their paths. A file that is written counts once it is closed.
class FolderWatch
{
public:
    FolderWatch();
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    /// False, with errno set, on failure: ENOSPC if no more folders can be watched, and ENOSYS
    /// where this system offers nothing. A folder that is watched already gets the new path.
    bool add(const std::string& path);

    /// Waits until something has changed, but no longer than this; then nothing is reported.
    FolderChanges wait(int milliseconds);

private:
    struct State;
    const std::unique_ptr<State> state;
};

} // namespace sync::base
