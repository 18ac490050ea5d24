#include <tree/RootPlace.h>

#include <base/FileError.h>
#include <base/system/FolderEntries.h>
#include <base/system/Volumes.h>
#include <tree/FileState.h>
#include <tree/store/StoreQueries.h>

#include <cerrno>

using namespace Qt::StringLiterals;
using sync::base::Links;
using sync::base::statusOf;

namespace sync::tree {

namespace {

// The number of a deleted directory is used again, so the time of its creation is part of the id.
QString fileIdOf(const QString& path)
{
    const auto status = statusOf(path, Links::Follow);
    if (!status)
        return {};
    QString id = QString::number(status->id.inode);
    if (status->created)
        id += u'@' + QString::number(status->created->seconds);
    return id;
}

// False for a directory that cannot be read.
bool isEmptyDirectory(const QString& path)
{
    base::FolderReader folder(path.toStdString(), Links::Follow);
    return folder.isOpen() && !folder.next() && errno == 0;
}

} // namespace

RootPlace::RootPlace(TreeStore store, config::FolderConfiguration root)
    : store(std::move(store))
    , root(std::move(root))
{
}

RootState RootPlace::state() const
{
    const QString path = root.getClientPath();
    const auto status = statusOf(path, Links::Follow);
    if (!status)
        return base::isGone(errno) ? RootState::Missing : RootState::Unreadable;
    if (status->kind != base::FileKind::Folder)
        return RootState::Missing;
    const bool recorded =
        StoreQueries(*store.database)
            .number(
                u"SELECT EXISTS (SELECT 1 FROM FileConfiguration WHERE rootFolderId = :fileRoot)"
                u" OR EXISTS (SELECT 1 FROM FolderConfiguration WHERE parentId = :parentId)"_s,
                {{u":fileRoot"_s, root.getId()}, {u":parentId"_s, root.getId()}}) != 0;
    if (!recorded)
        return RootState::Present;
    if (isEmptyDirectory(path))
        return RootState::Empty;
    const Mark stored = storedMark();
    if (stored == Mark() || stored == currentMark() || holdsItsContent())
        return RootState::Present;
    return RootState::Exchanged;
}

void RootPlace::remember(bool always) const
{
    const Mark current = currentMark();
    if (store.path.isEmpty() || current == storedMark() || !(always || holdsItsContent()))
        return;
    StoreQueries(*store.database)
        .change(
            u"INSERT OR REPLACE INTO RootFolderPlace (rootId, volumeId, fileId) VALUES "
            u"(:rootId, :volumeId, :fileId)"_s,
            {{u":rootId"_s, root.getId()},
             {u":volumeId"_s, current.volumeId},
             {u":fileId"_s, current.fileId}});
}

void RootPlace::forgetAll(const TreeStore& store)
{
    StoreQueries(*store.database).change(u"DELETE FROM RootFolderPlace"_s, {});
}

RootPlace::Mark RootPlace::currentMark() const
{
    return {base::volumeIdOf(root.getClientPath()), fileIdOf(root.getClientPath())};
}

// Empty if none is stored, if it was stored on another machine, and for stores of other engines.
RootPlace::Mark RootPlace::storedMark() const
{
    if (store.path.isEmpty() || store.isMoved)
        return {};
    // A store of an older version that is only read does not have the table.
    const StoreQueries queries(*store.database);
    const bool hasTable =
        queries.number(u"SELECT count(*) FROM sqlite_master WHERE name = 'RootFolderPlace'"_s) > 0;
    if (!hasTable)
        return {};
    const auto query = queries.select(
        u"SELECT volumeId, fileId FROM RootFolderPlace WHERE rootId = :rootId"_s,
        {{u":rootId"_s, root.getId()}});
    const bool found = query->next();
    queries.check(*query);
    return found ? Mark{query->value(0).toString(), query->value(1).toString()} : Mark();
}

// At least half of a sample of what is recorded directly in the root.
bool RootPlace::holdsItsContent() const
{
    const StoreQueries queries(*store.database);
    long long recorded = 0;
    long long found = 0;
    const auto count = [&](const QString& sql, bool (*gone)(const QString& path)) {
        const auto query = queries.select(sql, {{u":id"_s, root.getId()}});
        while (query->next()) {
            ++recorded;
            found += gone(query->value(0).toString()) ? 0 : 1;
        }
        queries.check(*query);
    };
    count(
        u"SELECT clientPath FROM FileConfiguration WHERE folderConfigurationId = :id LIMIT 500"_s,
        fileIsGone);
    count(
        u"SELECT clientPath FROM FolderConfiguration WHERE parentId = :id LIMIT 500"_s,
        folderIsGone);
    return 2 * found >= recorded;
}

} // namespace sync::tree
