#include <database/connection/SqliteConnection.h>

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

// More than the managers have statements, so that only a host's own ones are ever evicted.
constexpr qsizetype MaximumCachedStatements = 256;

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
    // What durability, the checkpoints and the marks of the file rest on. Reading them is fine.
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

// Not one of SQLite's own, nor one that only this connection has.
bool isTableOfMain(const char* table, const char* schema)
{
    return schema && std::strcmp(schema, "main") == 0 && sqlite3_strnicmp(table, "sqlite_", 7) != 0;
}

} // namespace

SqliteConnection::SqliteConnection(SqliteHandle opened, std::atomic<std::uint32_t>& commits)
    : database(std::move(opened))
    , commits(commits)
{
    sqlite3_wal_hook(
        handle(),
        [](void* self, sqlite3*, const char*, int pages) {
            auto* const connection = static_cast<SqliteConnection*>(self);
            ++connection->commits;
            connection->pagesInLog = pages;
            return SQLITE_OK;
        },
        this);
    sqlite3_set_authorizer(
        handle(),
        [](void* self, int action, const char* first, const char* second, const char* schema,
           const char*) {
            return static_cast<SqliteConnection*>(self)->authorize(action, first, second, schema);
        },
        this);
}

SqliteConnection::~SqliteConnection() = default;

PreparedStatement* SqliteConnection::acquire(const QString& sql, Failure& error)
{
    PreparedStatement* const known = find(sql);
    if (known && !known->inUse) {
        known->inUse = true;
        known->lastUse = ++uses;
        return known;
    }
    std::unique_ptr<PreparedStatement> fresh = prepare(sql, error);
    if (!fresh)
        return nullptr;
    fresh->inUse = true;
    // A second use of a text beside the first one is rare: it gets a statement for itself.
    if (known)
        return fresh.release();

    fresh->cached = true;
    fresh->lastUse = ++uses;
    if (statements.size() >= MaximumCachedStatements)
        evictLeastRecentlyUsed();
    const QString key = fresh->text();
    return statements.insert(key, std::move(fresh))->get();
}

PreparedStatement* SqliteConnection::find(const QString& sql)
{
    // The texts of managers are constants, each always in the same place. To compare one with the
    // text that was there before takes a tenth of what it takes to hash it.
    PreparedStatement*& place = likelyPlace(sql);
    if (!place || !place->hasText(sql)) {
        const auto found = statements.constFind(sql);
        place = found == statements.constEnd() ? nullptr : found->get();
    }
    return place;
}

PreparedStatement*& SqliteConnection::likelyPlace(const QString& sql)
{
    constexpr int LineBits = 6; // no two texts begin in the same 64 bytes
    return likely[(reinterpret_cast<std::uintptr_t>(sql.constData()) >> LineBits) % likely.size()];
}

void SqliteConnection::release(PreparedStatement* statement) noexcept
{
    statement->reset();
    // What SQLite has bound stays, and is bound anew before it runs again.
    statement->values.clear();
    statement->inUse = false;
    if (!statement->cached)
        delete statement;
}

bool SqliteConnection::run(const char* sql) noexcept
{
    return sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// Asked for every column, table and setting that a statement uses, those of its triggers included.
int SqliteConnection::authorize(
    int action, const char* first, const char* second, const char* schema)
{
    if (!preparing)
        return SQLITE_OK;
    refusal = refusalOf(action, first, second);
    if (!refusal.isEmpty())
        return SQLITE_DENY;
    if (isWrite(action) && isTableOfMain(first, schema)) {
        const QString table = QString::fromUtf8(first);
        if (!writtenTables.contains(table))
            writtenTables.append(table);
    }
    return SQLITE_OK;
}

std::unique_ptr<PreparedStatement> SqliteConnection::prepare(const QString& sql, Failure& error)
{
    const QByteArray text = sql.toUtf8();
    sqlite3_stmt* prepared = nullptr;
    const char* tail = nullptr;
    preparing = true;
    const int result = sqlite3_prepare_v3(
        handle(), text.constData(), static_cast<int>(text.size()), SQLITE_PREPARE_PERSISTENT,
        &prepared, &tail);
    preparing = false;
    const QString refused = std::exchange(refusal, {});
    QStringList written = std::exchange(writtenTables, {});
    StatementHandle owned(prepared);
    if (result != SQLITE_OK) {
        error = refused.isEmpty() ? failureOf(handle()) : Failure{.text = refused};
        return nullptr;
    }
    if (!prepared || !isBlank(QByteArrayView(tail, text.constData() + text.size()))) {
        error = {.text = u"a query takes exactly one statement"_s};
        return nullptr;
    }

    return std::make_unique<PreparedStatement>(std::move(owned), sql, std::move(written));
}

void SqliteConnection::evictLeastRecentlyUsed()
{
    auto oldest = statements.end();
    for (auto candidate = statements.begin(); candidate != statements.end(); ++candidate) {
        const bool older = oldest == statements.end() || (*candidate)->lastUse < (*oldest)->lastUse;
        if (!(*candidate)->inUse && older)
            oldest = candidate;
    }
    if (oldest == statements.end())
        return;
    std::replace(
        likely.begin(), likely.end(), oldest->get(), static_cast<PreparedStatement*>(nullptr));
    statements.erase(oldest);
}

} // namespace sync::database
