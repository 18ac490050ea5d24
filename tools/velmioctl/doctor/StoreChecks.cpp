#include <velmioctl/doctor/Checks.h>

#include <base/system/FolderEntries.h>
#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/StoreInspection.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/DefaultServer.h>

#include <QFileInfo>
#include <QStorageInfo>
#include <QVersionNumber>

#include <array>

using namespace Qt::StringLiterals;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;
using sync::database::SchemaDifference;
using sync::database::StoreInspection;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl::doctor {

namespace {

using Kind = StoreInspection::Kind;

const Check NoDatabase{
    u"store.no-database"_s, Severity::Error, u"files that are not an SQLite database"_s,
    u"Nothing can use it."_s, u"Name the right file with --database."_s};
const Check Empty{
    u"store.empty"_s, Severity::Error, u"empty files"_s, u"It contains no settings."_s,
    u"If it never did, 'velmioctl init' creates the tables."_s};
const Check Foreign{
    u"store.foreign"_s, Severity::Error, u"databases of another program"_s,
    u"The client refuses it and does not change it."_s, u"Name the right file with --database."_s};
const Check TooNew{
    u"store.too-new"_s, Severity::Error, u"databases of a newer version"_s,
    u"This version refuses it, to protect data that it does not know."_s,
    u"Use the newer version, or update this one."_s};
const Check Unreadable{
    u"store.unreadable"_s, Severity::Error, u"databases that cannot be read"_s,
    u"No program can use it in this state."_s,
    u"Give yourself the right to read the file and its folder, or check the disk."_s};
const Check DiskFull{
    u"store.disk-full"_s, Severity::Error,
    u"disks without space, or without room for another file, for the WAL of the database"_s,
    u"The client can store nothing, and refuses to start with this database."_s,
    u"Free some space on that disk, or delete some files."_s};
const Check Busy{
    u"store.busy"_s, Severity::Error, u"databases that another program keeps locked"_s,
    u"Nothing else can use it until that program is done."_s,
    u"Wait for that program, or end it."_s};
const Check Unfinished{
    u"store.unfinished"_s, Severity::Error, u"databases with a transaction that was not finished"_s,
    u"Nothing is lost: the next program that uses the database rolls the transaction back."_s,
    u"Use it once, for example with 'velmioctl init', and run doctor again."_s};
const Check Damaged{
    u"store.damaged"_s, Severity::Error, u"damage in the database"_s,
    u"Some records cannot be found, or are read wrongly; each change can make it worse."_s,
    u"End the programs that use it. 'velmioctl recover --salvage' keeps what can still be read."_s};
const Check TableMissing{
    u"store.table-missing"_s, Severity::Error, u"tables that are missing"_s,
    u"The client refuses the database."_s,
    u"End the programs that use it. 'velmioctl recover --salvage' keeps what can still be read."_s};
const Check Moved{
    u"store.moved"_s, Severity::Warning, u"databases that come from another machine or account"_s,
    u"If two copies are used, each undoes the other's work. 'velmioctl scan' refuses it."_s,
    u"Make sure that the other copy is no longer used, then run 'velmioctl adopt'."_s};
const Check CheckFailed{
    u"store.check-failed"_s, Severity::Error, u"checks that could not read all they need"_s,
    u"What they would have found is not known."_s,
    u"Repair what was found in the database itself, and run doctor again."_s};
const Check LogNotRead{
    u"store.log-not-read"_s, Severity::Warning, u"WALs that cannot be read"_s,
    u"The records were not checked: the newest changes are in the WAL."_s,
    u"Run doctor as a user who may read it."_s};
const Check WalDamaged{
    u"store.wal-damaged"_s, Severity::Error, u"WALs of which a part is damaged"_s,
    u"Changes that were stored are lost: SQLite drops all that follows the damage."_s,
    u"Check the disk. The next program that changes the database keeps a copy of the WAL."_s};
const Check WalLarge{
    u"store.wal-large"_s, Severity::Warning, u"WALs of more than 128 MB"_s,
    u"It takes space, and reading becomes slower. The WAL shrinks only while no process reads it."_s,
    u"End the process that reads it, or its query; the next program that writes shrinks it."_s};
const Check DefaultServerMissing{
    u"server.default-missing"_s, Severity::Warning, u"default servers that do not exist"_s,
    u"The client finds no default server."_s,
    u"Choose one from 'velmioctl server list' with 'velmioctl server default ID'."_s};
const Check LogReset{
    u"store.sqlite-log-reset"_s, Severity::Note,
    u"SQLite libraries that can lose commits when two programs write"_s,
    u"The client avoids it: none of its checkpoints runs during a write. Another program that "
    u"writes to the file at the same time, such as the sqlite3 shell, may trigger it."_s,
    u"Write with no other program while a client runs, or use SQLite 3.51.3 or newer."_s};

const Check SchemaMissing{
    u"schema.missing"_s, Severity::Error, u"parts of the database's structure that are missing"_s,
    u"Without a column or a trigger some changes fail or are stored wrongly; without an index "
    u"everything becomes slower."_s,
    u"'velmioctl doctor --fix' rebuilds indexes, triggers and views. For a column, restore a "
    u"backup with 'velmioctl restore FILE'."_s};
const Check SchemaChanged{
    u"schema.changed"_s, Severity::Error, u"parts of the database's structure that were changed"_s,
    u"They could change or falsify records, so the client refuses the database."_s,
    u"'velmioctl doctor --fix' rebuilds indexes, triggers and views. For a table, restore a "
    u"backup with 'velmioctl restore FILE', or keep its rows with 'velmioctl recover --salvage'."_s};
const Check SchemaForeign{
    u"schema.foreign"_s, Severity::Error,
    u"triggers, indexes and views that do not belong to the database and can act"_s,
    u"They could change or falsify records, so the client refuses the database."_s,
    u"'velmioctl doctor --fix' removes triggers and indexes. Where a view is in the place of a "
    u"table, 'velmioctl recover --salvage' keeps what can still be read. Check the addresses of "
    u"the servers afterwards."_s};
const Check SchemaExtra{
    u"schema.extra"_s, Severity::Note,
    u"tables, columns, indexes and views that do not belong to the database"_s,
    u"The client leaves them alone."_s, u"Keep them, or remove them in the sqlite3 shell."_s};

// Adds how to get a whole database back.
Check withBackup(Check check, const QString& path)
{
    try {
        if (const auto backup = DatabaseBackups(path).newestVerified()) {
            check.remedy +=
                u" The newest intact backup was made at %1: 'velmioctl restore %2' puts "
                u"it in place of the file."_s.arg(
                    backup->hasImpossibleTime ? u"an unknown time"_s
                                              : backup->time.toString(Qt::ISODate),
                    quoted(backup->path));
            return check;
        }
    } catch (const DatabaseError&) {
        // No backup can be read.
    }
    check.remedy += u" It has no intact backup beside it: 'velmioctl restore FILE' uses one from "
                    u"another place."_s;
    return check;
}

// A client that opens the database needs a file of that size for the index of its WAL.
bool isDiskFull(const QString& path)
{
    constexpr qint64 WalIndexBytes = 32 * 1024;
    const QStorageInfo disk(path);
    const bool hasInode = sync::base::hasFreeInode(QFileInfo(path).absolutePath());
    return disk.isValid() && (disk.bytesAvailable() < WalIndexBytes || !hasInode);
}

const Check& checkOf(const SchemaDifference& difference)
{
    switch (difference.kind) {
    case SchemaDifference::Kind::Missing:
        return SchemaMissing;
    case SchemaDifference::Kind::Changed:
        return SchemaChanged;
    case SchemaDifference::Kind::Foreign:
        break;
    }
    return difference.canAct ? SchemaForeign : SchemaExtra;
}

void reportDamage(const StoreInspection& store, const Found& found)
{
    const bool tablesMissing = !store.missingTables().isEmpty();
    const Check check = withBackup(tablesMissing ? TableMissing : Damaged, store.path());
    for (const QString& table : store.missingTables())
        found(check, {.table = table});
    for (const QString& damage : tablesMissing ? QStringList() : store.damage())
        found(check, {.name = store.path(), .detail = damage});
}

} // namespace

std::vector<Check> storeChecks()
{
    return {NoDatabase, Empty,         Foreign,       TooNew,
            Unreadable, DiskFull,      Busy,          Unfinished,
            Damaged,    TableMissing,  Moved,         CheckFailed,
            LogNotRead, WalDamaged,    WalLarge,      DefaultServerMissing,
            LogReset,   SchemaMissing, SchemaChanged, SchemaForeign,
            SchemaExtra};
}

void reportFailedCheck(const QString& check, const QString& error, const Found& found)
{
    found(CheckFailed, {.name = check, .detail = error});
}

void checkStore(const StoreInspection& store, const Found& found)
{
    const QString path = store.path();
    const Row row{.name = path, .detail = store.finding({}).trimmed()};
    switch (store.kind()) {
    case Kind::NotADatabase:
    case Kind::NotAFile:
        found(withBackup(NoDatabase, path), row);
        return;
    case Kind::Empty:
        found(withBackup(Empty, path), {.name = path});
        return;
    case Kind::Foreign:
        found(Foreign, {.name = path});
        return;
    case Kind::TooNew:
        found(TooNew, row);
        return;
    case Kind::Busy:
        found(Busy, row);
        return;
    case Kind::Unfinished:
        found(Unfinished, row);
        return;
    case Kind::Damaged:
        reportDamage(store, found);
        return;
    case Kind::Missing:
    case Kind::Directory:
    case Kind::Unreadable:
        found(Unreadable, row);
        return;
    case Kind::Altered:
    case Kind::Ours:
        break;
    }
    if (isDiskFull(path))
        found(DiskFull, {.name = path});
    if (!store.readsWal())
        found(LogNotRead, {.name = path + u"-wal"_s});
    if (const qint64 lost = store.lostCommits(); lost > 0)
        found(
            withBackup(WalDamaged, path),
            {.name = path + u"-wal"_s, .detail = u"at least %1 changes"_s.arg(lost)});
    // Under load it grows to some 80 MB (SqliteHandle limits it to 64 MB, if nobody reads).
    constexpr qint64 LargeWalBytes = 128 * 1024 * 1024;
    if (store.walBytes() > LargeWalBytes)
        found(
            WalLarge, {.name = path + u"-wal"_s,
                       .detail = u"%1 MB; %2"_s.arg(
                           QString::number(store.walBytes() / (1024 * 1024)),
                           store.walReader().isEmpty() ? u"no process that reads it is seen"_s
                                                       : store.walReader() + u" reads it"_s)});
    if (store.isMoved())
        found(Moved, {.name = path});
}

void checkSchema(const StoreInspection& store, const Found& found)
{
    const auto differences = store.schemaDifferences();
    for (const Check& check : {SchemaMissing, SchemaChanged, SchemaForeign, SchemaExtra}) {
        for (const SchemaDifference& difference : differences) {
            if (check.id == checkOf(difference).id)
                found(
                    check,
                    {.name = difference.type + u' ' + difference.name,
                     .detail = difference.name == difference.table ? QString()
                                                                   : u"of "_s + difference.table});
        }
    }
}

void checkEngine(IDatabaseFactory& database, const Found& found)
{
    CheckQuery query(database, u"SELECT sqlite_version()"_s);
    if (query.next() && hasLogResetBug(query.text(0)))
        found(LogReset, {.name = u"SQLite "_s + query.text(0)});
}

void checkDefaultServer(IDatabaseFactory& database, const QString& path, const Found& found)
{
    const QSettings settings = userSettings();
    if (!settings.contains(DefaultServerKey) || !defaultServerIsOf(path))
        return;
    const long long id = defaultServerId();
    CheckQuery query(
        database, u"SELECT 1 FROM ServerConfiguration WHERE id = :id"_s, {{u":id"_s, id}});
    if (!query.next())
        found(
            DefaultServerMissing,
            {.table = ServerTable, .id = id, .detail = u"set in "_s + settings.fileName()});
}

bool hasLogResetBug(const QString& version)
{
    const auto number = QVersionNumber::fromString(version);
    // Fixed in these as well, and in later releases with the same first two numbers.
    const std::array fixedIn{QVersionNumber(3, 44, 6), QVersionNumber(3, 50, 7)};
    for (const QVersionNumber& release : fixedIn) {
        if (number.minorVersion() == release.minorVersion() && number >= release)
            return false;
    }
    return number >= QVersionNumber(3, 7, 0) && number <= QVersionNumber(3, 51, 2);
}

} // namespace velmioctl::doctor
