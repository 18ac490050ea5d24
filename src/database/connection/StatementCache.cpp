#include <database/connection/StatementCache.h>

#include <base/LockGuard.h>
#include <database/connection/SqliteError.h>
#include <database/schema/Tables.h>

#include <sqlite3.h>

#include <algorithm>
#include <cstring>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

// More than the managers have statements, so only a host's own ones are ever evicted.
constexpr std::size_t MaximumCachedStatements = 256;

bool isBlank(QByteArrayView text)
{
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character == ';' || character == ' ' || (character >= '\t' && character <= '\r');
    });
}

// Why a host's statement may not run; empty when it may. The arguments are those of the authorizer
// (sqlite.org/c3ref/c_alter_table.html).
QString refusalOf(int action, const char* first, const char* second)
{
    if (action == SQLITE_TRANSACTION || action == SQLITE_SAVEPOINT)
        return u"a transaction is begun and ended by GetDatabase() or a TransactionalScope, which "
               u"know who writes, and not by a statement"_s;
    if (action != SQLITE_PRAGMA)
        return {};
    // Settings on which durability, the checkpoints and the marks of the file depend. Reading them
    // is allowed.
    static const QStringList kept{
        u"application_id"_s,     u"checkpoint_fullfsync"_s, u"fullfsync"_s,
        u"journal_mode"_s,       u"journal_size_limit"_s,   u"locking_mode"_s,
        u"schema_version"_s,     u"synchronous"_s,          u"user_version"_s,
        u"wal_autocheckpoint"_s, u"wal_checkpoint"_s,       u"writable_schema"_s};
    const QString pragma = QString::fromUtf8(first).toLower();
    if (!kept.contains(pragma) || (!second && pragma != u"wal_checkpoint"))
        return {};
    return u"the setting \"%1\" belongs to the store and is not changed by a statement"_s.arg(
        pragma);
}

bool isWrite(int action)
{
    return action == SQLITE_INSERT || action == SQLITE_UPDATE || action == SQLITE_DELETE;
}

// Neither a table of SQLite's own, nor one that only this connection has.
bool isTableOfMain(const char* table, const char* schema)
{
    return schema && std::strcmp(schema, "main") == 0 && sqlite3_strnicmp(table, "sqlite_", 7) != 0;
}

} // namespace

StatementLoan::StatementLoan(
    StatementCache& cache, CachedStatement* place, std::unique_ptr<PreparedStatement> lent)
    : cache(&cache)
    , place(place)
    , statement(std::move(lent))
    , thread(std::this_thread::get_id())
{
}

StatementLoan& StatementLoan::operator=(StatementLoan&& other) noexcept
{
    if (this != &other) {
        if (statement)
            giveBack();
        cache = other.cache;
        place = other.place;
        statement = std::move(other.statement);
        thread = other.thread;
    }
    return *this;
}

void StatementLoan::giveBack() noexcept
{
    if (std::this_thread::get_id() == thread)
        cache->takeBack(place, std::move(statement));
    else
        cache->takeBackLater(place, std::move(statement));
}

StatementCache::StatementCache(sqlite3* database)
    : database(database)
{
    sqlite3_set_authorizer(
        database,
        [](void* self, int action, const char* first, const char* second, const char* schema,
           const char* program) {
            return static_cast<StatementCache*>(self)->authorize(
                action, first, second, schema, program);
        },
        this);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 1, nullptr);
}

StatementLoan StatementCache::acquire(const QString& sql, Failure& error)
{
    takeReturned();
    CachedStatement* known = find(sql);
    if (known && known->statement) {
        known->lastUse = ++uses;
        return {*this, known, std::move(known->statement)};
    }
    std::unique_ptr<PreparedStatement> fresh = prepare(sql, error);
    if (!fresh)
        return {};
    // Two uses of a text at the same time are rare: the second statement is not kept.
    if (!known) {
        if (statements.size() >= MaximumCachedStatements)
            evictLeastRecentlyUsed();
        known = &statements[fresh->text()];
        known->lastUse = ++uses;
        return {*this, known, std::move(fresh)};
    }
    return {*this, nullptr, std::move(fresh)};
}

