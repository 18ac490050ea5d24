#include <database/maintenance/BackupFile.h>

#include <base/PartialFile.h>
#include <database/DatabaseError.h>
#include <database/connection/SqliteError.h>
#include <database/opening/Migrations.h>
#include <database/opening/StoreIdentity.h>
#include <database/schema/Tables.h>

#include <QFileInfo>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Cause = DatabaseError::Cause;

// Why a file is of no use; what it was meant for is told by whoever catches this.
DatabaseError unfit(Cause cause, const QString& finding)
{
    return {cause, finding};
}

void requireFile(const QString& path)
{
    const QFileInfo file(path);
    if (file.isDir())
        throw unfit(Cause::Directory, u"it is a directory. Name a file."_s);
    if (!file.exists())
        throw unfit(Cause::Other, u"there is no such file."_s);
    if (!file.isFile() || file.size() == 0)
        throw unfit(Cause::NotADatabase, u"it is no SQLite database."_s);
}

// What another program has open, or has left behind, has part of its content beside it.
LogBeside logOf(const QString& path)
{
    const bool hasLog =
        QFileInfo::exists(path + u"-wal"_s) || QFileInfo(path + u"-journal"_s).size() > 0;
    return hasLog ? LogBeside::Read : LogBeside::Ignored;
}

void requireOurs(sqlite3* database, const QString& path)
{
    if (queryNumber(database, "PRAGMA application_id", path) != ApplicationId)
        throw unfit(Cause::ForeignDatabase, u"it is a database of another program."_s);
    const auto version = queryNumber(database, "PRAGMA user_version", path);
    if (version < 0)
        throw unfit(Cause::Damaged, u"it is damaged (its schema version is %1)."_s.arg(version));
    if (version > currentSchemaVersion() && !admitsVersion(database, currentSchemaVersion(), path))
        throw unfit(
            Cause::TooNew,
            u"it has schema version %1, and this program knows versions up to %2. Use the newer "
            u"program that wrote it."_s.arg(version)
                .arg(currentSchemaVersion()));
}

void requireWhole(sqlite3* database, const QString& path)
{
    for (const char* const table : Tables) {
        const QByteArray count =
            "SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name = '" +
            QByteArray(table) + "'";
        if (queryNumber(database, count.constData(), path) == 0)
            throw unfit(
                Cause::Damaged,
                u"it is damaged (the table %1 is missing)."_s.arg(QLatin1StringView(table)));
    }
    const QString damage = queryDamage(database, "PRAGMA integrity_check(1)", path);
    if (!damage.isEmpty())
        throw unfit(Cause::Damaged, u"it is damaged (%1)."_s.arg(damage));
}

void verify(sqlite3* database, const QString& path)
{
    try {
        execute(database, "BEGIN", path);
        requireOurs(database, path);
        requireWhole(database, path);
    } catch (const DatabaseError&) {
        switch (sqlite3_errcode(database) & 0xff) {
        case SQLITE_NOTADB:
            throw unfit(Cause::NotADatabase, u"it is no SQLite database."_s);
        case SQLITE_CORRUPT:
            throw unfit(Cause::Damaged, u"it is damaged."_s);
        default:
            throw;
        }
    }
}

DatabaseError copyFailed(sqlite3* database, const QString& target)
{
    const Failure failure = failureOf(database);
    return {failure.cause, u"The copy %1 could not be written: %2"_s.arg(target, failure.text)};
}

void fill(const QString& path, sqlite3* source, const QString& target)
{
    const SqliteHandle copy = openConnection(path);
    // The log's mark in the header is copied as well. Exclusive: without a file of shared memory.
    if (!copyContent(source, copy.get()) ||
        sqlite3_exec(
            copy.get(), "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = DELETE", nullptr,
            nullptr, nullptr) != SQLITE_OK)
        throw copyFailed(copy.get(), target);
}

} // namespace

SqliteHandle openVerified(const QString& path)
{
    try {
        requireFile(path);
        SqliteHandle database = openForReading(path, logOf(path));
        setWaiting(database.get(), true);
        verify(database.get(), path);
        return database;
    } catch (const DatabaseError& error) {
        throw DatabaseError(
            error.cause(), u"The file %1 is of no use as a backup: %2"_s.arg(path, error.text()));
    }
}

void writeVerifiedCopy(sqlite3* source, const QString& target)
{
    base::PartialFile partial(target);
    writeVerifiedContent(source, partial);
    partial.publish();
}

void writeVerifiedContent(sqlite3* source, base::PartialFile& partial)
{
    const QString& target = partial.targetPath();
    fill(partial.path(), source, target);
    try {
        verify(openForReading(partial.path(), LogBeside::Ignored).get(), partial.path());
    } catch (const DatabaseError& error) {
        throw DatabaseError(
            error.cause(),
            u"The copy %1 was not kept, as what it was made of is of no use: %2"_s.arg(
                target, error.text()));
    }
}

bool copyContent(sqlite3* source, sqlite3* target)
{
    sqlite3_backup* const backup = sqlite3_backup_init(target, "main", source, "main");
    if (!backup)
        return false;
    // All pages in one step, which is one read transaction: one moment of the source.
    sqlite3_backup_step(backup, -1);
    return sqlite3_backup_finish(backup) == SQLITE_OK;
}

} // namespace sync::database
