#include <database/opening/StoreOpening.h>

#include <base/FilePaths.h>
#include <base/Folders.h>
#include <base/PartialFile.h>
#include <base/system/FileRights.h>
#include <base/system/Files.h>
#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <database/StoreInspection.h>
#include <database/connection/SqliteError.h>
#include <database/maintenance/StoreReplacement.h>
#include <database/opening/CrashDetection.h>
#include <database/opening/Migrations.h>
#include <database/opening/ReadOnlyConnection.h>
#include <database/opening/StoreAccess.h>
#include <database/opening/StoreContent.h>
#include <database/opening/VfsFile.h>
#include <database/opening/WalDamage.h>
#include <database/schema/Tables.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

#include <cerrno>
#include <chrono>
#include <thread>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Cause = DatabaseError::Cause;
using Kind = StoreInspection::Kind;

// Up to this size, 1 MB, a check of the whole file takes a millisecond or two.
constexpr long long FullyCheckedPages = 256;

QString remedyFor(Kind kind, const QString& path)
{
    switch (kind) {
    case Kind::Directory:
        return u"Name a database file in it, such as %1."_s.arg(
            QDir(path).filePath(u"configuration.db"_s));
    case Kind::NotAFile:
        return u"Move away what is not a regular file, or name another database."_s;
    case Kind::NotADatabase:
        return u"Name the right file, or move this one away to have a new database created."_s;
    case Kind::Foreign:
        return u"It was not changed. Name the right file."_s;
    case Kind::Empty:
        return u"If it was a database, put a backup copy in its place. If it never was one, remove "
               u"it or name another file."_s;
    case Kind::Unfinished:
        return u"Open it once for writing, which rolls the transaction back."_s;
    case Kind::TooNew:
        return u"Use the newer program that wrote it."_s;
    case Kind::Damaged:
        return u"Keep the file, and put a backup copy in its place."_s;
    case Kind::Altered:
        return u"Keep the file, and remove what is foreign or put a backup copy in its place."_s;
    default:
        return {};
    }
}

DatabaseError refusal(Cause cause, Kind kind, const QString& finding, const QString& path)
{
    return {cause, u"%1 %2"_s.arg(finding, remedyFor(kind, path)).trimmed()};
}

void requireOurs(const StoreContent& content, const QString& path)
{
    if (!content.isOurs() && content.kind != Kind::Empty)
        throw refusal(
            content.cause, content.kind, content.sentence(u"The database "_s + path), path);
}

QString movedWarning(const QString& path)
{
    return u"The database %1 comes from another machine or account. If two copies of it are used, "
           u"each undoes the other's work. Make sure that the other one is no longer used, and "
           u"adopt this one."_s.arg(path);
}

QString newerWarning(const QString& path, qint64 version)
{
    return u"The database %1 has schema version %2 of a newer program, which lets this one "
           u"continue to use it. Update this program when you can."_s.arg(
               path, QString::number(version));
}

QString journalWarning(const QString& path, const QString& reason, const QString& remedy)
{
    return u"The database %1 is used with a rollback journal and not with a WAL, because %2. "
           u"Writing is slower, and waits for readers. %3"_s.arg(path, reason, remedy);
}

QString lockedWarning(const QString& path)
{
    return journalWarning(
        path, u"another program has it locked"_s, u"Open it again when that program has ended."_s);
}

QString networkWarning(const QString& path, const QByteArray& fileSystem)
{
    return journalWarning(
        path,
        u"a WAL is not safe on a network file system (%1)"_s.arg(QString::fromLatin1(fileSystem)),
        u"Move it to a local disk, and never use it from two machines at once."_s);
}

QString noSharedMemoryWarning(const QString& path)
{
    return journalWarning(
        path, u"its file system does not let programs share memory"_s,
        u"Move it to a local disk."_s);
}

} // namespace

StoreOpening::StoreOpening(
    const QString& path, const OpenOptions& options, FileSystemType fileSystemType)
    : path(base::resolvedFilePath(path))
    , options(options)
    , fileSystemType(fileSystemType)
{
}

OpenedStore StoreOpening::open()
{
    requireTrusted(path, trustOf(options));
    inspectFile();
    withFileErrors([this] {
        createFile();
        checkAccess();
    });
    leftByCrash = wasLeftByCrash(path);
    openConnectionOfStore();
    // SQLite does not tell when it cannot make the name of a new WAL durable, without which no
    // commit is.
    withFileErrors([this] { base::syncFolder(QFileInfo(path).path()); });
    closeCompanions();
    return std::move(opened);
}

// The WAL and its index stay for as long as the store is open.
void StoreOpening::closeCompanions() const
{
    if (!base::newFilesHaveRightsOfFolder())
        return;
    const base::ExaminedFolder folder(QFileInfo(path).path());
    const auto isOpenToOthers = [&](const QString& suffix) {
        const auto file = folder.examine(QFileInfo(path).fileName() + suffix);
        return file && file->rights.othersMayUse;
    };
    if (isOpenToOthers({}))
        return;
    for (const QString& suffix : {u"-wal"_s, u"-shm"_s}) {
        if (isOpenToOthers(suffix))
            base::closeToOthers(path + suffix);
    }
}

