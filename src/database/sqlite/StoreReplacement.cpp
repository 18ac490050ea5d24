#include <database/sqlite/StoreReplacement.h>

#include <database/DatabaseError.h>
#include <database/sqlite/BackupFile.h>
#include <database/sqlite/LockHolder.h>
#include <database/sqlite/Migrations.h>
#include <database/sqlite/PartialFile.h>
#include <database/sqlite/SqliteError.h>
#include <database/sqlite/SystemFiles.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

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
        QFile::encodeName(path).constData(), &opened,
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

// Of no avail with any other content of the file either.
bool isTroubleOfThePlace(sqlite3* database)
{
    switch (sqlite3_errcode(database) & 0xff) {
    case SQLITE_CORRUPT:
    case SQLITE_ERROR:
    case SQLITE_NOTADB:
        return false;
    case SQLITE_READONLY:
        // Otherwise its header says so, as that of a later format does.
        return sqlite3_db_readonly(database, "main") == 1;
    default:
        return true;
    }
}

sqlite3_file* fileOf(sqlite3* database)
{
    sqlite3_file* file = nullptr;
    sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    return file;
}

// Through SQLite: closing a descriptor of our own would drop its locks.
void copyDatabaseBytes(sqlite3* database, const QString& path, PartialFile& copy)
{
    sqlite3_file* const file = fileOf(database);
    sqlite3_int64 size = 0;
    if (file->pMethods->xFileSize(file, &size) != SQLITE_OK)
        failAt(path, u"Cannot read the database"_s, EIO);
    for (qint64 offset = 0; offset < size; offset += PartBytes) {
        QByteArray part(std::min<qint64>(PartBytes, size - offset), Qt::Uninitialized);
        if (file->pMethods->xRead(file, part.data(), int(part.size()), offset) != SQLITE_OK)
            failAt(path, u"Cannot read the database"_s, EIO);
        copy.append(part);
    }
    copy.publish();
}

void copyLog(const QString& path, const QString& target)
{
    QFile log(path);
    if (QFileInfo(path).size() == 0)
        return;
    if (!log.open(QIODevice::ReadOnly))
        failAt(path, u"Cannot read the log"_s, EIO);
    PartialFile copy(target);
    while (!log.atEnd())
        copy.append(log.read(PartBytes));
    if (log.error() != QFileDevice::NoError)
        failAt(path, u"Cannot read the log"_s, EIO);
    copy.publish();
}

constexpr auto LogEndings = {u"-wal", u"-journal"};

} // namespace

QString pathForReplaced(const QString& path)
{
    QDateTime time = QDateTime::currentDateTimeUtc();
    for (;; time = time.addMSecs(1)) {
        const QString name = path + u"-replaced."_s + time.toString(u"yyyyMMdd'T'HHmmsszzz'Z'"_s);
        if (!QFileInfo::exists(name) && !QFileInfo::exists(name + u"-wal"_s))
            return name;
    }
}

void setStrayLogsAside(const QString& path)
{
    const QString aside = pathForReplaced(path);
    for (const auto* const ending : LogEndings) {
        const QString log = path + QString::fromUtf16(ending);
        if (QFileInfo(log).size() > 0 && !QFile::rename(log, aside + QString::fromUtf16(ending)))
            failAt(log, u"Cannot rename the log"_s, errno);
    }
    syncFolder(QFileInfo(path).path());
}

StoreReplacement::StoreReplacement(const QString& path)
    : path(path)
    , database(openWithoutWaiting(path))
{
    lock();
}

void StoreReplacement::lock()
{
    // Exclusive from the first access on, the lock shuts out also those that have the file open
    // and do nothing (sqlite.org/pragma.html#pragma_locking_mode). With a writable schema a damaged
    // one is no reason to give up.
    if (run(database.get(), "PRAGMA writable_schema = ON; PRAGMA locking_mode = EXCLUSIVE;"
                            "BEGIN EXCLUSIVE; COMMIT;"
                            "PRAGMA synchronous = FULL; PRAGMA fullfsync = ON;"
                            "PRAGMA temp_store = MEMORY")) {
        requireOurs();
        return;
    }
    if ((sqlite3_errcode(database.get()) & 0xff) == SQLITE_BUSY) {
        database.reset();
        throw inUse(path);
    }
    if (isTroubleOfThePlace(database.get()))
        throw databaseError(database.get(), path);
    readable = false;
    lockUnreadable();
}

void StoreReplacement::requireOurs() const
{
    const auto id = queryNumber(database.get(), "PRAGMA application_id", path);
    const bool isEmpty =
        id == 0 && queryNumber(database.get(), "SELECT count(*) FROM sqlite_schema", path) == 0;
    if (id != ApplicationId && !isEmpty)
        throw DatabaseError(
            Cause::ForeignDatabase, u"The file "_s + path +
                                        u" is a database of another program, and is left alone. "
                                        u"Name the right file."_s);
}

void StoreReplacement::lockUnreadable()
{
    sqlite3_file* const file = fileOf(database.get());
    if (file->pMethods->xLock(file, SQLITE_LOCK_SHARED) != SQLITE_OK ||
        file->pMethods->xLock(file, SQLITE_LOCK_EXCLUSIVE) != SQLITE_OK) {
        database.reset();
        throw inUse(path);
    }
}

QString StoreReplacement::keepOld() const
{
    if (QFileInfo(path).size() == 0)
        return {};
    QString kept = pathForReplaced(path);
    try {
        if (readable) {
            writeVerifiedCopy(database.get(), kept);
            return kept;
        }
    } catch (const DatabaseError& error) {
        const auto cause = error.cause();
        if (cause != Cause::Damaged && cause != Cause::NotADatabase && cause != Cause::TooNew &&
            cause != Cause::ForeignDatabase)
            throw;
    }
    // Byte for byte what cannot be understood, and the database last: it has its log by then.
    for (const auto* const ending : LogEndings)
        copyLog(path + QString::fromUtf16(ending), kept + QString::fromUtf16(ending));
    PartialFile copy(kept);
    copyDatabaseBytes(database.get(), path, copy);
    return kept;
}

void StoreReplacement::replaceBy(sqlite3* source)
{
    if (!readable || !writeInto(source))
        swapFile(source);
}

bool StoreReplacement::writeInto(sqlite3* source)
{
    const auto pageBytes = [this](sqlite3* of) {
        return queryNumber(of, "PRAGMA page_size", path);
    };
    // A database with a log cannot change the size of its pages.
    if (pageBytes(source) != pageBytes(database.get()))
        run(database.get(), "PRAGMA journal_mode = DELETE");
    if (!copyContent(source, database.get())) {
        if (isTroubleOfThePlace(database.get()))
            throw databaseError(database.get(), path);
        return false;
    }
    // It is durable in the log already. From there it comes into the file at the close or, should
    // that fail, by whoever opens it next.
    setCheckpointAtClose(database.get(), true);
    return true;
}

void StoreReplacement::swapFile(sqlite3* source) const
{
    PartialFile fresh(path);
    writeVerifiedContent(source, fresh);
    // No process can use the old file, with or without its log: between these steps it is as
    // useless as it was, and a log never stands beside a file that it does not belong to.
    for (const auto* const ending : LogEndings)
        QFile::remove(path + QString::fromUtf16(ending));
    syncFolder(QFileInfo(path).path());
    fresh.publishOver();
}

} // namespace sync::database
