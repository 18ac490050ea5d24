#pragma once

#include <QString>

#include <functional>
#include <unordered_map>
#include <vector>

namespace velmioctl {

/// What a drawn tree shows of one folder.
struct FolderNode
{
    int id = -1;
    int parentId = -1;
    int syncStatus = 0;
    QString name;
    QString clientPath;
    long long files = 0; ///< Those directly in it, and their bytes.
    long long bytes = 0;
};

/// The tree of folders, built from one list in a single pass.
class FolderTree
{
public:
    /// The place of a visited folder in the tree.
    struct Place
    {
        int depth = 0;             ///< 0 for the folder that the visit started at.
        bool last = true;          ///< The last one of its siblings.
        size_t childCount = 0;     ///< All its direct children,
        bool childrenShown = true; ///< and whether the visit goes on to them.
    };
    using Visit = std::function<void(const FolderNode& folder, const Place& place)>;

    explicit FolderTree(std::vector<FolderNode> folders);

    /// Visits a folder and those below it, parents first, siblings by name, down to `maxDepth`
    /// levels below it (negative: all). Visits nothing for an unknown id.
    void visit(int id, int maxDepth, const Visit& use) const;

    /// The ids of the root folders by name.
    std::vector<int> rootIds() const;

    /// How many folders belong to no root folder, because their parents are missing.
    size_t detachedCount() const;

    /// The lines of the tree below a folder, drawn with box characters or in plain ASCII.
    QString draw(int id, int maxDepth, bool utf8) const;

private:
    const std::vector<size_t>& childrenOf(int id) const;

    std::vector<FolderNode> folders;
    // id -> place in `folders`
    std::unordered_map<int, size_t> positions;
    // parent id -> its folders by name
    std::unordered_map<int, std::vector<size_t>> children;
};

} // namespace velmioctl
