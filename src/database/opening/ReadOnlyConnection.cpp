#include <database/opening/ReadOnlyConnection.h>

#include <base/system/Files.h>
#include <database/DatabaseError.h>
#include <database/connection/SqliteError.h>
#include <database/opening/CrashDetection.h>
#include <database/opening/VfsFile.h>

#include <QFileInfo>
#include <QUrl>

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

/// The methods by which SQLite uses a file, with some of them replaced. SQLite knows it by its
/// first member.
struct FileMethods
{
    sqlite3_io_methods methods;
    const sqlite3_io_methods* original;
};

const sqlite3_io_methods& originalOf(sqlite3_file* file)
{
    return *reinterpret_cast<const FileMethods*>(file->pMethods)->original;
}

// Presents the shared memory as one that SQLite may not write to. Otherwise SQLite would leave the
// mark of a reader in it.
int mapForReading(sqlite3_file* file, int region, int bytes, int /*extend*/, void volatile** memory)
{
    const int result = originalOf(file).xShmMap(file, region, bytes, 0, memory);
    return result == SQLITE_OK ? SQLITE_READONLY : result;
}

// For a connection that keeps the index of the WAL in its own memory, for which SQLite wants the
// file to itself. The WAL is only read here: others may do so as well.
int lockShared(sqlite3_file* file, int level)
{
    return level <= SQLITE_LOCK_SHARED ? originalOf(file).xLock(file, level) : SQLITE_OK;
}

// For a connection to a store with a journal. A client may switch that to a WAL, for which SQLite
// would write to the shared memory of the others, or create its files if the client has ended.
int mapNothing(sqlite3_file*, int, int, int, void volatile**)
{
    return SQLITE_PROTOCOL;
}

int readWithoutWal(sqlite3_file* file, void* bytes, int count, sqlite3_int64 offset)
{
    const int result = originalOf(file).xRead(file, bytes, count, offset);
    const bool isWalFormat =
        offset == 0 && count >= HeaderBytes && isWalHeader(static_cast<const char*>(bytes));
    return result == SQLITE_OK && isWalFormat ? SQLITE_PROTOCOL : result;
}

/// How a connection uses the index of the WAL.
enum class WalIndex {
    Shared,  ///< In the memory that its users share.
    Private, ///< In its own memory.
    Refused, ///< It takes no WAL.
};

void replaceMethods(sqlite3* database, WalIndex index)
{
    sqlite3_file* const file = fileOf(database);
    // A few for each way of locking that SQLite has; they outlive every connection.
    static std::mutex mutex;
    static std::map<std::pair<const sqlite3_io_methods*, WalIndex>, std::unique_ptr<FileMethods>>
        known;
    const std::lock_guard lock(mutex);
    auto& replaced = known[{file->pMethods, index}];
    if (!replaced) {
        replaced = std::make_unique<FileMethods>(FileMethods{*file->pMethods, file->pMethods});
        if (index == WalIndex::Private) {
            replaced->methods.iVersion = 1; // one without shared memory
            replaced->methods.xLock = lockShared;
        } else if (index == WalIndex::Refused) {
            replaced->methods.xRead = readWithoutWal;
            replaced->methods.xShmMap = mapNothing;
        } else if (file->pMethods->iVersion >= 2 && file->pMethods->xShmMap) {
            replaced->methods.xShmMap = mapForReading;
        }
    }
    file->pMethods = &replaced->methods;
}

// Through SQLite in any case, because closing a plain descriptor would drop the locks that this
// process holds on the file (sqlite.org/howtocorrupt.html, "Posix advisory locks").
SqliteHandle open(const QString& path, const QByteArray& parameters)
{
    const QString name = QString::fromUtf8(base::pathForLibrary(path));
    // A path that begins with a drive has no "/" in front of it.
    const QByteArray uri = (name.startsWith(u'/') ? "file://" : "file:///") +
                           QUrl::toPercentEncoding(name, "/") + "?mode=ro" + parameters;
    constexpr int Flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(uri.constData(), &opened, Flags, nullptr);
    SqliteHandle database(opened);
    if (result != SQLITE_OK)
        throw databaseError(opened, path);
    sqlite3_extended_result_codes(opened, 1);
    setWaiting(opened, true);
    setCheckpointAtClose(opened, false);
    distrustSchema(opened);
    // No copy of a setting reaches /tmp.
    sqlite3_exec(opened, "PRAGMA temp_store = MEMORY", nullptr, nullptr, nullptr);
    return database;
}

