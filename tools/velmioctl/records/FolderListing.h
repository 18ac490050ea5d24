#pragma once

#include <optional>
#include <string>

namespace velmioctl {

class Session;

/// Which folders `velmioctl folder list` shows.
struct FolderListOptions
{
    bool all = false;
    bool orphans = false;
    std::optional<std::string> root;
    std::optional<int> signIn;
};

void listFolders(Session& session, const FolderListOptions& options);

/// Draws the tree of one root or folder, or of all roots, down to `maxDepth` levels below it
/// (negative: all).
void drawFolderTree(Session& session, const std::optional<std::string>& folder, int maxDepth);

} // namespace velmioctl
