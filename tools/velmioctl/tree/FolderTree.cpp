#include <velmioctl/tree/FolderTree.h>

#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Names.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

constexpr int RootParentId = 0;

struct Glyphs
{
    QString branch;
    QString lastBranch;
    QString trunk;
};

Glyphs glyphsFor(bool utf8)
{
    if (utf8)
        return {u"\u251c\u2500\u2500 "_s, u"\u2514\u2500\u2500 "_s, u"\u2502   "_s};
    return {u"|-- "_s, u"`-- "_s, u"|   "_s};
}

QString label(const FolderNode& folder, const FolderTree::Place& place)
{
    // The path of a root says more than its name.
    const QString& name = place.depth == 0 ? folder.clientPath : folder.name;
    QString text = escapeControls(name) + u"  ["_s + QString::number(folder.id) + u", "_s +
                   syncStatusName(folder.syncStatus) + u']';
    if (folder.files > 0) {
        text +=
            u"  "_s + counted(folder.files, u"file"_s) + u", "_s + counted(folder.bytes, u"byte"_s);
    }
    if (!place.childrenShown && place.childCount > 0)
        text += u" (+"_s + QString::number(place.childCount) + u')';
    return text;
}

} // namespace

FolderTree::FolderTree(std::vector<FolderNode> list)
    : folders(std::move(list))
{
    positions.reserve(folders.size());
    for (size_t at = 0; at < folders.size(); ++at) {
        positions.emplace(folders[at].id, at);
        children[folders[at].parentId].push_back(at);
    }
    for (auto& [parentId, siblings] : children) {
        std::sort(siblings.begin(), siblings.end(), [this](size_t left, size_t right) {
            const int order = folders[left].name.compare(folders[right].name);
            return order != 0 ? order < 0 : folders[left].id < folders[right].id;
        });
    }
}

void FolderTree::visit(int id, int maxDepth, const Visit& use) const
{
    const auto start = positions.find(id);
    if (start == positions.end())
        return;

    struct Pending
    {
        size_t position;
        int depth;
        bool last;
    };
    // Not recursive: a chain of folders may be deeper than the stack.
    std::vector<Pending> pending{{start->second, 0, true}};
    // In a damaged table a folder may be below itself.
    std::vector<bool> visited(folders.size(), false);
    while (!pending.empty()) {
        const Pending current = pending.back();
        pending.pop_back();
        if (visited[current.position])
            continue;
        visited[current.position] = true;

        const FolderNode& folder = folders[current.position];
        const auto& below = childrenOf(folder.id);
        const bool goOn = maxDepth < 0 || current.depth < maxDepth;
        use(folder, {current.depth, current.last, below.size(), goOn});
        if (!goOn)
            continue;
        for (size_t at = below.size(); at-- > 0;)
            pending.push_back({below[at], current.depth + 1, at + 1 == below.size()});
    }
}

std::vector<int> FolderTree::rootIds() const
{
    std::vector<int> ids;
    for (const size_t position : childrenOf(RootParentId))
        ids.push_back(folders[position].id);
    return ids;
}

size_t FolderTree::detachedCount() const
{
    size_t attached = 0;
    for (const int id : rootIds())
        visit(id, -1, [&attached](const FolderNode&, const Place&) { ++attached; });
    return folders.size() - attached;
}

QString FolderTree::draw(int id, int maxDepth, bool utf8) const
{
    const Glyphs glyphs = glyphsFor(utf8);
    QString text;
    // The text before the branch at each depth; [depth - 1] belongs to `depth`.
    std::vector<QString> prefixes{QString()};
    visit(id, maxDepth, [&](const FolderNode& folder, const Place& place) {
        const auto depth = size_t(place.depth);
        if (depth > 0) {
            prefixes.resize(depth);
            text += prefixes.back() + (place.last ? glyphs.lastBranch : glyphs.branch);
            prefixes.push_back(prefixes.back() + (place.last ? u"    "_s : glyphs.trunk));
        }
        text += label(folder, place) + u'\n';
    });
    return text;
}

const std::vector<size_t>& FolderTree::childrenOf(int id) const
{
    static const std::vector<size_t> none;
    const auto found = children.find(id);
    return found == children.end() ? none : found->second;
}

} // namespace velmioctl
