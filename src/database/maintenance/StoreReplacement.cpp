#include <database/maintenance/StoreReplacement.h>

#include <base/FileError.h>
#include <base/Folders.h>
#include <base/PartialFile.h>
#include <base/system/Files.h>
#include <database/DatabaseError.h>
#include <database/StoreInspection.h>
#include <database/connection/SqliteError.h>
#include <database/maintenance/BackupFile.h>
#include <database/opening/LockHolder.h>
#include <database/opening/VfsFile.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using base::FileError;
using base::PartialFile;
using base::syncFolder;
using Cause = DatabaseError::Cause;

constexpr qint64 PartBytes = 1024 * 1024;

DatabaseError inUse(const QString& path)
{
    const auto user = userOf(path);
    const QString name =
        user ? describe(*user) : u"another process, or another part of this one,"_s;
    return {
        Cause::Busy,
        u"The database %1 is in use: %2 has it open. End that, and try again."_s.arg(path, name)};
}

SqliteHandle openWithoutWaiting(const QString& path)
{
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(
        base::pathForLibrary(path).constData(), &opened,
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE, nullptr);
    SqliteHandle database(opened);
    if (result != SQLITE_OK)
        throw databaseError(opened, path);
    sqlite3_extended_result_codes(opened, 1);
    sqlite3_wal_autocheckpoint(opened, 0);
    setCheckpointAtClose(opened, false);
    return database;
}

bool run(sqlite3* database, const char* sql)
{
    return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// True if another content would not help, because the place of the file is the problem.
bool isProblemOfThePlace(sqlite3* database, const QString& path)
{
    switch (sqlite3_errcode(database) & 0xff) {
    case SQLITE_CORRUPT:
    case SQLITE_ERROR:
    case SQLITE_NOTADB:
        return false;
    case SQLITE_READONLY:
        // The header of a later file format may say so.
        return !base::mayAccess(path, base::WriteAccess);
    default:
        return true;
    }
}

// Through SQLite, because closing a descriptor of our own would drop SQLite's locks.
void copyDatabaseBytes(sqlite3* database, const QString& path, PartialFile& copy)
{
    sqlite3_file* const file = fileOf(database);
    sqlite3_int64 size = 0;
    if (file->pMethods->xFileSize(file, &size) != SQLITE_OK)
        throw FileError(path, u"Cannot read the database"_s, EIO);
    for (qint64 offset = 0; offset < size; offset += PartBytes) {
        QByteArray part(std::min<qint64>(PartBytes, size - offset), Qt::Uninitialized);
        if (file->pMethods->xRead(file, part.data(), int(part.size()), offset) != SQLITE_OK)
            throw FileError(path, u"Cannot read the database"_s, EIO);
        copy.append(part);
    }
}

void copyBytesOf(const QString& path, PartialFile& copy)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        for (auto part = file.read(PartBytes); !part.isEmpty(); part = file.read(PartBytes))
            copy.append(part);
    }
    if (file.error() != QFileDevice::NoError)
        throw FileError(path, u"Cannot read"_s, EIO);
}

// An unreadable file is replaced whichever program made it, because a copy of it is kept.
void requireOurs(const QString& path)
{
    const StoreInspection file(path, StoreInspection::Depth::Header);
    if (file.kind() == StoreInspection::Kind::Foreign)
        throw DatabaseError(
            file.cause(),
            file.finding(u"The file "_s + path) +
                u" It was not changed. Name the right file, or move this one away."_s);
}

// Makes one file of a copy. One that is not whole stays as it is.
void mergeWalOfWhole(const QString& copy)
{
    try {
        openVerified(copy);
        const SqliteHandle database = openConnection(copy, Locking::Exclusive);
        execute(database.get(), "PRAGMA journal_mode = DELETE", copy);
    } catch (const DatabaseError&) {
        // It is used together with its WAL.
    }
}

// The paths of the WAL and the journal of a database that have content.
QStringList companionsOf(const QString& path)
{
    QStringList companions{path + u"-wal"_s, path + u"-journal"_s};
    companions.removeIf([](const QString& file) { return QFileInfo(file).size() == 0; });
    return companions;
}

} // namespace

QString pathForReplaced(const QString& path)
{
    QDateTime time = QDateTime::currentDateTimeUtc();
    for (;; time = time.addMSecs(1)) {
        QString name = path + u"-replaced."_s + time.toString(u"yyyyMMdd'T'HHmmsszzz'Z'"_s);
        if (!QFileInfo::exists(name) && !QFileInfo::exists(name + u"-wal"_s))
            return name;
    }
}

QString keepWal(const QString& path)
{
    const QString wal = path + u"-wal"_s;
    QString kept = pathForReplaced(path) + u"-wal"_s;
    PartialFile copy(kept);
    copyBytesOf(wal, copy);
    copy.publish();
    return kept;
}

