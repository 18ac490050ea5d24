#pragma once

#include <database/connection/PreparedStatement.h>
#include <database/connection/SqliteError.h>
#include <database/connection/SqliteHandle.h>

#include <QHash>
#include <QString>
#include <QStringList>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

namespace sync::database {

/// A connection with its prepared statements, for one thread at a time.
class SqliteConnection
{
public:
    /// Increments `commits` with each of its own to the log.
    SqliteConnection(SqliteHandle opened, std::atomic<std::uint32_t>& commits);
    ~SqliteConnection();

    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    sqlite3* handle() const { return database.get(); }

    /// The prepared statement of a text, to be given back by release(). Null when the text does
    /// not prepare, with the reason in `error`.
    PreparedStatement* acquire(const QString& sql, Failure& error);

    /// Resets a statement, forgets its values, and keeps it for the next use of its text.
    void release(PreparedStatement* statement) noexcept;

    /// Runs one of our own statements without a result, such as COMMIT. False when it fails.
    bool run(const char* sql) noexcept;

    /// How many pages the log had after the last commit of this connection.
    int logPages() const { return pagesInLog; }

private:
    PreparedStatement* find(const QString& sql);
    PreparedStatement*& likelyPlace(const QString& sql);
    int authorize(int action, const char* first, const char* second, const char* schema);
    std::unique_ptr<PreparedStatement> prepare(const QString& sql, Failure& error);
    void evictLeastRecentlyUsed();

    SqliteHandle database;
    std::atomic<std::uint32_t>& commits;
    QHash<QString, std::shared_ptr<PreparedStatement>> statements; // by text
    // Of those, the last one that was found for a text in such a place in memory.
    std::array<PreparedStatement*, 64> likely{};
    std::uint64_t uses = 0;
    int pagesInLog = 0;
    // While a caller's text is prepared: why the authorizer refused it, and what it writes.
    bool preparing = false;
    QString refusal;
    QStringList writtenTables;
};

} // namespace sync::database
