#pragma once

#include <database/sqlite/SqliteError.h>
#include <database/sqlite/SqliteHandle.h>

#include <QHash>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>

namespace sync::database {

/// A statement that stays prepared between its uses.
struct PreparedStatement
{
    StatementHandle handle;
    QStringList placeholders; // parameter number - 1 -> its name with the colon
    bool readOnly = true;
    bool inUse = false;
    bool cached = false;
    std::uint64_t lastUse = 0;
};

/// A connection with its prepared statements, for one thread at a time.
class SqliteConnection
{
public:
    /// Throws DatabaseError.
    explicit SqliteConnection(const QString& path);
    ~SqliteConnection();

    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    sqlite3* handle() const { return database.get(); }

    /// The prepared statement of a text, to be given back by release(). Null when the text does
    /// not prepare, with the reason in `error`.
    PreparedStatement* acquire(const QString& sql, Failure& error);

    /// Resets a statement, frees what it has bound, and keeps it for the next use of its text.
    void release(PreparedStatement* statement) noexcept;

    /// Runs one of our own statements without a result, such as COMMIT. False when it fails.
    bool run(const char* sql) noexcept;

    /// How many pages the log had after the last commit of this connection.
    int logPages() const { return pagesInLog; }

private:
    std::unique_ptr<PreparedStatement> prepare(const QString& sql, Failure& error);
    void evictLeastRecentlyUsed();

    SqliteHandle database;
    QHash<QString, std::shared_ptr<PreparedStatement>> statements; // by text
    std::uint64_t uses = 0;
    int pagesInLog = 0;
    // While a caller's text is prepared: why the authorizer refused it.
    bool preparing = false;
    QString refusal;
};

} // namespace sync::database
