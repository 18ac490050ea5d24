#include <tree/RootPlace.h>

#include <base/FileError.h>
#include <base/FilePaths.h>
#include <base/system/FolderEntries.h>
#include <base/system/Volumes.h>
#include <core/Constants.h>
#include <tree/FileState.h>
#include <tree/store/StoreQueries.h>

#include <QFile>
#include <QSaveFile>

#include <cerrno>

using namespace Qt::StringLiterals;
using sync::base::Links;
using sync::base::statusOf;

namespace sync::tree {

namespace {

constexpr qint64 MostMarkBytes = 64;

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
    if (isPaused())
        return RootState::Paused;
    QFile marker(markerPath());
    if (const QString stored = mark(); !stored.isEmpty() && marker.open(QIODevice::ReadOnly)) {
        return QString::fromLatin1(marker.read(MostMarkBytes)) == stored ? RootState::Present
                                                                         : RootState::Exchanged;
    }
    const Place stored = storedPlace();
    const Place current = currentPlace();
    if (stored == Place() || stored == current)
        return RootState::Present;
    if (holdsItsContent())
        return holdsOlderFiles() ? RootState::Restored : RootState::Present;
    return stored.volumeId == current.volumeId ? RootState::Exchanged : RootState::OtherDisk;
}

QString RootPlace::mark() const
{
    if (!hasTable(u"RootFolderMark"_s))
        return {};
    const StoreQueries queries(*store.database);
    const auto query = queries.select(
        u"SELECT mark FROM RootFolderMark WHERE rootId = :rootId"_s,
        {{u":rootId"_s, root.getId()}});
    QString found = query->next() ? query->value(0).toString() : QString();
    queries.check(*query);
    return found;
}

bool RootPlace::writeMarker() const
{
    const QByteArray bytes = mark().toLatin1();
    QSaveFile file(markerPath());
    return !bytes.isEmpty() && file.open(QIODevice::WriteOnly) &&
           file.write(bytes) == bytes.size() && file.commit();
}

void RootPlace::remember(bool always) const
{
    const Place current = currentPlace();
    const bool known = current == storedPlace() && !mark().isEmpty() && !isPaused();
    if (store.path.isEmpty() || known || !(always || holdsItsContent()))
        return;
    const StoreQueries queries(*store.database);
    queries.change(
        u"INSERT INTO RootFolderMark (rootId, mark, paused)"
        u" VALUES (:rootId, lower(hex(randomblob(16))), 0)"
        u" ON CONFLICT (rootId) DO UPDATE SET paused = 0"_s,
        {{u":rootId"_s, root.getId()}});
    queries.change(
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

RootPlace::Place RootPlace::currentPlace() const
{
    return {base::volumeIdOf(root.getClientPath()), fileIdOf(root.getClientPath())};
}

// Empty if none is stored, if it was stored on another machine, and for stores of other engines.
RootPlace::Place RootPlace::storedPlace() const
{
    if (store.path.isEmpty() || store.isMoved)
        return {};
    if (!hasTable(u"RootFolderPlace"_s))
        return {};
    const StoreQueries queries(*store.database);
    const auto query = queries.select(
        u"SELECT volumeId, fileId FROM RootFolderPlace WHERE rootId = :rootId"_s,
        {{u":rootId"_s, root.getId()}});
    const bool found = query->next();
    queries.check(*query);
    return found ? Place{query->value(0).toString(), query->value(1).toString()} : Place();
}

QString RootPlace::markerPath() const
{
    // What has this in its name is never synchronised.
    return base::joinPath(root.getClientPath(), core::consts::TEMP_FOLDER_NAME + u".root"_s);
}

bool RootPlace::isPaused() const
{
    return hasTable(u"RootFolderMark"_s) &&
           StoreQueries(*store.database)
                   .number(
                       u"SELECT paused FROM RootFolderMark WHERE rootId = :rootId"_s,
                       {{u":rootId"_s, root.getId()}}) != 0;
}

// A store of an older version that is only read does not have all tables, and one of another engine
// none of them.
bool RootPlace::hasTable(const QString& name) const
{
    return !store.path.isEmpty() &&
           StoreQueries(*store.database)
                   .number(
                       u"SELECT count(*) FROM sqlite_master WHERE name = :name"_s,
                       {{u":name"_s, name}}) > 0;
}

// More files of a sample are older than recorded than are newer, and at least one in twenty.
bool RootPlace::holdsOlderFiles() const
{
    constexpr qint64 UnclearMs = 2000;
    long long older = 0;
    long long newer = 0;
    long long found = 0;
    const StoreQueries queries(*store.database);
    const auto query = queries.select(
        u"SELECT clientPath, CAST(round((julianday(substr(lastModifiedDateTime, 1, 23))"
        u" - 2440587.5) * 86400000) AS INTEGER) FROM FileConfiguration"
        u" WHERE rootFolderId = :rootFolderId AND lastModifiedDateTime IS NOT NULL LIMIT 500"_s,
        {{u":rootFolderId"_s, root.getId()}});
    while (query->next()) {
        const auto state = readFileState(query->value(0).toString());
        if (!state)
            continue;
        const qint64 recordedMs = query->value(1).toLongLong();
        ++found;
        older += state->modifiedMs < recordedMs - UnclearMs ? 1 : 0;
        newer += state->modifiedMs > recordedMs + UnclearMs ? 1 : 0;
    }
    queries.check(*query);
    return older > newer && 20 * older >= found;
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
