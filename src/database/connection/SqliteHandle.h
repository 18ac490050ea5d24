#pragma once

#include <QString>
#include <QStringList>

#include <array>
#include <chrono>
#include <functional>
#include <memory>

struct sqlite3;
struct sqlite3_stmt;

namespace sync::database {

/// How long a writer waits for other writers before its statement fails.
constexpr std::chrono::seconds BusyTimeout{5};

struct SqliteCloser
{
    void operator()(sqlite3* database) const noexcept;
};
struct SqliteFinalizer
{
    void operator()(sqlite3_stmt* statement) const noexcept;
};

/// An owned connection of the SQLite library.
using SqliteHandle = std::unique_ptr<sqlite3, SqliteCloser>;

/// An owned prepared statement. Destroy it before its connection.
using StatementHandle = std::unique_ptr<sqlite3_stmt, SqliteFinalizer>;

/// Lets a WAL that one large transaction has enlarged shrink again.
constexpr auto JournalSizeLimit = "PRAGMA journal_size_limit = 67108864";

/// Whether a connection lets others use the file between its statements.
enum class Locking {
    Shared,
    Exclusive, ///< Needs no shared memory for the WAL; fails while others have a WAL open.
};

/// A connection for one thread at a time, set up like all of ours; the source explains each
/// setting. Throws DatabaseError, also if the file can only be read.
SqliteHandle openConnection(const QString& path, Locking locking = Locking::Shared);

/// For a file that may come from somebody else, or be damaged (sqlite.org/security.html). No
/// trigger runs, nothing that it defines calls functions that do more than compute, no statement
/// changes the schema but by CREATE, ALTER and DROP, a mistyped name in double quotes is an error
/// and not a text, and what a statement may take is limited.
void distrustSchema(sqlite3* database);

/// Makes the statements of the connection wait for other processes, up to the busy timeout, or not
/// at all. A new connection waits.
void setWaiting(sqlite3* database, bool on);

/// Whether closing the connection copies the WAL into the file and removes it, if nobody else has
/// the file open by then; a new connection does. Otherwise the files stay as they are.
void setCheckpointAtClose(sqlite3* database, bool on);

/// True if the last error of a connection may have left a commit on the disk: it is written, but a
/// sync or the growth of the WAL index has failed.
bool mayHaveLeftCommit(sqlite3* database);

/// Commits to the WAL without a change. Such a commit takes the place of one that was left, so that
/// nobody finds that after a crash, or when the store is opened again. False if it is not on the
/// disk, or without a WAL.
bool commitNothing(sqlite3* database) noexcept;

/// For the text of an error, if that left one stays.
QString leftCommitWarning();

/// Runs SQL text of one or more statements; throws DatabaseError.
void execute(sqlite3* database, const char* sql, const QString& path);

/// Prepares one statement; throws DatabaseError.
StatementHandle prepare(sqlite3* database, const char* sql, const QString& path);

/// Column 0 of the first row of a query, 0 without a row; throws DatabaseError.
long long queryNumber(sqlite3* database, const char* sql, const QString& path);

/// Column 0 of the first row of a query, empty without a row; throws DatabaseError.
QString queryText(sqlite3* database, const char* sql, const QString& path);

/// Calls `use` for each row of a query; throws DatabaseError.
void forEachRow(
    sqlite3* database, const char* sql, const QString& path,
    const std::function<void(sqlite3_stmt*)>& use);

/// A column of the current row as text; NULL as an empty one.
QString textAt(sqlite3_stmt* row, int column);

/// The findings of a check such as "PRAGMA integrity_check"; empty if all is well. Throws
/// DatabaseError, also if a page could not be read.
QStringList queryDamage(sqlite3* database, const char* check, const QString& path);

/// Differs between two calls if anybody has written to the store meanwhile: sizes and times of the
/// file and its WAL. For reads without locks.
using StoreFingerprint = std::array<long long, 6>;
StoreFingerprint fingerprintOf(const QString& path);

} // namespace sync::database
