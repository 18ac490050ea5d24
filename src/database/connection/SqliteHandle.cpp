#include <database/connection/SqliteHandle.h>

#include <base/system/Files.h>
#include <database/connection/SqliteError.h>

#include <sqlite3.h>

#include <cerrno>
#include <chrono>
#include <thread>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

// Waits for writers of other processes in steps that start short: no notification comes when the
// lock is free, most transactions take less than a millisecond, and SQLite's own handler sleeps for
// up to 100 ms at a time.
int waitForOtherProcess(void* /*context*/, int attempt)
{
    using namespace std::chrono_literals;
    using Clock = std::chrono::steady_clock;
    static thread_local Clock::time_point start;
    if (attempt == 0)
        start = Clock::now();
    constexpr int ShortSteps = 1000; // about 100 ms: a sleep takes 50 microseconds more
    std::this_thread::sleep_for(attempt < ShortSteps ? 50us : 250us);
    return Clock::now() - start < BusyTimeout ? 1 : 0;
}

bool stepOrThrow(sqlite3* database, const StatementHandle& statement, const QString& path)
{
    switch (sqlite3_step(statement.get())) {
    case SQLITE_ROW:
        return true;
    case SQLITE_DONE:
        return false;
    default:
        throw databaseError(database, path);
    }
}

// True if a check did not get a page from the disk (btree.c, checkTreePage() and checkList()),
// which says nothing about the file.
bool isFailedRead(const QString& finding)
{
    return finding.contains(u"unable to get the page") || finding.contains(u"failed to get page");
}

// SQLite opens a file for reading if it cannot open it for writing, for whatever reason.
void requireWritable(sqlite3* database, const QString& path)
{
    if (sqlite3_db_readonly(database, "main") != 1)
        return;
    if (!base::mayAccess(path, base::WriteAccess))
        throw databaseError(base::FileError(path, u"Cannot write to the database"_s, errno));
    throw DatabaseError(
        DatabaseError::Cause::Other,
        u"The database %1 could only be opened for reading, although you may write to it. Perhaps "
        u"this program has too many files open. Try again."_s.arg(path));
}

} // namespace

void SqliteCloser::operator()(sqlite3* database) const noexcept
{
    sqlite3_close_v2(database);
}

void SqliteFinalizer::operator()(sqlite3_stmt* statement) const noexcept
{
    sqlite3_finalize(statement);
}

SqliteHandle openConnection(const QString& path, Locking locking)
{
    // NOMUTEX: the pool ensures that one thread at a time uses a connection.
    constexpr int Flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;
    sqlite3* opened = nullptr;
    const int result =
        sqlite3_open_v2(base::pathForLibrary(path).constData(), &opened, Flags, nullptr);
    SqliteHandle database(opened);
    if (result != SQLITE_OK)
        throw databaseError(opened, path);
    requireWritable(opened, path);

    sqlite3_extended_result_codes(opened, 1);
    setWaiting(opened, true);
    distrustSchema(opened);
    // A checkpoint of ours runs only while the write lock is held: see Checkpointer.
    sqlite3_wal_autocheckpoint(opened, 0);
    // A connection that fails during the setup below must not checkpoint.
    setCheckpointAtClose(opened, false);
    // Before the first setting that reads the file.
    if (locking == Locking::Exclusive)
        execute(opened, "PRAGMA locking_mode = EXCLUSIVE", path);
    // synchronous: a commit is on the disk when it returns; EXTRA differs from FULL only without a
    // WAL, where the removal of the journal, which is the commit, must be durable too. fullfsync:
    // also on macOS, where fsync() stops at the drive's cache. temp_store: no copy of a setting
    // reaches /tmp. cell_size_check: a damaged page is noticed when it is read. secure_delete: what
    // is removed or replaced is overwritten, also where SQLite was built without that.
    execute(
        opened,
        "PRAGMA synchronous = EXTRA; PRAGMA fullfsync = ON; PRAGMA temp_store = MEMORY;"
        "PRAGMA cache_size = -16384; PRAGMA mmap_size = 0; PRAGMA cell_size_check = ON;"
        "PRAGMA secure_delete = ON",
        path);
    execute(opened, JournalSizeLimit, path);
    setCheckpointAtClose(opened, true);
    return database;
}

