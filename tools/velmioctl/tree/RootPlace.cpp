#include <velmioctl/tree/RootPlace.h>

#include <base/system/FolderEntries.h>
#include <base/system/Volumes.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/FileState.h>
#include <velmioctl/tree/RootFolders.h>

#include <cerrno>

using namespace Qt::StringLiterals;
using sync::base::Links;
using sync::base::statusOf;
using sync::config::FolderConfiguration;

namespace velmioctl {

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
    sync::base::FolderReader folder(path.toStdString(), Links::Follow);
    return folder.isOpen() && !folder.next() && errno == 0;
}

} // namespace

QString wordFor(RootState state)
{
    switch (state) {
    case RootState::Present:
        return u"present"_s;
    case RootState::Exchanged:
        return u"exchanged"_s;
    case RootState::Empty:
        return u"empty"_s;
    case RootState::Unreadable:
        return u"unreadable"_s;
    case RootState::Missing:
        return u"missing"_s;
    }
    Q_UNREACHABLE();
}

QString describe(RootState state, const FolderConfiguration& root)
{
    const QString id = QString::number(root.getId());
    if (state == RootState::Missing) {
        return u"The root folder %1 does not exist. Connect its drive, or remove its records with "
               u"'velmioctl folder clean %2'."_s.arg(described(root), id);
    }
    if (state == RootState::Unreadable) {
        return u"The root folder %1 is not accessible. Give yourself the right to enter the "
               u"folders above it, or connect its drive."_s.arg(described(root));
    }
    const QString remedy =
        u" Connect its drive. If this was done on purpose, run 'velmioctl scan %1 --force'."_s.arg(
            id);
    if (state == RootState::Empty)
        return u"The root folder %1 is empty, but has records of files or folders."_s.arg(
                   described(root)) +
               remedy;
    return u"Another folder is in the place of the root folder %1, without most of what is "
           u"recorded."_s.arg(described(root)) +
           remedy;
}

RootPlace::RootPlace(WatchedDatabase& database, const FolderConfiguration& root)
    : database(database)
    , root(root)
{
}

RootState RootPlace::state() const
{
    const QString path = root.getClientPath();
    const auto status = statusOf(path, Links::Follow);
    if (!status)
        return isGone(errno) ? RootState::Missing : RootState::Unreadable;
    if (status->kind != sync::base::FileKind::Folder)
        return RootState::Missing;
    const bool recorded =
        database.number(
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
    if (current == storedMark() || !(always || holdsItsContent()))
        return;
    database.change(
        u"INSERT OR REPLACE INTO RootFolderPlace (rootId, volumeId, fileId) VALUES "
        u"(:rootId, :volumeId, :fileId)"_s,
        {{u":rootId"_s, root.getId()},
         {u":volumeId"_s, current.volumeId},
         {u":fileId"_s, current.fileId}});
}

void RootPlace::forgetAll(WatchedDatabase& database)
{
    database.change(u"DELETE FROM RootFolderPlace"_s, {});
}

RootPlace::Mark RootPlace::currentMark() const
{
    return {sync::base::volumeIdOf(root.getClientPath()), fileIdOf(root.getClientPath())};
}

// Empty if none is stored, or if it was stored on another machine.
RootPlace::Mark RootPlace::storedMark() const
{
    // A store of an older version that is only read does not have the table.
    const bool hasTable =
        database.number(u"SELECT count(*) FROM sqlite_master WHERE name = 'RootFolderPlace'"_s) > 0;
    if (!hasTable || database.engine().isMoved())
        return {};
    const auto query = database.select(
        u"SELECT volumeId, fileId FROM RootFolderPlace WHERE rootId = :rootId"_s,
        {{u":rootId"_s, root.getId()}});
    const bool found = query->next();
    database.check();
    return found ? Mark{query->value(0).toString(), query->value(1).toString()} : Mark();
}

// At least half of a sample of what is recorded directly in the root.
bool RootPlace::holdsItsContent() const
{
    long long recorded = 0;
    long long found = 0;
    const auto count = [&](const QString& sql, bool (*gone)(const QString& path)) {
        const auto query = database.select(sql, {{u":id"_s, root.getId()}});
        while (query->next()) {
            ++recorded;
            found += gone(query->value(0).toString()) ? 0 : 1;
        }
        database.check();
    };
    count(
        u"SELECT clientPath FROM FileConfiguration WHERE folderConfigurationId = :id LIMIT 500"_s,
        fileIsGone);
    count(
        u"SELECT clientPath FROM FolderConfiguration WHERE parentId = :id LIMIT 500"_s,
        folderIsGone);
    return 2 * found >= recorded;
}

} // namespace velmioctl
