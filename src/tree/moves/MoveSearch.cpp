#include <tree/moves/MoveSearch.h>

#include <base/FilePaths.h>
#include <tree/walk/DiskState.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using sync::base::FileKind;
using sync::base::joinPath;
using sync::base::Links;
using sync::base::statusOf;
using sync::base::textOfName;

namespace sync::tree {

namespace {

// Smaller files are often equal by chance.
constexpr int LeastContentBytes = 128;

QString comparable(const QString& path)
{
    return path.normalized(QString::NormalizationForm_C);
}

QString lastNameOf(const QString& path)
{
    return path.sliced(path.lastIndexOf(u'/') + 1);
}

bool lists(const DirectoryWalk::Folder& folder, const QString& name)
{
    const auto isIt = [&name](const auto& entry) {
        return textOfName(entry.name).value_or(QString()) == name;
    };
    return std::any_of(folder.entries.begin(), folder.entries.end(), isIt) ||
           std::any_of(folder.folders.begin(), folder.folders.end(), isIt);
}

std::optional<qint64> storedNumber(const QVariant& value)
{
    return value.isNull() ? std::nullopt : std::optional(value.toLongLong());
}

} // namespace

MoveSearch::MoveSearch(
    const StoreQueries& queries, const config::FolderConfiguration& root, IgnoreRule ignored,
    interf::ICryptographicHash* hashes)
    : queries(queries)
    , root(root)
    , ignored(std::move(ignored))
    , hashes(hashes)
{
}

MovePlan MoveSearch::run(const QString& start, const std::function<bool()>& stop)
{
    stopRequested = stop;
    const auto depth = root.getFolderOption() == config::TopLevelOnly
                           ? DirectoryWalk::Depth::TopLevel
                           : DirectoryWalk::Depth::All;
    const auto ignoreProblem = [](const TreeProblem&) {};
    // What was inside of a refused folder may have moved by itself.
    do {
        plan = {};
        // Again, because what was in its place may not be when the folder above it has moved away.
        for (size_t known = 0; known <= plan.moves().size() && !stopRequested();) {
            known = plan.moves().size() + 1;
            DirectoryWalk walk(start, depth, ignoreProblem, ignored);
            findFolders(walk);
        }
        sortFolders();
    } while (removeOccupied() && !stopRequested());
    const MovePlan ofFolders = plan;
    do {
        plan = ofFolders;
        DirectoryWalk walk(start, depth, ignoreProblem, ignored);
        findFiles(walk);
    } while (removeOccupied() && !stopRequested());
    DirectoryWalk walk(start, depth, ignoreProblem, ignored);
    findContents(walk);
    return stopRequested() ? MovePlan() : plan;
}

bool MoveSearch::isRecordedElsewhere(
    const DiskIdentity& identity, bool isFolder, const QString& path)
{
    const auto found = candidates(identity, isFolder);
    const bool isRecordedHere = std::any_of(found.begin(), found.end(), [&](const auto& one) {
        return comparable(one.path) == comparable(path);
    });
    return !isRecordedHere && std::any_of(found.begin(), found.end(), [&](const auto& one) {
        return mayMoveFrom(one.rootId);
    });
}

std::optional<DiskIdentity> MoveSearch::stored(const StoreQueries& queries, int id, bool isFolder)
{
    const auto query = queries.select(
        isFolder ? u"SELECT volume, fileId, createdNs FROM FolderOnDisk WHERE folderId = :id"_s
                 : u"SELECT volume, fileId, createdNs FROM FileOnDisk"
                   u" WHERE fileConfigurationId = :id"_s,
        {{u":id"_s, id}});
    const bool found = query->next();
    queries.check(*query);
    return found ? std::optional(DiskIdentity{
                       query->value(0).toLongLong(), query->value(1).toLongLong(),
                       storedNumber(query->value(2))})
                 : std::nullopt;
}

std::vector<MoveSearch::Candidate> MoveSearch::candidates(
    const DiskIdentity& identity, bool isFolder) const
{
    const auto query = queries.select(
        isFolder ? u"SELECT id, clientPath, rootId, createdNs, 0, '' FROM FolderOnDisk"
                   u" JOIN FolderConfiguration ON id = folderId"
                   u" WHERE fileId = :fileId AND volume = :volume AND parentId <> 0 ORDER BY id"_s
                 : u"SELECT id, clientPath, rootFolderId, createdNs, size, checkSum"
                   u" FROM FileOnDisk JOIN FileConfiguration ON id = fileConfigurationId"
                   u" WHERE fileId = :fileId AND volume = :volume ORDER BY id"_s,
        {{u":fileId"_s, identity.fileId}, {u":volume"_s, identity.volume}});
    std::vector<Candidate> found;
    while (query->next()) {
        found.push_back(
            {query->value(0).toInt(), query->value(1).toString(), query->value(2).toInt(),
             storedNumber(query->value(3)), query->value(4).toLongLong(),
             query->value(5).toString()});
    }
    queries.check(*query);
    return found;
}

// Ids of a server mean nothing to another sign-in.
bool MoveSearch::mayMoveFrom(int rootId)
{
    if (rootId == root.getId())
        return true;
    auto known = sameSignIn.constFind(rootId);
    if (known == sameSignIn.cend()) {
        const bool same =
            queries.number(
                u"SELECT count(*) FROM FolderConfiguration WHERE id = :id AND parentId = 0"
                u" AND authenticationId = :authenticationId"_s,
                {{u":id"_s, rootId}, {u":authenticationId"_s, root.getAuthenticationId()}}) > 0;
        known = sameSignIn.insert(rootId, same);
    }
    return *known;
}

// Where case does not count, the old name still leads to it, but the folder does not list it.
bool MoveSearch::isStillThere(
    const Candidate& candidate, const DiskIdentity& identity, const QString& path,
    const DirectoryWalk::Folder& parent)
{
    const QString expected = plan.newPath(candidate.path);
    const auto there = identities.of(statusOf(expected, Links::Keep), expected);
    if (!there || there->fileId != identity.fileId || there->volume != identity.volume)
        return false;
    const bool onlyCaseDiffers =
        comparable(expected).compare(comparable(path), Qt::CaseInsensitive) == 0;
    return !onlyCaseDiffers || lists(parent, lastNameOf(expected));
}

bool MoveSearch::isSameFile(
    const Candidate& candidate, const DiskIdentity& identity, const FileState& state,
    const QString& path) const
{
    if (candidate.createdNs)
        return candidate.createdNs == identity.createdNs;
    return candidate.size == state.size && !candidate.checkSum.isEmpty() &&
           hashFile(path, state, hashes).checkSum == candidate.checkSum;
}

// Without a time of creation, half of what is recorded in it must be in it.
bool MoveSearch::isSameFolder(
    const Candidate& candidate, const DiskIdentity& identity,
    const DirectoryWalk::Folder& found) const
{
    if (candidate.createdNs)
        return candidate.createdNs == identity.createdNs;
    long long recorded = 0;
    long long present = 0;
    const auto query = queries.select(
        u"SELECT clientPath FROM FileConfiguration WHERE folderConfigurationId = :id"
        u" UNION ALL SELECT clientPath FROM FolderConfiguration WHERE parentId = :parentId"_s,
        {{u":id"_s, candidate.id}, {u":parentId"_s, candidate.id}});
    while (query->next()) {
        ++recorded;
        present += lists(found, lastNameOf(query->value(0).toString())) ? 1 : 0;
    }
    queries.check(*query);
    return recorded > 0 && 2 * present >= recorded;
}

void MoveSearch::findFolders(DirectoryWalk& walk)
{
    // The folder that lists the one that is visited.
    DirectoryWalk::Folder parent;
    while (const DirectoryWalk::Folder* const found = stopRequested() ? nullptr : walk.next()) {
        const QString& path = found->path;
        const auto status = found->isOpen() ? statusOf(found->descriptor) : std::nullopt;
        const auto identity = identities.of(status, path);
        if (!identity || path == root.getClientPath())
            continue;
        const auto all = candidates(*identity, true);
        const bool isHere = std::any_of(all.begin(), all.end(), [&](const Candidate& one) {
            return comparable(plan.newPath(one.path)) == comparable(path);
        });
        for (const Candidate& candidate : all) {
            if (isHere || refusedFolders.contains(candidate.id) || plan.holds(candidate.id, true) ||
                !mayMoveFrom(candidate.rootId) || !isSameFolder(candidate, *identity, *found))
                continue;
            // Read only here, because few folders have moved.
            base::FolderReader reader(
                path.first(path.lastIndexOf(u'/')).toStdString(), Links::Follow);
            parent.folders.clear();
            while (const auto* const entry = reader.next())
                parent.folders.push_back({entry->name, {}});
            if (isStillThere(candidate, *identity, path, parent))
                continue;
            plan.add({candidate.id, true, candidate.path, path, candidate.rootId});
            break;
        }
    }
}

// Parents come first, because their paths are shorter.
void MoveSearch::sortFolders()
{
    std::vector<Move> moves = plan.moves();
    std::stable_sort(moves.begin(), moves.end(), [](const Move& left, const Move& right) {
        return left.to.size() < right.to.size();
    });
    plan = {};
    for (const Move& move : moves)
        plan.add(move);
}

void MoveSearch::findFiles(DirectoryWalk& walk)
{
    while (const DirectoryWalk::Folder* const found = stopRequested() ? nullptr : walk.next()) {
        for (const DirectoryWalk::Entry& entry : found->entries) {
            if (entry.regular && found->isOpen())
                findFile(*found, entry.name);
        }
    }
}

void MoveSearch::findFile(const DirectoryWalk::Folder& folder, const std::string& name)
{
    const auto status = statusOf(folder.descriptor, name.c_str());
    if (!status || status->kind != FileKind::File)
        return;
    const QString path = joinPath(folder.path, textOfName(name).value_or(QString()));
    const auto identity = identities.of(status, folder.path);
    const auto all = candidates(*identity, false);
    const bool isHere = std::any_of(all.begin(), all.end(), [&](const Candidate& one) {
        return comparable(plan.newPath(one.path)) == comparable(path);
    });
    if (isHere)
        return;
    const auto state = readFileState(folder.descriptor, name.c_str());
    for (const Candidate& candidate : all) {
        if (refusedFiles.contains(candidate.id) || plan.holds(candidate.id, false) ||
            !mayMoveFrom(candidate.rootId) || !state ||
            !isSameFile(candidate, *identity, *state, path) ||
            isStillThere(candidate, *identity, path, folder))
            continue;
        plan.add({candidate.id, false, candidate.path, path, candidate.rootId});
        return;
    }
}

QHash<QString, MoveSearch::Missing> MoveSearch::missingContents() const
{
    QHash<QString, Missing> missing;
    QSet<QString> repeated;
    const auto query = queries.select(
        u"SELECT id, clientPath, size, checkSum FROM FileConfiguration"
        u" WHERE rootFolderId = :rootFolderId AND size >= :size AND checkSum <> ''"_s,
        {{u":rootFolderId"_s, root.getId()}, {u":size"_s, LeastContentBytes}});
    while (!stopRequested() && query->next()) {
        const int id = query->value(0).toInt();
        const QString path = query->value(1).toString();
        const QString checkSum = query->value(3).toString();
        if (plan.holds(id, false) || !fileIsGone(plan.newPath(path)))
            continue;
        if (missing.contains(checkSum))
            repeated.insert(checkSum);
        missing.insert(checkSum, {id, path, query->value(2).toLongLong(), {}});
    }
    queries.check(*query);
    if (missing.isEmpty())
        return missing;
    const auto all = queries.select(
        u"SELECT id, checkSum FROM FileConfiguration WHERE size >= :size AND checkSum <> ''"_s,
        {{u":size"_s, LeastContentBytes}});
    while (!stopRequested() && all->next()) {
        const auto same = missing.constFind(all->value(1).toString());
        if (same != missing.cend() && same->id != all->value(0).toInt())
            repeated.insert(same.key());
    }
    queries.check(*all);
    for (const QString& checkSum : repeated)
        missing.remove(checkSum);
    return missing;
}

// On another disk, or after a restore, nothing but its content identifies a file.
void MoveSearch::findContents(DirectoryWalk& walk)
{
    auto missing = missingContents();
    if (missing.isEmpty())
        return;
    QSet<qint64> sizes;
    for (const Missing& file : std::as_const(missing))
        sizes.insert(file.size);
    while (const DirectoryWalk::Folder* const found = stopRequested() ? nullptr : walk.next()) {
        for (const DirectoryWalk::Entry& entry : found->entries) {
            const auto state =
                entry.regular ? readFileState(found->descriptor, entry.name.c_str()) : std::nullopt;
            const QString path = joinPath(found->path, textOfName(entry.name).value_or(QString()));
            if (!state || !state->regular || !sizes.contains(state->size) || isRecorded(path))
                continue;
            const auto same = missing.find(hashFile(path, *state, hashes).checkSum);
            if (same != missing.end())
                same->found.push_back(path);
        }
    }
    for (const Missing& file : std::as_const(missing)) {
        if (file.found.size() == 1)
            plan.add({file.id, false, file.path, file.found.front(), root.getId()});
    }
}

bool MoveSearch::isRecorded(const QString& path) const
{
    if (plan.movedTo(path, false) != -1)
        return true;
    const auto slash = path.lastIndexOf(u'/');
    const QString recorded = plan.recordedPath(path.first(slash)) + path.sliced(slash);
    return plan.newPath(recorded) == path &&
           queries.number(
               u"SELECT EXISTS (SELECT 1 FROM FileConfiguration WHERE clientPath = :clientPath)"_s,
               {{u":clientPath"_s, recorded}}) != 0;
}

// A move that is removed leaves its record in place, which may occupy the new place of another one.
bool MoveSearch::removeOccupied()
{
    bool anyRemoved = false;
    for (bool removed = true; removed;) {
        removed = false;
        MovePlan kept;
        for (const Move& move : plan.moves()) {
            if (!isOccupied(move)) {
                kept.add(move);
                continue;
            }
            (move.isFolder ? refusedFolders : refusedFiles).insert(move.id);
            removed = true;
            anyRemoved = true;
        }
        plan = kept;
    }
    return anyRemoved;
}

bool MoveSearch::isOccupied(const Move& move)
{
    const auto slash = move.to.lastIndexOf(u'/');
    const QString recorded = plan.recordedPath(move.to.first(slash)) + move.to.sliced(slash);
    for (const QString& place : {recorded, move.to}) {
        const auto query = queries.select(
            move.isFolder
                ? u"SELECT id, rootId FROM FolderConfiguration WHERE clientPath = :clientPath"_s
                : u"SELECT id, rootFolderId FROM FileConfiguration"
                  u" WHERE clientPath = :clientPath"_s,
            {{u":clientPath"_s, place}});
        while (query->next()) {
            const int id = query->value(0).toInt();
            if (id != move.id && mayMoveFrom(query->value(1).toInt()) &&
                !plan.holds(id, move.isFolder) && plan.newPath(place) == move.to)
                return true;
        }
        queries.check(*query);
    }
    return false;
}

} // namespace sync::tree
