#include <velmioctl/doctor/Checks.h>

#include <base/FileError.h>
#include <base/Ownership.h>
#include <base/system/FileRights.h>
#include <core/Crypto.h>
#include <core/FileKeyStore.h>
#include <core/KeyError.h>
#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <optional>

using namespace Qt::StringLiterals;
using sync::base::RightsChange;
using sync::base::shellCommandFor;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;

namespace velmioctl::doctor {

namespace {

const Check NotWritable{
    u"store.not-writable"_s, Severity::Error, u"files and folders that cannot be written"_s,
    u"The client can store nothing, and refuses to start with this database."_s,
    u"Give yourself the right with '%1', or mount the disk with write access."_s.arg(
        shellCommandFor(RightsChange::Use))};
const Check Permissions{
    u"store.permissions"_s, Severity::Warning, u"files that other users may access"_s,
    u"Other users can read settings, some of them secret. The client refuses such a key "
    u"file."_s,
    u"If other users may have read a key or the database, change the passwords."_s};

const Check Untrusted{
    u"store.untrusted"_s, Severity::Error,
    u"files of another user, and a folder that other users may change"_s,
    u"Other users could change settings and read later passwords, so the client refuses the "
    u"database."_s,
    u"Remove the right of others to write with '%1', and a file that you do not know; or move the "
    u"database to a folder of your own."_s.arg(shellCommandFor(RightsChange::NoOtherWriter))};

const Check KeyBeside{
    u"store.key-beside"_s, Severity::Warning, u"keys in the folder of the database"_s,
    u"Whoever has a copy of the folder can read the passwords."_s,
    u"Make that folder and the one of 'velmioctl secrets where' writable, and run "
    u"'velmioctl secrets verify', which moves the keys. Remove the file if it is damaged. If it "
    u"belongs to a host, the host needs another place for it."_s};

// Where earlier versions kept the keys of the database in the default place.
QString keyFileBeside(const QString& path)
{
    return QFileInfo(QFileInfo(path).canonicalFilePath()).path() + u"/password.key"_s;
}

// Nothing for a missing file or a symbolic link.
std::optional<sync::base::FileRights> rightsOf(const QString& path)
{
    if (path.isEmpty())
        return std::nullopt;
    const QFileInfo file(path);
    const auto found = sync::base::ExaminedFolder(file.path()).examine(file.fileName());
    if (!found || found->status.kind == sync::base::FileKind::Link)
        return std::nullopt;
    return found->rights;
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
        // Folders that cannot be listed are checked by their owner.
    }
    return files;
}

} // namespace

std::vector<Check> fileChecks()
{
    return {NotWritable, Permissions, Untrusted, KeyBeside};
}

void checkAccess(const QString& path, const Found& found)
{
    for (const QString& place : {path, QFileInfo(path).absolutePath()}) {
        if (!sync::base::mayAccess(place, sync::base::ReadAccess | sync::base::WriteAccess)) {
            found(NotWritable, {.name = place, .detail = sync::base::systemErrorText(errno)});
        }
    }
}

QStringList filesOpenToOthers(const QString& path)
{
    QStringList open;
    for (const QString& file : ownFiles(path)) {
        const auto rights = rightsOf(file);
        if (rights && rights->othersMayUse)
            open += file;
    }
    return open;
}

void reportOpenFiles(const QStringList& files, const Found& found)
{
    for (const QString& file : files) {
        const QString mode = sync::base::permissionsOf(file);
        found(Permissions, {.name = file, .detail = mode.isEmpty() ? mode : u"mode "_s + mode});
    }
}

void checkOwners(const QString& path, const Found& found)
{
    using namespace sync::base;
    const QFileInfo database(QFileInfo(path).canonicalFilePath());
    const auto store = rightsOf(database.filePath());
    const QStringList files = ownFiles(path) << database.path();
    for (const QString& file : files) {
        const auto rights = rightsOf(file);
        if (!store || !rights)
            continue;
        QString finding = ownerFinding(file, *rights, store->owner);
        // The rights to what is its own are another check, which can be repaired.
        if (finding.isEmpty() && file == database.path())
            finding = writersFinding(file, *rights);
        if (!finding.isEmpty())
            found(Untrusted, {.name = file, .detail = finding});
    }
}

void checkKeyBeside(const QString& path, const Found& found)
{
    try {
        sync::core::crypto::keyStore()->read();
    } catch (const sync::core::crypto::KeyError&) {
        // Where it matters, the check of the passwords says why.
    }
    const QString key = keyFileBeside(path);
    if (QFile::exists(key))
        found(KeyBeside, {.name = key});
}

} // namespace velmioctl::doctor
