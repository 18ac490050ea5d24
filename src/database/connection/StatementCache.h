#pragma once

#include <database/FailureLog.h>
#include <database/connection/PreparedStatement.h>

#include <QString>

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

namespace sync::database {

class StatementCache;

/// The place in a cache of the statement with one text. It stays while the statement is on loan.
struct CachedStatement
{
    std::unique_ptr<PreparedStatement> statement; // null while on loan
    std::uint64_t lastUse = 0;
};

/// A prepared statement on loan, which returns itself; or none.
class StatementLoan
{
public:
    StatementLoan() = default;
    StatementLoan(StatementLoan&& other) noexcept = default;
    StatementLoan& operator=(StatementLoan&& other) noexcept;
    ~StatementLoan()
    {
        if (statement)
            giveBack();
    }

    explicit operator bool() const { return statement != nullptr; }
    PreparedStatement* operator->() const { return statement.get(); }

private:
    friend class StatementCache;

    StatementLoan(
        StatementCache& cache, CachedStatement* place, std::unique_ptr<PreparedStatement> lent);

    void giveBack() noexcept;

    StatementCache* cache = nullptr;
    CachedStatement* place = nullptr; // null for one that is not kept
    std::unique_ptr<PreparedStatement> statement;
    std::thread::id thread;
};

/// The prepared statements of a connection, used by the one thread that has it on loan.
///
/// Except for a loan that another thread destroys: `mutex` guards the list in which it then waits
/// for the connection's own thread.
class StatementCache
{
public:
    /// From now on triggers run on the connection; foreign ones write nothing.
    explicit StatementCache(sqlite3* database);

    StatementCache(const StatementCache&) = delete;
    StatementCache& operator=(const StatementCache&) = delete;

    /// The prepared statement of a text; none, with the reason in `error`, if it does not prepare.
    StatementLoan acquire(const QString& sql, Failure& error);

    /// Takes back the statements that other threads have released.
    void takeReturned() noexcept;

private:
    friend class StatementLoan;

    using Statements = std::unordered_map<QString, CachedStatement>;

    CachedStatement* find(const QString& sql);
    int authorize(
        int action, const char* first, const char* second, const char* schema, const char* program);
    bool isForeignTrigger(const char* program) const;
    std::unique_ptr<PreparedStatement> prepare(const QString& sql, Failure& error);
    void evictLeastRecentlyUsed();
    void takeBack(CachedStatement* place, std::unique_ptr<PreparedStatement> statement) noexcept;
    void takeBackLater(CachedStatement* place, std::unique_ptr<PreparedStatement> statement);

    sqlite3* const database;
    Statements statements; // by text
    // Of those, the last one that was found for a text in such a place in memory.
    std::array<Statements::value_type*, 64> likely{};
    std::uint64_t uses = 0;
    // While a caller's text is prepared: why the authorizer refused it, and what it writes.
    bool preparing = false;
    QString refusal;
    RecordKinds writtenKinds;
    std::set<std::string> temporaryTriggers; // which the host has made for this connection

    std::mutex mutex;
    std::vector<std::pair<CachedStatement*, std::unique_ptr<PreparedStatement>>> returned;
    std::atomic<bool> anyReturned = false; // read without the mutex, for nearly every statement
};

} // namespace sync::database
