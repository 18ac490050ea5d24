#pragma once

#include <QString>

#include <chrono>
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

/// An owned prepared statement. It has to go before its connection.
using StatementHandle = std::unique_ptr<sqlite3_stmt, SqliteFinalizer>;

/// A connection for one thread at a time, set up as every one of ours: see the source for what
/// each setting is for. It has not touched the file's content yet. Throws DatabaseError.
SqliteHandle openConnection(const QString& path);

/// Whether a connection that only reads looks at what lies beside the file.
enum class LogBeside {
    Read,    ///< As every program does: it takes part in the locking.
    Ignored, ///< The file alone, without a lock, and without anything being written beside it.
};

/// A connection that reads a file. Throws DatabaseError.
SqliteHandle openForReading(const QString& path, LogBeside log);

/// Runs SQL text of one or more statements; throws DatabaseError.
void execute(sqlite3* database, const char* sql, const QString& path);

/// Column 0 of the first row of a query, 0 without a row; throws DatabaseError.
long long queryNumber(sqlite3* database, const char* sql, const QString& path);

/// Column 0 of the first row of a query, empty without a row; throws DatabaseError.
QString queryText(sqlite3* database, const char* sql, const QString& path);

} // namespace sync::database
