#include <database/sqlite/SqliteHandle.h>

#include <database/sqlite/SqliteError.h>

#include <QFile>
#include <QUrl>

#include <sqlite3.h>

#include <chrono>
#include <thread>

namespace sync::database {

namespace {

// Writers of other processes are waited for in steps that start short: most of their transactions
// take less than a millisecond, and SQLite's own handler sleeps for up to 100 ms at a time.
int waitForOtherProcess(void* /*context*/, int attempt)
{
    using namespace std::chrono_literals;
    using Clock = std::chrono::steady_clock;
    static thread_local Clock::time_point start;
    if (attempt == 0)
        start = Clock::now();
    std::this_thread::sleep_for(250us);
    return Clock::now() - start < BusyTimeout ? 1 : 0;
}

StatementHandle prepareOrThrow(sqlite3* database, const char* sql, const QString& path)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) != SQLITE_OK)
        throw databaseError(database, path);
    return StatementHandle(statement);
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

} // namespace

void SqliteCloser::operator()(sqlite3* database) const noexcept
{
    sqlite3_close_v2(database);
}

void SqliteFinalizer::operator()(sqlite3_stmt* statement) const noexcept
{
    sqlite3_finalize(statement);
}

SqliteHandle openConnection(const QString& path)
{
    // NOMUTEX: a connection is used by one thread at a time, which the pool sees to.
    constexpr int Flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;
    sqlite3* opened = nullptr;
    const int result =
        sqlite3_open_v2(QFile::encodeName(path).constData(), &opened, Flags, nullptr);
    SqliteHandle database(opened);
    if (result != SQLITE_OK)
        throw databaseError(opened, path);

    sqlite3_extended_result_codes(opened, 1);
    sqlite3_busy_handler(opened, waitForOtherProcess, nullptr);
    // A checkpoint of ours runs only while the write lock is held: see LogCheckpointer.
    sqlite3_wal_autocheckpoint(opened, 0);
    sqlite3_db_config(opened, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    // synchronous: a commit is on the disk when it returns. fullfsync: also on macOS, where
    // fsync() stops at the drive's cache. temp_store: no copy of a setting lands in /tmp.
    // journal_size_limit: a log that one large transaction has blown up shrinks again.
    execute(
        opened,
        "PRAGMA synchronous = FULL; PRAGMA fullfsync = ON; PRAGMA temp_store = MEMORY;"
        "PRAGMA cache_size = -16384; PRAGMA mmap_size = 0; PRAGMA journal_size_limit = 33554432;",
        path);
    return database;
}

SqliteHandle openForReading(const QString& path, LogBeside log)
{
    // Through SQLite in any case, as closing a plain descriptor would drop the locks that this
    // process holds on the file (sqlite.org/howtocorrupt.html, "Posix advisory locks").
    QByteArray uri = "file://" + QUrl::toPercentEncoding(path, "/") + "?mode=ro";
    if (log == LogBeside::Ignored)
        uri += "&immutable=1";
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(
        uri.constData(), &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX,
        nullptr);
    SqliteHandle database(opened);
    if (result != SQLITE_OK)
        throw databaseError(opened, path);
    sqlite3_extended_result_codes(opened, 1);
    return database;
}

void execute(sqlite3* database, const char* sql, const QString& path)
{
    if (sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw databaseError(database, path);
}

long long queryNumber(sqlite3* database, const char* sql, const QString& path)
{
    const StatementHandle statement = prepareOrThrow(database, sql, path);
    return stepOrThrow(database, statement, path) ? sqlite3_column_int64(statement.get(), 0) : 0;
}

QString queryText(sqlite3* database, const char* sql, const QString& path)
{
    const StatementHandle statement = prepareOrThrow(database, sql, path);
    if (!stepOrThrow(database, statement, path))
        return {};
    return QString::fromUtf8(
        reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0)));
}

} // namespace sync::database