void setStrayWalAside(const QString& path)
{
    const QString aside = pathForReplaced(path);
    for (const QString& companion : companionsOf(path)) {
        if (!QFile::rename(companion, aside + companion.sliced(path.size())))
            throw FileError(companion, u"Cannot rename"_s, errno);
    }
    syncFolder(QFileInfo(path).path());
}

StoreReplacement::StoreReplacement(const QString& path)
    : path(path)
    , database(openWithoutWaiting(path))
{
    if (!base::mayAccess(path, base::ReadAccess | base::WriteAccess))
        throw FileError(path, u"Cannot read and write the database"_s, errno);
    requireOurs(path);
    lock();
}

// Without a statement, because SQLite would roll a journal back and correct the size in the header.
// The lock also excludes those that have a file with a WAL open and do nothing.
void StoreReplacement::lock()
{
    sqlite3_file* const file = fileOf(database.get());
    int result = file->pMethods->xLock(file, SQLITE_LOCK_SHARED);
    if (result == SQLITE_OK)
        result = file->pMethods->xLock(file, SQLITE_LOCK_EXCLUSIVE);
    if (result == SQLITE_OK)
        return;
    database.reset();
    if ((result & 0xff) == SQLITE_BUSY)
        throw inUse(path);
    throw FileError(path, u"Cannot lock the database"_s, EIO);
}

QString StoreReplacement::keepOld() const
{
    if (QFileInfo(path).size() == 0)
        return {};
    QString kept = pathForReplaced(path);
    copyTo(kept);
    if (!companionsOf(kept).isEmpty())
        mergeWalOfWhole(kept);
    return kept;
}

void StoreReplacement::copyTo(const QString& target) const
{
    PartialFile copy(target);
    copyDatabaseBytes(database.get(), path, copy);
    std::vector<std::unique_ptr<PartialFile>> copies;
    for (const QString& companion : companionsOf(path)) {
        copies.push_back(std::make_unique<PartialFile>(target + companion.sliced(path.size())));
        copyBytesOf(companion, *copies.back());
    }
    // The database last, after the copy of its WAL is in place.
    for (const auto& companionCopy : copies)
        companionCopy->publish();
    copy.publish();
}

void StoreReplacement::replaceBy(sqlite3* source)
{
    if (beginWriting())
        writeInto(source);
    else
        swapFile(source);
}

// False if SQLite cannot open the file as a database.
bool StoreReplacement::beginWriting()
{
    // SQLite rolls a journal back only if nobody, not even this connection, holds more than a
    // shared lock. That one keeps others from doing it.
    sqlite3_file* const file = fileOf(database.get());
    if (QFileInfo(path + u"-journal"_s).size() > 0)
        file->pMethods->xUnlock(file, SQLITE_LOCK_SHARED);
    // A writable schema lets SQLite open a damaged file.
    if (run(database.get(), "PRAGMA writable_schema = ON; PRAGMA locking_mode = EXCLUSIVE;"
                            "BEGIN EXCLUSIVE; ROLLBACK;"
                            "PRAGMA synchronous = FULL; PRAGMA fullfsync = ON;"
                            "PRAGMA temp_store = MEMORY"))
        return true;
    if (isProblemOfThePlace(database.get(), path))
        throw databaseError(database.get(), path);
    lock();
    return false;
}

void StoreReplacement::writeInto(sqlite3* source)
{
    bool written = copyContent(source, database.get());
    if (!written && (sqlite3_errcode(database.get()) & 0xff) == SQLITE_READONLY) {
        // The page size of a database with a WAL cannot change.
        execute(database.get(), "PRAGMA journal_mode = DELETE", path);
        written = copyContent(source, database.get());
    }
    // If its sync has failed, the new content may be there or not. Written again, it is certain.
    if (!written && mayHaveLeftCommit(database.get()))
        written = copyContent(source, database.get());
    if (!written)
        throw failureOfWriting();
    // The content is durable in the WAL. The close copies it into the file or, if that fails, the
    // next opening does.
    setCheckpointAtClose(database.get(), true);
}

DatabaseError StoreReplacement::failureOfWriting() const
{
    const SqliteError error = databaseError(database.get(), path);
    if (!mayHaveLeftCommit(database.get()) || commitNothing(database.get()))
        return error;
    return {error.cause(), error.text() + u' ' + leftCommitWarning()};
}

void StoreReplacement::swapFile(sqlite3* source)
{
    PartialFile fresh(path);
    writeVerifiedContent(source, fresh);
    // No process can use the old file, with or without its WAL, and none can between these steps. A
    // WAL never stands beside a file that it does not belong to.
    for (const QString& companion : companionsOf(path)) {
        if (!base::removeFile(companion))
            throw FileError(companion, u"Cannot remove"_s, errno);
    }
    syncFolder(QFileInfo(path).path());
    // Whoever opens the file between these two steps finds that it is not a database.
    if (!base::replacesOpenFiles())
        database.reset();
    fresh.publishOver();
}

} // namespace sync::database
