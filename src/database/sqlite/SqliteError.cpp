#include <database/sqlite/SqliteError.h>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

DatabaseError::Cause causeOf(sqlite3* database)
{
    using Cause = DatabaseError::Cause;
    // The index of the log could not grow: the first thing that fails on a full disk.
    if (sqlite3_extended_errcode(database) == SQLITE_IOERR_SHMSIZE)
        return Cause::DiskFull;
    switch (sqlite3_errcode(database) & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
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
    case SQLITE_CANTOPEN:
        return Cause::NoPermission;
    case SQLITE_IOERR:
        return Cause::InputOutput;
    default:
        return Cause::Other;
    }
}

QString remedyFor(DatabaseError::Cause cause)
{
    using Cause = DatabaseError::Cause;
    switch (cause) {
    case Cause::Busy:
        return u"Another process or thread has been writing to it for more than 5 s: try again, "
               u"or end that process."_s;
    case Cause::DiskFull:
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

QString messageOf(sqlite3* database)
{
    return u"%1 (SQLite error %2)"_s.arg(
        QString::fromUtf8(sqlite3_errmsg(database)),
        QString::number(sqlite3_extended_errcode(database)));
}

} // namespace

Failure failureOf(sqlite3* database)
{
    const auto cause = causeOf(database);
    if (sqlite3_extended_errcode(database) == SQLITE_BUSY_SNAPSHOT) {
        return {
            cause, messageOf(database) +
                       u". Somebody else has written since this thread began a SELECT: release "
                       u"that query first, and try again."_s};
    }
    const QString remedy = remedyFor(cause);
    return {cause, remedy.isEmpty() ? messageOf(database) : messageOf(database) + u". "_s + remedy};
}

DatabaseError databaseError(sqlite3* database, const QString& path)
{
    const auto cause = causeOf(database);
    const QString remedy = remedyFor(cause);
    QString text =
        u"The database "_s + path + u" cannot be used: "_s + messageOf(database) + u"."_s;
    if (!remedy.isEmpty())
        text += u" "_s + remedy;
    return {cause, text};
}

} // namespace sync::database