void distrustSchema(sqlite3* database)
{
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    // What a file defines takes no more than this. A map of 100 MB fits, and VACUUM attaches one
    // database.
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, 512 * 1024 * 1024);
    sqlite3_limit(database, SQLITE_LIMIT_EXPR_DEPTH, 200);
    sqlite3_limit(database, SQLITE_LIMIT_ATTACHED, 1);
    sqlite3_limit(database, SQLITE_LIMIT_WORKER_THREADS, 0);
}

void setWaiting(sqlite3* database, bool on)
{
    sqlite3_busy_handler(database, on ? waitForOtherProcess : nullptr, nullptr);
}

void setCheckpointAtClose(sqlite3* database, bool on)
{
    sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, on ? 0 : 1, nullptr);
}

bool mayHaveLeftCommit(sqlite3* database)
{
    // Not if the disk is full: then the commit itself could not be written.
    const int code = sqlite3_errcode(database) & 0xff;
    return code == SQLITE_IOERR || code == SQLITE_NOMEM;
}

bool commitNothing(sqlite3* database) noexcept
{
    try {
        if (queryText(database, "PRAGMA journal_mode", {}) != u"wal")
            return false;
        execute(database, "BEGIN IMMEDIATE", {});
        const auto version = queryNumber(database, "PRAGMA user_version", {});
        // Unlike an UPDATE, this writes a page even if the value is the same.
        const QByteArray sql = "PRAGMA user_version = " + QByteArray::number(version) + "; COMMIT";
        execute(database, sql.constData(), {});
        return true;
    } catch (const DatabaseError&) {
        if (sqlite3_get_autocommit(database) == 0)
            sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
        return false;
    }
}

QString leftCommitWarning()
{
    return u"What was written may come back when the database is opened again."_s;
}

void execute(sqlite3* database, const char* sql, const QString& path)
{
    if (sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw databaseError(database, path);
}

StatementHandle prepare(sqlite3* database, const char* sql, const QString& path)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) != SQLITE_OK)
        throw databaseError(database, path);
    return StatementHandle(statement);
}

long long queryNumber(sqlite3* database, const char* sql, const QString& path)
{
    const StatementHandle statement = prepare(database, sql, path);
    return stepOrThrow(database, statement, path) ? sqlite3_column_int64(statement.get(), 0) : 0;
}

QString queryText(sqlite3* database, const char* sql, const QString& path)
{
    const StatementHandle statement = prepare(database, sql, path);
    return stepOrThrow(database, statement, path) ? textAt(statement.get(), 0) : QString();
}

void forEachRow(
    sqlite3* database, const char* sql, const QString& path,
    const std::function<void(sqlite3_stmt*)>& use)
{
    const StatementHandle statement = prepare(database, sql, path);
    while (stepOrThrow(database, statement, path))
        use(statement.get());
}

QString textAt(sqlite3_stmt* row, int column)
{
    return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(row, column)));
}

QStringList queryDamage(sqlite3* database, const char* check, const QString& path)
{
    QStringList findings;
    forEachRow(database, check, path, [&](sqlite3_stmt* row) {
        QString finding = textAt(row, 0).simplified();
        if (isFailedRead(finding))
            throw databaseError(base::FileError(path, u"Cannot read the database"_s, EIO));
        finding.remove(u"*** in database main *** "_s);
        if (finding != u"ok")
            findings += finding;
    });
    return findings;
}

StoreFingerprint fingerprintOf(const QString& path)
{
    StoreFingerprint all{};
    auto next = all.begin();
    for (const QString& file : {path, path + u"-wal"_s}) {
        const auto status = base::statusOf(file, base::Links::Follow).value_or(base::FileStatus());
        *next++ = status.size;
        *next++ = status.modified.seconds;
        *next++ = status.modified.nanoseconds;
    }
    return all;
}

} // namespace sync::database
