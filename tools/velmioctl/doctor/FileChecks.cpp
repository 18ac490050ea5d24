#include <velmioctl/doctor/FileChecks.h>

#include <base/FileError.h>
#include <core/Crypto.h>
#include <core/FileKeyStore.h>
#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <velmioctl/tree/FileState.h>

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;

namespace velmioctl::doctor {

namespace {

constexpr mode_t PermissionBits = 07777;
constexpr mode_t GroupAndOthers = S_IRWXG | S_IRWXO;

const Check NotWritable{
    u"store.not-writable"_s, Severity::Error, u"places that take no writes"_s,
    u"The client can store nothing, and refuses to start with this database."_s,
    u"Give yourself the right to: 'chmod u+rw \"{name}\"', or mount the disk so that it takes "
    u"writes."_s};
const Check Permissions{
    u"store.permissions"_s, Severity::Warning, u"files that let other users in"_s,
    u"Other users can read settings, some of them secret. A key file like that is not used at "
    u"all."_s,
    u"If other users may have read a key or the database, change the passwords."_s};
// Nothing for what is not there or no file or folder of ours to change.
std::optional<mode_t> modeOf(const QString& path)
{
    struct stat status = {};
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0 || S_ISLNK(status.st_mode))
        return std::nullopt;
    return status.st_mode;
}

QStringList ownFiles(const QString& givenPath)
{
    const QString path = QFileInfo(givenPath).canonicalFilePath();
    QStringList files{path, path + u"-wal"_s, path + u"-shm"_s, path + u"-journal"_s};
    const auto keys = sync::core::crypto::keyStore();
    if (const auto* const file = dynamic_cast<const sync::core::crypto::FileKeyStore*>(keys.get()))
        files += file->path();
    try {
        const DatabaseBackups backups(path);
        files += backups.folder();
        for (const auto& backup : backups.list())
            files += backup.path;
    } catch (const DatabaseError&) {
        // What cannot be listed here is for its owner to look at.
    }
    return files;
}

// By the rights that opening it goes by, which access() does not ask for.
bool takesWrites(const QString& path)
{
    return ::faccessat(AT_FDCWD, QFile::encodeName(path).constData(), R_OK | W_OK, AT_EACCESS) == 0;
}

} // namespace

std::vector<Check> fileChecks()
{
    return {NotWritable, Permissions};
}

void checkAccess(const QString& path, const Found& found)
{
    for (const QString& place : {path, QFileInfo(path).absolutePath()}) {
        if (!takesWrites(place)) {
            found(NotWritable, {.name = place, .detail = sync::base::systemErrorText(errno)});
        }
    }
}

QStringList filesOpenToOthers(const QString& path)
{
    QStringList open;
    for (const QString& file : ownFiles(path)) {
        const auto mode = modeOf(file);
        if (mode && (*mode & GroupAndOthers) != 0)
            open += file;
    }
    return open;
}

void reportOpenFiles(const QStringList& files, const Found& found)
{
    for (const QString& file : files)
        found(Permissions, {.name = file, .detail = u"mode "_s + permissionsOf(file)});
}

bool closeToOthers(const QString& path)
{
    const auto mode = modeOf(path);
    return mode &&
           ::chmod(QFile::encodeName(path).constData(), *mode & PermissionBits & ~GroupAndOthers) ==
               0;
}

} // namespace velmioctl::doctor