SqliteHandle openWithSharedIndex(const QString& path, bool writable)
{
    // Not if this process may write to the store: its writers would find the shared memory of the
    // process read-only.
    SqliteHandle database = open(path, writable ? "" : "&readonly_shm=1");
    replaceMethods(database.get(), WalIndex::Shared);
    return database;
}

SqliteHandle openWithPrivateIndex(const QString& path)
{
    SqliteHandle database = open(path, {});
    replaceMethods(database.get(), WalIndex::Private);
    execute(database.get(), "PRAGMA locking_mode = EXCLUSIVE", path);
    return database;
}

SqliteHandle openWithoutWal(const QString& path)
{
    SqliteHandle database = open(path, {});
    replaceMethods(database.get(), WalIndex::Refused);
    return database;
}

// The first read shows whether a connection can read the file. What follows is read in the same
// transaction: a later one could find the WAL's index just being changed by a writer.
ReadOnlyConnection tried(ReadOnlyConnection opened, const QString& path)
{
    execute(opened.database.get(), "BEGIN", path);
    queryNumber(opened.database.get(), "PRAGMA user_version", path);
    return opened;
}

bool mayReadWal(const QString& path)
{
    const QStringList files{path + u"-wal"_s, path + u"-shm"_s};
    return std::all_of(files.begin(), files.end(), [](const QString& file) {
        return base::mayAccess(file, base::ReadAccess) || errno == ENOENT;
    });
}

bool isWalUnreadable(const SqliteError& error)
{
    switch (error.code()) {
    case SQLITE_READONLY_CANTINIT:
    case SQLITE_READONLY_RECOVERY:
        return true;
    default:
        return (error.code() & 0xff) == SQLITE_CANTOPEN;
    }
}

} // namespace

SqliteHandle openImmutable(const QString& path)
{
    return open(path, "&immutable=1");
}

ReadOnlyConnection openReadOnlyConnection(const QString& path)
{
    const StoreFingerprint before = fingerprintOf(path);
    const QString wal = path + u"-wal"_s;
    const bool hasWal = QFileInfo(wal).size() > 0;
    const bool hasIndex = QFileInfo::exists(wal) && QFileInfo::exists(path + u"-shm"_s);
    const bool writable = base::mayAccess(path, base::WriteAccess);
    // A process without write access cannot determine whether others have the store open: assume
    // it.
    const bool inUse = hasIndex && !(writable && hasNoUser(path));
    if (!hasWal && !inUse) {
        const VfsFile file(path);
        // With a journal, the file alone may hold half a transaction.
        if (QFileInfo(path + u"-journal"_s).size() > 0 || !file || !file.hasWalFormat())
            return tried({openWithoutWal(path)}, path);
        return tried({.database = openImmutable(path), .fingerprint = before}, path);
    }
    try {
        if (inUse)
            return tried({.database = openWithSharedIndex(path, writable), .shared = true}, path);
        return tried({.database = openWithPrivateIndex(path), .fingerprint = before}, path);
    } catch (const SqliteError& error) {
        if (!isWalUnreadable(error))
            throw;
    }
    return tried(
        {.database = openImmutable(path),
         .readsWal = !hasWal,
         .shared = inUse,
         .fingerprint = before},
        path);
}

// A client that opens or closes the store makes or removes the WAL and its index meanwhile.
ReadOnlyConnection openReadOnlyWithWal(const QString& path)
{
    using namespace std::chrono_literals;
    const StoreFingerprint before = fingerprintOf(path);
    constexpr int Attempts = 100;
    for (int attempt = 0; attempt < Attempts && mayReadWal(path); ++attempt) {
        if (attempt > 0)
            std::this_thread::sleep_for(1ms);
        ReadOnlyConnection connection = openReadOnlyConnection(path);
        if (connection.readsWal)
            return connection;
    }
    if (fingerprintOf(path) != before)
        throw DatabaseError(
            DatabaseError::Cause::Busy,
            u"The database %1 is being opened or closed by another program: try again."_s.arg(
                path));
    throw DatabaseError(
        DatabaseError::Cause::NoPermission,
        u"The newest changes of the database %1 are in its WAL, which cannot be read. Give "
        u"yourself the right to read it."_s.arg(path));
}

} // namespace sync::database