void StoreOpening::openConnectionOfStore()
{
    if (const QByteArray type = fileSystemType(path); isNetworkFileSystem(type)) {
        openWithJournal(networkWarning(path, type));
        return;
    }
    try {
        openWithWal();
    } catch (const SqliteError& error) {
        if (!isMissingSharedMemory(error, path))
            throw;
        openWithJournal(noSharedMemoryWarning(path));
    }
}

OpenedStore StoreOpening::openReadOnly()
{
    requireTrusted(path, trustOf(options, Trust::StoreOwner));
    const StoreInspection file(path, StoreInspection::Depth::Header);
    if (file.kind() != Kind::Ours)
        throw refusal(file.cause(), file.kind(), file.finding(u"The file "_s + path), path);
    connectReadOnly();
    const StoreContent content = readSchema(handle(), path, foreignSchemaOf(options));
    requireOurs(content, path);
    if (content.version >= FirstVersionWithIdentity)
        opened.identity = readIdentity(handle(), path);
    execute(handle(), "COMMIT", path);
    if (opened.identity.moved)
        opened.warnings += movedWarning(path);
    if (content.version > currentSchemaVersion())
        opened.warnings += newerWarning(path, content.version);
    // A connection without locks would not say it.
    const VfsFile vfsFile(path);
    opened.hasWal = vfsFile && vfsFile.hasWalFormat();
    return std::move(opened);
}

void StoreOpening::connectReadOnly()
{
    try {
        ReadOnlyConnection connection = openReadOnlyWithWal(path);
        opened.connection = std::move(connection.database);
        opened.readOnly = true;
        opened.shared = connection.shared;
    } catch (const SqliteError& error) {
        if (error.primaryCode() != SQLITE_READONLY)
            throw;
        throw refusal(
            Cause::ReadOnly, Kind::Unfinished,
            unfinishedStore().sentence(u"The database "_s + path), path);
    }
}

// Before a connection is opened that might write to the file.
void StoreOpening::inspectFile() const
{
    const StoreInspection file(path, StoreInspection::Depth::Header);
    switch (file.kind()) {
    case Kind::Missing:
    case Kind::Unfinished:
    case Kind::Unreadable: // The next steps say why.
    case Kind::Ours:
        return;
    case Kind::Empty:
        // A database that was made by SQLite, and not a file that lost its content.
        if (QFileInfo(path).size() > 0)
            return;
        [[fallthrough]];
    default:
        throw refusal(file.cause(), file.kind(), file.finding(u"The file "_s + path), path);
    }
}

// With its tables, so that a crash or a full disk leaves no file rather than an empty one. Readable
// for the user alone: some secrets are stored in clear text.
void StoreOpening::createFile() const
{
    // In this order: another process may create the database meanwhile, and then its WAL.
    const bool hasStrayWal = QFileInfo(path + u"-wal"_s).size() > 0;
    const bool hasStrayJournal = QFileInfo(path + u"-journal"_s).size() > 0;
    if (QFileInfo::exists(path))
        return;
    if (hasStrayWal || hasStrayJournal) {
        // SQLite would apply it to the new file.
        const StoreContent lost = damagedStore(
            u"it is missing, but its %1 is not"_s.arg(hasStrayWal ? u"WAL"_s : u"journal"_s));
        throw refusal(lost.cause, lost.kind, lost.sentence(u"The database "_s + path), path);
    }
    base::createFolders(QFileInfo(path).path());
    try {
        base::PartialFile fresh(path);
        {
            const SqliteHandle database = openConnection(fresh.path());
            migrate(database.get(), path);
        }
        fresh.publish();
    } catch (const base::FileError& error) {
        if (error.code() != EEXIST)
            throw base::FileError(path, u"Cannot create the database"_s, error.code());
    }
}

void StoreOpening::checkAccess() const
{
    const QString folder = QFileInfo(path).path();
    if (!base::mayAccess(path, base::ReadAccess | base::WriteAccess))
        throw base::FileError(path, u"Cannot read and write the database"_s, errno);
    if (!base::mayAccess(folder, base::WriteAccess | base::EnterAccess))
        throw base::FileError(folder, u"Cannot write beside the database in"_s, errno);
}

void StoreOpening::openWithWal()
{
    opened.connection = openConnection(path);
    // A refused file stays unchanged.
    setCheckpointAtClose(handle(), false);
    checkContent();
    keepDamagedWal();
    backUpAndMigrate();
    checkTables();
    useWal();
    identify();
    setCheckpointAtClose(handle(), true);
}

