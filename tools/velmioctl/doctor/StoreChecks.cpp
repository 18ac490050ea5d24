#include <velmioctl/doctor/StoreChecks.h>

#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/opening/LockHolder.h>
#include <database/opening/Migrations.h>
#include <database/opening/StoreIdentity.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/doctor/ReadOnlyDatabase.h>
#include <velmioctl/store/Columns.h>

#include <QVersionNumber>

#include <array>
#include <sqlite3.h>

using namespace Qt::StringLiterals;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;

namespace velmioctl::doctor {

namespace {

const Check NoDatabase{
    u"store.no-database"_s, Severity::Error, u"files that are no SQLite database"_s,
    u"Nothing can use it."_s, u"Name the right file with --database, if this is not it."_s};
const Check Empty{
    u"store.empty"_s, Severity::Error, u"empty files"_s, u"There are no settings in it."_s,
    u"If there have never been any, 'velmioctl init' makes the tables."_s};
const Check Foreign{
    u"store.foreign"_s, Severity::Error, u"databases of another program"_s,
    u"It is left alone: nothing of ours uses it."_s, u"Name the right file with --database."_s};
const Check TooNew{
    u"store.too-new"_s, Severity::Error, u"databases of a newer version"_s,
    u"This version refuses it, so as not to harm what it does not know."_s,
    u"Use the newer version, or update this one."_s};
const Check Unreadable{
    u"store.unreadable"_s, Severity::Error, u"databases that cannot be read"_s,
    u"No program can use it as it is."_s,
    u"Give yourself the right to read the file and its folder, or check the disk."_s};
const Check DiskFull{
    u"store.disk-full"_s, Severity::Error, u"disks without room for the log of the database"_s,
    u"The client can store nothing, and refuses to start with this database."_s,
    u"Free some space on that disk."_s};
const Check Busy{
    u"store.busy"_s, Severity::Error, u"databases that another program keeps locked"_s,
    u"Nothing else can use it meanwhile."_s, u"Wait until that program is done, or end it."_s};
const Check Unfinished{
    u"store.unfinished"_s, Severity::Error,
    u"databases with a transaction that did not come to its end"_s,
    u"Nothing is lost: what was half done is taken back when the database is next used."_s,
    u"Use it once, as with 'velmioctl stats', and ask again."_s};
const Check Damaged{
    u"store.damaged"_s, Severity::Error, u"damage in the database"_s,
    u"Some records cannot be found, or come back wrong; it may get worse with each change."_s,
    u"End the programs that use it. 'velmioctl recover --salvage' keeps what can still be read."_s};
const Check TableMissing{
    u"store.table-missing"_s, Severity::Error, u"tables that are missing"_s,
    u"The database is refused."_s,
    u"End the programs that use it. 'velmioctl recover --salvage' keeps what can still be read."_s};
const Check Moved{
    u"store.moved"_s, Severity::Warning, u"databases that come from another machine or account"_s,
    u"Two copies that both synchronise would undo each other's work, so 'velmioctl scan' waits."_s,
    u"See that the other copy is not used any more, and make this one your own with 'velmioctl "
    u"adopt'."_s};
const Check CheckFailed{
    u"store.check-failed"_s, Severity::Error, u"checks that could not read all they need"_s,
    u"What they would have found is not known."_s,
    u"See what is said of the database itself, mend that, and ask again."_s};
const Check LogNotRead{
    u"store.log-not-read"_s, Severity::Note, u"logs that could not be read along"_s,
    u"The newest changes were not looked at."_s,
    u"Run this as a user who may write beside the database, with room on its disk."_s};
const Check LogReset{
    u"store.sqlite-log-reset"_s, Severity::Note,
    u"SQLite libraries that can lose commits while two programs write"_s,
    u"This library keeps clear of it: none of its checkpoints overlaps with a write. A foreign "
    u"program that writes to the file at the same time, such as the sqlite3 shell, may not."_s,
    u"Write with no other program while a client runs, or use SQLite 3.51.3 or newer."_s};

// With the way back to a whole database, as far as that is known.
Check withBackup(Check check, const QString& path)
{
    try {
        if (const auto backup = DatabaseBackups(path).newestVerified()) {
            check.remedy += u" The newest whole backup is of %1: 'velmioctl restore %2' puts it in "
                            u"the place of the file."_s.arg(
                                backup->time.toString(Qt::ISODate), quoted(backup->path));
            return check;
        }
    } catch (const DatabaseError&) {
        // A folder of backups that cannot be read has none to offer.
    }
    check.remedy += u" There is no whole backup beside it: 'velmioctl restore FILE' takes one from "
                    u"elsewhere."_s;
    return check;
}

// SQLite ends its list at a hundred.
QStringList integrityFindings(ReadOnlyDatabase& database)
{
    QStringList findings;
    try {
        CheckQuery query(database, u"PRAGMA integrity_check"_s);
        while (query.next()) {
            if (query.text(0) != u"ok"_s)
                findings += query.text(0).simplified();
        }
    } catch (const ReadFailure& error) {
        findings += error.text();
    }
    return findings;
}

bool isIntact(const QString& path, ReadOnlyDatabase& database, const Found& found)
{
    const auto findings = integrityFindings(database);
    if (findings.isEmpty())
        return true;
    const Check check = withBackup(Damaged, path);
    for (const QString& finding : findings)
        found(check, {.name = path, .detail = finding});
    return false;
}

bool hasAllTables(const QString& path, ReadOnlyDatabase& database, const Found& found)
{
    QStringList missing;
    for (const TableShape& table : tableShapes()) {
        const QString name = QString::fromLatin1(table.name);
        CheckQuery query(
            database, u"SELECT 1 FROM sqlite_schema WHERE type = 'table' AND name = :name"_s,
            {{u":name"_s, name}});
        if (!query.next())
            missing += name;
    }
    if (missing.isEmpty())
        return true;
    const Check check = withBackup(TableMissing, path);
    for (const QString& name : missing)
        found(check, {.table = name});
    return false;
}

long long numberOf(ReadOnlyDatabase& database, const QString& sql)
{
    CheckQuery query(database, sql);
    return query.next() ? query.number(0) : 0;
}

// A store of version 1 does not know where it belongs.
void checkIdentity(const QString& path, ReadOnlyDatabase& database, const Found& found)
{
    if (numberOf(database, u"PRAGMA user_version"_s) < 2)
        return;
    CheckQuery query(database, u"SELECT storeId, machineStamp FROM StoreIdentity"_s);
    const bool stamped = query.next() && !query.value(1).isNull();
    if (stamped && query.text(1) != sync::database::ownMachineStamp(query.text(0)))
        found(Moved, {.name = path});
}

QString withHolder(const QString& text, const QString& path)
{
    const auto holder = sync::database::lockHolderOf(path);
    return holder ? u"%1, by %2"_s.arg(text, sync::database::describe(*holder)) : text;
}

} // namespace

std::vector<Check> storeChecks()
{
    return {NoDatabase, Empty,   Foreign,      TooNew, Unreadable,  DiskFull,   Busy,
            Unfinished, Damaged, TableMissing, Moved,  CheckFailed, LogNotRead, LogReset};
}

void reportUnreadable(const QString& path, const UnreadableDatabase& error, const Found& found)
{
    const Row row{.name = path, .detail = error.text()};
    switch (error.result()) {
    case SQLITE_NOTADB:
        found(withBackup(NoDatabase, path), row);
        break;
    case SQLITE_CORRUPT:
        found(withBackup(Damaged, path), row);
        break;
    case SQLITE_FULL:
        found(DiskFull, row);
        break;
    case SQLITE_READONLY:
        found(Unfinished, row);
        break;
    case SQLITE_BUSY:
        found(Busy, {.name = path, .detail = withHolder(error.text(), path)});
        break;
    default:
        found(Unreadable, row);
    }
}

void reportFailedCheck(const QString& check, const QString& error, const Found& found)
{
    found(CheckFailed, {.name = check, .detail = error});
}

Content checkContent(const QString& path, ReadOnlyDatabase& database, const Found& found)
{
    if (numberOf(database, u"PRAGMA application_id"_s) != sync::database::ApplicationId) {
        const bool empty = numberOf(database, u"SELECT count(*) FROM sqlite_schema"_s) == 0;
        found(empty ? withBackup(Empty, path) : Foreign, {.name = path});
        return Content::NotOurs;
    }
    if (database.diskFull())
        found(DiskFull, {.name = path});
    if (!database.readsLog())
        found(LogNotRead, {.name = path + u"-wal"_s});
    const int known = SqliteDatabaseFactory::schemaVersion();
    const auto version = numberOf(database, u"PRAGMA user_version"_s);
    if (version < 0) {
        found(
            withBackup(Damaged, path),
            {.name = path, .detail = u"schema version %1"_s.arg(version)});
        return Content::Unusable;
    }
    if (version > known &&
        numberOf(database, u"SELECT lastCompatibleVersion FROM StoreIdentity"_s) > known) {
        found(
            TooNew, {.name = path,
                     .detail = u"schema version %1, while %2 is known here"_s.arg(
                         QString::number(version), QString::number(known))});
        return Content::Unusable;
    }
    if (!isIntact(path, database, found) || !hasAllTables(path, database, found))
        return Content::Unusable;
    checkIdentity(path, database, found);
    return Content::Sound;
}

void checkEngine(ReadOnlyDatabase& database, const Found& found)
{
    CheckQuery query(database, u"SELECT sqlite_version()"_s);
    if (query.next() && hasLogResetBug(query.text(0)))
        found(LogReset, {.name = u"SQLite "_s + query.text(0)});
}

bool hasLogResetBug(const QString& version)
{
    const auto number = QVersionNumber::fromString(version);
    // Mended for these as well, and for what followed them under the same two numbers.
    const std::array mended{QVersionNumber(3, 44, 6), QVersionNumber(3, 50, 7)};
    for (const QVersionNumber& release : mended) {
        if (number.minorVersion() == release.minorVersion() && number >= release)
            return false;
    }
    return number >= QVersionNumber(3, 7, 0) && number <= QVersionNumber(3, 51, 2);
}

} // namespace velmioctl::doctor
