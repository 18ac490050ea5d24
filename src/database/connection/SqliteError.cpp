#include <database/connection/SqliteError.h>

#include <base/system/Files.h>
#include <base/system/FolderEntries.h>
#include <database/connection/SqliteHandle.h>
#include <database/opening/LockHolder.h>

#include <QFileInfo>

#include <sqlite3.h>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Cause = DatabaseError::Cause;

// Where it would create the files beside a database.
bool hasFreeInode(sqlite3* database)
{
    const QString path = base::pathFromLibrary(sqlite3_db_filename(database, "main"));
    return base::hasFreeInode(QFileInfo(path).absolutePath());
}

// SQLite says only that it could not open a file, which may be one that it has to create. After it
// could not create one it tries to open it, so the system's error may be that of the second try.
Cause causeOfFailedOpen(sqlite3* database)
{
    if (!hasFreeInode(database))
        return Cause::DiskFull;
    const int error = base::errnoOf(sqlite3_system_errno(database));
    if (base::isOutOfSpace(error))
        return Cause::DiskFull;
    return error == EROFS ? Cause::ReadOnly : Cause::NoPermission;
}

Cause causeOf(sqlite3* database)
{
    // The index of the WAL could not grow: the first thing that fails on a full disk.
    if (sqlite3_extended_errcode(database) == SQLITE_IOERR_SHMSIZE)
        return Cause::DiskFull;
    switch (sqlite3_errcode(database) & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL: // Others kept interfering while the WAL was opened.
        return Cause::Busy;
    case SQLITE_FULL:
        return Cause::DiskFull;
    case SQLITE_READONLY:
        return Cause::ReadOnly;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return Cause::Damaged;
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return Cause::NoPermission;
    case SQLITE_CANTOPEN:
        return causeOfFailedOpen(database);
    case SQLITE_IOERR:
        return Cause::InputOutput;
    case SQLITE_ERROR:
        // An unknown format number in the header, for which SQLite has no code of its own.
        return qstrcmp(sqlite3_errmsg(database), "unsupported file format") == 0 ? Cause::Damaged
                                                                                 : Cause::Other;
    default:
        return Cause::Other;
    }
}

QString busyRemedy(sqlite3* database)
{
    const auto holder = lockHolderOf(base::pathFromLibrary(sqlite3_db_filename(database, "main")));
    if (!holder)
        return u"Another process or thread has been writing to it for more than 5 s: try again, "
               u"or end that process."_s;
    return u"It is held by "_s + describe(*holder) +
           u": try again when that has finished, or end it."_s;
}

QString remedyFor(sqlite3* database)
{
    switch (sqlite3_extended_errcode(database)) {
    case SQLITE_BUSY_SNAPSHOT:
        return u"Somebody else has written since this thread began a SELECT: release that query "
               u"first, and try again."_s;
    case SQLITE_IOERR_DIR_FSYNC:
        // The removal of the journal has committed it.
        return u"What was written is in the database, but a power cut may undo it: check the disk, "
               u"and whether it is there."_s;
    case SQLITE_PROTOCOL:
        return u"Another program has begun to use it at this moment: try again."_s;
    case SQLITE_READONLY_DBMOVED:
        return u"The file was moved, replaced or deleted while it was open: end the programs that "
               u"use it, and see that it is in its place."_s;
    case SQLITE_NOMEM:
        return u"There is not enough memory: end other programs and try again."_s;
    default:
        break;
    }
    switch (causeOf(database)) {
    case Cause::Busy:
        return busyRemedy(database);
    case Cause::DiskFull:
        if (!hasFreeInode(database))
            return u"The disk has no room for another file: delete some files and try again."_s;
        return u"The disk is full: free some space and try again."_s;
    case Cause::ReadOnly:
        return u"It cannot be written to: make the file and its folder writable, or move them to a "
               u"place that is."_s;
    case Cause::Damaged:
        return u"The file is damaged: keep it, and put a backup copy in its place."_s;
    case Cause::NoPermission:
        return u"Check that you may read and write the file and its folder."_s;
    case Cause::InputOutput:
        return u"The operating system could not read or write it: check the disk and its free "
               u"space."_s;
    default:
        return {};
    }
}

// SQLite reports a table without an id for the next row like a full disk.
bool hasNoIdLeft(sqlite3* database)
{
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(
        database, "SELECT 1 FROM sqlite_sequence WHERE seq = 9223372036854775807", -1, &prepared,
        nullptr);
    const StatementHandle statement(prepared);
    return statement && sqlite3_step(statement.get()) == SQLITE_ROW;
}

QString messageOf(sqlite3* database)
{
    return u"%1 (SQLite error %2)"_s.arg(
        QString::fromUtf8(sqlite3_errmsg(database)),
        QString::number(sqlite3_extended_errcode(database)));
}

} // namespace

Failure failureOf(sqlite3* database)
{
    const bool isFull = sqlite3_errcode(database) == SQLITE_FULL;
    const QString remedy = remedyFor(database);
    Failure failure{
        .cause = causeOf(database),
        .text = remedy.isEmpty() ? messageOf(database) : messageOf(database) + u". "_s + remedy};
    // Last, because it replaces the connection's error.
    if (!isFull || !hasNoIdLeft(database))
        return failure;
    return {
        .cause = Cause::IdsUsedUp,
        .text = u"No id is left, because a table has assigned the highest possible one. Set its "
                u"last assigned id back to the highest id in use."_s};
}

SqliteError databaseError(sqlite3* database, const QString& path)
{
    const int code = sqlite3_extended_errcode(database);
    const Failure failure = failureOf(database);
    QString text = u"The database "_s + path + u" cannot be used: "_s + failure.text;
    if (!text.endsWith(u'.'))
        text += u'.';
    return {failure, text, code};
}

DatabaseError databaseError(const base::FileError& error)
{
    const QString text = error.text() + u". "_s;
    if (base::isOutOfSpace(error.code()))
        return {Cause::DiskFull, text + u"The disk is full: free some space and try again."_s};
    switch (error.code()) {
    case EACCES:
    case EPERM:
        return {
            Cause::NoPermission,
            text + u"Give yourself the right to read and write it, or name another place."_s};
    case EROFS:
        return {
            Cause::ReadOnly,
            text + u"The place is read-only: move the database to one that takes writes."_s};
    case EIO:
        return {Cause::InputOutput, text + u"Check the disk."_s};
    default:
        return {Cause::Other, text + u"Name a file in a folder that you may use."_s};
    }
}

} // namespace sync::database