// Exclusive until a WAL is merged into the file: without shared memory it can only be read this
// way.
void StoreOpening::openWithJournal(const QString& warning)
{
    opened = {};
    opened.connection = openConnection(path, Locking::Exclusive);
    setCheckpointAtClose(handle(), false);
    checkContent();
    keepDamagedWal();
    // The lock is released with the next access, which is the last of these.
    execute(
        handle(), "PRAGMA journal_mode = DELETE; PRAGMA locking_mode = NORMAL; PRAGMA user_version",
        path);
    backUpAndMigrate();
    checkTables();
    identify();
    opened.warnings += warning;
}

// Includes the WAL, which may be of a newer version than the header of the file.
void StoreOpening::checkContent()
{
    // In a transaction: another process may create the tables at this moment.
    execute(handle(), "BEGIN", path);
    const StoreContent content = readSchema(handle(), path, foreignSchemaOf(options));
    execute(handle(), "COMMIT", path);
    requireOurs(content, path);
    version = content.version;
    if (!leftByCrash && queryNumber(handle(), "PRAGMA page_count", path) > FullyCheckedPages)
        return;
    const QStringList damage = queryDamage(handle(), "PRAGMA quick_check(1)", path);
    if (!damage.isEmpty())
        requireOurs(damagedStore(damage.constFirst()), path);
}

// Before SQLite overwrites what follows the damage.
void StoreOpening::keepDamagedWal()
{
    const qint64 lost = leftByCrash ? lostCommitsIn(path) : 0;
    if (lost == 0)
        return;
    const QString kept = withFileErrors([this] { return keepWal(path); });
    // The next opening would find the same loss again.
    execute(handle(), "PRAGMA wal_checkpoint(TRUNCATE)", path);
    const auto backups = DatabaseBackups(path).list();
    const QString backup = backups.isEmpty()
                               ? u"It has no backup beside it."_s
                               : u"Its newest backup is %1."_s.arg(backups.constFirst().path);
    opened.warnings +=
        u"The WAL of the database %1 is damaged: at least the last %2 changes that were stored are "
        u"lost. The WAL is kept as %3. Check the disk. %4"_s.arg(
            path, QString::number(lost), kept, backup);
}

void StoreOpening::backUpAndMigrate()
{
    if (version > 0 && version < currentSchemaVersion())
        backUp();
    if (version < currentSchemaVersion())
        migrate(handle(), path, [this] { checkTables(); });
    if (version > currentSchemaVersion()) {
        opened.warnings += newerWarning(path, version);
    }
}

void StoreOpening::backUp() const
{
    try {
        DatabaseBackups(path, options).make(DatabaseBackups::Reason::Migration);
    } catch (const DatabaseError& error) {
        throw DatabaseError(
            error.cause(),
            u"The database %1 has schema version %2, and is only changed to version %3 after a "
            u"backup, which failed. It was not changed. %4"_s.arg(
                path, QString::number(version), QString::number(currentSchemaVersion()),
                error.text()));
    }
}

// Reads the first page of each table, which also detects a file that was cut off.
void StoreOpening::checkTables() const
{
    static const QByteArray sql = [] {
        // All columns that are read later: once the WAL is in use, it is too late to leave the file
        // unchanged.
        QByteArrayList firstRows{
            "(SELECT storeId || machineStamp || lastCompatibleVersion FROM StoreIdentity)"};
        for (const char* const table : Tables)
            firstRows += "(SELECT id FROM " + QByteArray(table) + " LIMIT 1)";
        return "SELECT " + firstRows.join(", ");
    }();
    try {
        queryNumber(handle(), sql.constData(), path);
    } catch (const SqliteError& error) {
        // The text names the missing one.
        if (error.code() == SQLITE_ERROR)
            requireOurs(damagedStore(QString::fromUtf8(sqlite3_errmsg(handle()))), path);
        throw;
    }
}

void StoreOpening::useWal()
{
    opened.hasWal = queryText(handle(), "PRAGMA journal_mode", path) == u"wal";
    if (opened.hasWal)
        return;
    if (!hasSharedMemory(path)) {
        opened.warnings += noSharedMemoryWarning(path);
        return;
    }
    setWaiting(handle(), false);
    opened.hasWal = switchToWal();
    setWaiting(handle(), true);
    if (!opened.hasWal)
        opened.warnings += lockedWarning(path);
}

// Retries for a while, because another process that creates the database at the same time
// interferes. Returns true if the database has a WAL now.
bool StoreOpening::switchToWal() const
{
    using namespace std::chrono_literals;
    const auto deadline = std::chrono::steady_clock::now() + 500ms;
    for (;;) {
        try {
            return queryText(handle(), "PRAGMA journal_mode = WAL", path) == u"wal";
        } catch (const DatabaseError& error) {
            if (error.cause() != Cause::Busy)
                throw;
        }
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(1ms);
    }
}

void StoreOpening::identify()
{
    opened.identity = readIdentity(handle(), path);
    if (!opened.identity.stamped)
        stamp(handle(), opened.identity);
    if (opened.identity.moved)
        opened.warnings += movedWarning(path);
}

} // namespace sync::database
