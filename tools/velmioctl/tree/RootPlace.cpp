#include <velmioctl/tree/RootPlace.h>

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/FileState.h>
#include <velmioctl/tree/RootFolders.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

// The number of a device changes when a drive is connected again; the UUID of its file system does
// not.
QString volumeIdOf(const QString& path)
{
    const QStorageInfo volume(path);
    const QString device = QString::fromUtf8(volume.device());
    const QString node = QFileInfo(device).canonicalFilePath();
    const auto links = QDir(u"/dev/disk/by-uuid"_s).entryInfoList(QDir::System | QDir::Files);
    for (const QFileInfo& link : links) {
        if (!node.isEmpty() && link.canonicalFilePath() == node)
            return u"uuid:"_s + link.fileName();
    }
    return QString::fromUtf8(volume.fileSystemType()) + u':' + device;
}

// The number of a deleted directory is used again, so the time of its creation is part of the id.
QString fileIdOf(const QString& path)
{
    struct statx status
    {
    };
    if (::statx(
            AT_FDCWD, QFile::encodeName(path).constData(), 0, STATX_INO | STATX_BTIME, &status) !=
        0)
        return {};
    QString id = QString::number(status.stx_ino);
    if ((status.stx_mask & STATX_BTIME) != 0)
        id += u'@' + QString::number(status.stx_btime.tv_sec);
    return id;
}

// False for a directory that cannot be read.
bool isEmptyDirectory(const QString& path)
{
    std::error_code error;
    const std::filesystem::directory_iterator first(path.toStdString(), error);
    return !error && first == std::filesystem::directory_iterator();
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
    struct stat status
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return isGone(errno) ? RootState::Missing : RootState::Unreadable;
    if (!S_ISDIR(status.st_mode))
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
    return {volumeIdOf(root.getClientPath()), fileIdOf(root.getClientPath())};
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