CachedStatement* StatementCache::find(const QString& sql)
{
    // The texts of managers are constants, each always at the same address. Comparing one with
    // the last text from its address, instead of hashing it, saves 8.8 % of a lookup's instructions
    // and 11 % of a bulk addition's (callgrind, release build).
    constexpr int LineBits = 6; // no two texts begin in the same 64 bytes
    auto*& place =
        likely[(reinterpret_cast<std::uintptr_t>(sql.constData()) >> LineBits) % likely.size()];
    if (!place || !isSame(place->first, sql)) {
        const auto found = statements.find(sql);
        place = found == statements.end() ? nullptr : &*found;
    }
    return place ? &place->second : nullptr;
}

void StatementCache::takeReturned() noexcept
{
    if (!anyReturned)
        return;
    const base::LockGuard lock(mutex);
    for (auto& [place, statement] : returned)
        takeBack(place, std::move(statement));
    returned.clear();
    anyReturned = false;
}

void StatementCache::takeBack(
    CachedStatement* place, std::unique_ptr<PreparedStatement> statement) noexcept
{
    statement->reset();
    // What SQLite has bound stays, and is bound again before the statement runs.
    statement->values.clear();
    if (!place)
        return;
    Q_ASSERT(!place->statement);
    place->statement = std::move(statement);
}

void StatementCache::takeBackLater(
    CachedStatement* place, std::unique_ptr<PreparedStatement> statement)
{
    const base::LockGuard lock(mutex);
    returned.emplace_back(place, std::move(statement));
    anyReturned = true;
}

// Called for every column, table and setting that a statement uses, including those of its
// triggers, and again when SQLite prepares a statement for a schema that has changed.
int StatementCache::authorize(
    int action, const char* first, const char* second, const char* schema, const char* program)
{
    // One that another program has added since the store was opened.
    const bool isForeign = isWrite(action) && program && isForeignTrigger(program);
    if (!preparing)
        return isForeign ? SQLITE_DENY : SQLITE_OK;
    if (action == SQLITE_CREATE_TEMP_TRIGGER)
        temporaryTriggers.insert(first);
    refusal = isForeign
                  ? u"the trigger %1 does not belong to the store"_s.arg(QString::fromUtf8(program))
                  : refusalOf(action, first, second);
    if (!refusal.isEmpty())
        return SQLITE_DENY;
    if (isWrite(action) && isTableOfMain(first, schema))
        writtenKinds |= recordKindOf(QString::fromUtf8(first));
    return SQLITE_OK;
}

bool StatementCache::isForeignTrigger(const char* program) const
{
    return std::none_of(
               OwnTriggers.begin(), OwnTriggers.end(),
               [program](const char* own) { return std::strcmp(own, program) == 0; }) &&
           !temporaryTriggers.contains(program);
}

std::unique_ptr<PreparedStatement> StatementCache::prepare(const QString& sql, Failure& error)
{
    const QByteArray text = sql.toUtf8();
    sqlite3_stmt* prepared = nullptr;
    const char* tail = nullptr;
    preparing = true;
    const int result = sqlite3_prepare_v3(
        database, text.constData(), static_cast<int>(text.size()), SQLITE_PREPARE_PERSISTENT,
        &prepared, &tail);
    preparing = false;
    const QString refused = std::exchange(refusal, {});
    const RecordKinds written = std::exchange(writtenKinds, {});
    StatementHandle owned(prepared);
    if (result != SQLITE_OK) {
        error = refused.isEmpty() ? failureOf(database) : Failure{.text = refused};
        return nullptr;
    }
    if (!prepared || !isBlank(QByteArrayView(tail, text.constData() + text.size()))) {
        error = {.text = u"a query takes exactly one statement"_s};
        return nullptr;
    }

    return std::make_unique<PreparedStatement>(std::move(owned), sql, written);
}

void StatementCache::evictLeastRecentlyUsed()
{
    auto oldest = statements.end();
    for (auto candidate = statements.begin(); candidate != statements.end(); ++candidate) {
        const bool older =
            oldest == statements.end() || candidate->second.lastUse < oldest->second.lastUse;
        if (candidate->second.statement && older)
            oldest = candidate;
    }
    if (oldest == statements.end())
        return;
    std::replace(
        likely.begin(), likely.end(), &*oldest, static_cast<Statements::value_type*>(nullptr));
    statements.erase(oldest);
}

} // namespace sync::database
