#include <database/maintenance/BackupFile.h>

#include <base/PartialFile.h>
#include <database/DatabaseError.h>
#include <database/connection/SqliteError.h>
#include <database/opening/ReadOnlyConnection.h>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Cause = DatabaseError::Cause;

void requireOurs(const StoreContent& content)
{
    if (!content.isOurs())
        throw DatabaseError(content.cause, content.sentence(u"it"_s));
}

// A connection in the read transaction in which its content was checked.
SqliteHandle openWhole(const QString& path, ForeignSchema foreign)
{
    try {
        ReadOnlyConnection opened = openReadOnlyConnection(path);
        if (!opened.readsWal)
            throw DatabaseError(Cause::NoPermission, u"its WAL cannot be read."_s);
        requireOurs(readWhole(opened.database.get(), path, foreign));
        return std::move(opened.database);
    } catch (const SqliteError& error) {
        requireOurs(contentOf(error));
        throw;
    }
}

DatabaseError copyFailed(sqlite3* database, const QString& target)
{
    const Failure failure = failureOf(database);
    return {failure.cause, u"The copy %1 could not be written: %2"_s.arg(target, failure.text)};
}

// In memory: a journal would stay beside the file while it is locked.
void writeNumber(sqlite3* copy, qint64 number, const QString& path)
{
    constexpr auto HasNumber = "SELECT count(*) FROM sqlite_schema WHERE name = 'BackupCounter'";
    if (queryNumber(copy, HasNumber, path) == 0)
        return;
    const QByteArray sql = "PRAGMA journal_mode = MEMORY; UPDATE BackupCounter SET lastNumber = " +
                           QByteArray::number(number);
    execute(copy, sql.constData(), path);
}

void fill(
    const QString& path, sqlite3* source, const QString& target,
    const std::optional<qint64>& number)
{
    const SqliteHandle copy = openConnection(path);
    // The header that was copied names a WAL. Exclusive: without a file of shared memory.
    if (!copyContent(source, copy.get()) ||
        sqlite3_exec(
            copy.get(), "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = DELETE", nullptr,
            nullptr, nullptr) != SQLITE_OK)
        throw copyFailed(copy.get(), target);
    if (number)
        writeNumber(copy.get(), *number, target);
}

} // namespace

SqliteHandle openVerified(const QString& path)
{
    try {
        const StoreInspection header(path, StoreInspection::Depth::Header);
        if (header.kind() != StoreInspection::Kind::Ours)
            throw DatabaseError(header.cause(), header.finding(u"it"_s));
        return openWhole(header.path(), ForeignSchema::Refused);
    } catch (const DatabaseError& error) {
        throw DatabaseError(
            error.cause(), u"The file %1 cannot be used as a backup: %2"_s.arg(path, error.text()));
    }
}

void writeVerifiedCopy(sqlite3* source, const QString& target)
{
    base::PartialFile partial(target);
    writeVerifiedContent(source, partial);
    partial.publish();
}

void writeVerifiedContent(
    sqlite3* source, base::PartialFile& partial, ForeignSchema foreign,
    const std::optional<qint64>& number)
{
    const QString& target = partial.targetPath();
    fill(partial.path(), source, target, number);
    try {
        openWhole(partial.path(), foreign);
    } catch (const DatabaseError& error) {
        throw DatabaseError(
            error.cause(),
            u"The copy %1 was not kept, because the database cannot be backed up: %2"_s.arg(
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
