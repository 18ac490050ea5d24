#include <database/maintenance/Salvage.h>

#include <database/connection/SqliteError.h>
#include <database/connection/SqliteHandle.h>
#include <database/schema/Tables.h>

#include <QByteArrayList>
#include <QFile>

#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <optional>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Id = qint64;

constexpr Id FirstPossibleId = std::numeric_limits<Id>::min();
constexpr Id NoId = std::numeric_limits<Id>::max();
// Records have ids of 32 bits.
constexpr Id LargestId = std::numeric_limits<qint32>::max();
// If the last assigned id cannot be read, this many ids after the last one seen are skipped: other
// tables may refer to a lost row.
constexpr Id UnknownIds = 1'000'000;

StatementHandle prepare(sqlite3* database, const QByteArray& sql)
{
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database, sql.constData(), -1, &statement, nullptr);
    return StatementHandle(statement);
}

/// Ends the read of a statement before another one runs.
class Reset
{
public:
    explicit Reset(const StatementHandle& statement)
        : statement(statement.get())
    {
    }
    ~Reset() { sqlite3_reset(statement); }
    Q_DISABLE_COPY_MOVE(Reset)

private:
    sqlite3_stmt* const statement;
};

QByteArrayList columnsOf(sqlite3* database, const char* table)
{
    QByteArrayList columns;
    const auto statement = prepare(
        database, "SELECT name FROM pragma_table_info('" + QByteArray(table) + "') ORDER BY cid");
    while (statement && sqlite3_step(statement.get()) == SQLITE_ROW)
        columns += reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
    return columns;
}

// The id column first, as in every table of ours.
QByteArrayList commonColumns(sqlite3* damaged, sqlite3* fresh, const char* table)
{
    const QByteArrayList there = columnsOf(damaged, table);
    QByteArrayList columns = columnsOf(fresh, table);
    columns.removeIf([&there](const QByteArray& column) { return !there.contains(column); });
    return columns;
}

// The last id that a table has assigned; nothing if it cannot be read.
std::optional<Id> lastGivenId(sqlite3* database, const char* table)
{
    const auto statement = prepare(
        database, "SELECT max(seq) FROM sqlite_sequence WHERE name = '" + QByteArray(table) + "'");
    if (!statement || sqlite3_step(statement.get()) != SQLITE_ROW)
        return {};
    const Id id = sqlite3_column_int64(statement.get(), 0);
    return id >= 0 && id <= LargestId ? std::optional(id) : std::nullopt;
}

/// Copies the rows of one table around the parts that cannot be read.
class TableSalvage
{
public:
    TableSalvage(sqlite3* damaged, sqlite3* fresh, const char* table, const QString& freshPath);

    /// Looks for ids up to the last one that may have been assigned.
    void copyRows(Id lastId);

    qint64 rows() const { return copiedRows; }
    Id largestCopiedId() const { return largestId; }
    const QList<DatabaseBackups::IdRange>& unreadableIds() const { return unreadable; }

private:
    bool copyUpFrom(Id first);
    Id copyDownTo(Id above, Id below);
    Id findAfterDamage(Id damage, Id lastId);
    void copyRow(const StatementHandle& row);

    sqlite3* const fresh;
    const QString freshPath;
    StatementHandle up;
    StatementHandle down;
    StatementHandle insert;

    qint64 copiedRows = 0;
    Id largestId = 0;
    QList<DatabaseBackups::IdRange> unreadable;
};

TableSalvage::TableSalvage(
    sqlite3* damaged, sqlite3* fresh, const char* table, const QString& freshPath)
    : fresh(fresh)
    , freshPath(freshPath)
{
    const QByteArrayList columns = commonColumns(damaged, fresh, table);
    if (columns.isEmpty())
        return;
    // Reads only the tree of the rows: an index may be damaged separately.
    const QByteArray select =
        "SELECT " + columns.join(", ") + " FROM " + table + " NOT INDEXED WHERE ";
    up = prepare(damaged, select + "id >= ?1 ORDER BY id");
    down = prepare(damaged, select + "id > ?1 AND id < ?2 ORDER BY id DESC");
    insert = prepare(
        fresh, "INSERT OR IGNORE INTO " + QByteArray(table) + " (" + columns.join(", ") +
                   ") VALUES (?" + QByteArray(", ?").repeated(columns.size() - 1) + ")");
}

void TableSalvage::copyRows(Id lastId)
{
    Id first = FirstPossibleId;
    while (!up || !copyUpFrom(first)) {
        const Id above = largestId;
        const Id found = up ? findAfterDamage(std::max(above, first), lastId) : NoId;
        const Id readable = up ? copyDownTo(above, found) : NoId;
        const Id lastUnreadable = std::min(readable - 1, lastId);
        if (lastUnreadable > above)
            unreadable.append({above + 1, lastUnreadable});
        if (found == NoId)
            return;
        first = found;
    }
}

// False if it ended at something that cannot be read.
bool TableSalvage::copyUpFrom(Id first)
{
    const Reset reset(up);
    sqlite3_bind_int64(up.get(), 1, first);
    for (int result = sqlite3_step(up.get()); result != SQLITE_DONE;
         result = sqlite3_step(up.get())) {
        // In a damaged tree the ids may go round in circles.
        if (result != SQLITE_ROW || sqlite3_column_int64(up.get(), 0) < first)
            return false;
        copyRow(up);
        first = sqlite3_column_int64(up.get(), 0) + 1;
    }
    return true;
}

// Copies the rows between two ids, from the last one backwards. Returns the id from which on all
// are copied.
Id TableSalvage::copyDownTo(Id above, Id below)
{
    const Reset reset(down);
    sqlite3_bind_int64(down.get(), 1, above);
    sqlite3_bind_int64(down.get(), 2, below);
    for (int result = sqlite3_step(down.get()); result != SQLITE_DONE;
         result = sqlite3_step(down.get())) {
        const Id id = sqlite3_column_int64(down.get(), 0);
        if (result != SQLITE_ROW || id >= below)
            return below;
        copyRow(down);
        below = id;
    }
    return above + 1;
}

// The next id that can be read, searched in growing steps: a damaged page holds a few rows or,
// higher up in the tree, leads to thousands. NoId if none is left.
Id TableSalvage::findAfterDamage(Id damage, Id lastId)
{
    Id step = 1;
    for (Id id = damage + 1; id <= lastId; id += step, step *= 2) {
        const Reset reset(up);
        sqlite3_bind_int64(up.get(), 1, id);
        const int result = sqlite3_step(up.get());
        if (result == SQLITE_DONE)
            return NoId;
        const Id found = sqlite3_column_int64(up.get(), 0);
        if (result == SQLITE_ROW && found >= id)
            return found;
    }
    return NoId;
}

void TableSalvage::copyRow(const StatementHandle& row)
{
    const Reset reset(insert);
    const int columns = sqlite3_column_count(row.get());
    for (int column = 0; column < columns; ++column)
        sqlite3_bind_value(insert.get(), column + 1, sqlite3_column_value(row.get(), column));
    if (sqlite3_step(insert.get()) != SQLITE_DONE)
        throw databaseError(fresh, freshPath);
    ++copiedRows;
    largestId = std::max(largestId, Id(sqlite3_column_int64(row.get(), 0)));
}

void setLastGivenId(sqlite3* database, const char* table, Id id, const QString& path)
{
    const QByteArray name(table);
    const QByteArray number = QByteArray::number(id);
    const QByteArray sql =
        "INSERT INTO sqlite_sequence (name, seq) SELECT '" + name + "', 0 WHERE NOT EXISTS " +
        "(SELECT 1 FROM sqlite_sequence WHERE name = '" + name + "');" +
        "UPDATE sqlite_sequence SET seq = max(seq, " + number + ") WHERE name = '" + name + "'";
    execute(database, sql.constData(), path);
}

TableSalvage salvageRows(
    sqlite3* damaged, sqlite3* fresh, const char* table, Id lastId, const QString& freshPath)
{
    // The initial rows of a new table stay only if nothing of the old one can be read.
    execute(fresh, "SAVEPOINT whole", freshPath);
    execute(fresh, ("DELETE FROM " + QByteArray(table)).constData(), freshPath);
    TableSalvage salvage(damaged, fresh, table, freshPath);
    salvage.copyRows(lastId);
    if (salvage.rows() == 0 && !salvage.unreadableIds().isEmpty())
        execute(fresh, "ROLLBACK TO whole", freshPath);
    execute(fresh, "RELEASE whole", freshPath);
    return salvage;
}

DatabaseBackups::SalvagedTable salvageTable(
    sqlite3* damaged, sqlite3* fresh, const char* table, const QString& freshPath)
{
    const auto lastGiven = lastGivenId(damaged, table);
    const auto salvage =
        salvageRows(damaged, fresh, table, lastGiven.value_or(LargestId), freshPath);
    const Id lastSeen = salvage.largestCopiedId();
    setLastGivenId(
        fresh, table, lastGiven.value_or(std::min(lastSeen + UnknownIds, LargestId)), freshPath);
    return {QString::fromLatin1(table), salvage.rows(), salvage.unreadableIds()};
}

} // namespace

SqliteHandle openDamaged(const QString& copy)
{
    sqlite3* opened = nullptr;
    sqlite3_open_v2(
        QFile::encodeName(copy).constData(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
        nullptr);
    SqliteHandle database(opened);
    // A writable schema lets SQLite open a damaged file; exclusive, it shares no memory for the
    // WAL.
    if (sqlite3_exec(
            opened,
            "PRAGMA writable_schema = ON; PRAGMA locking_mode = EXCLUSIVE;"
            "PRAGMA temp_store = MEMORY; PRAGMA user_version",
            nullptr, nullptr, nullptr) == SQLITE_OK)
        return database;
    switch (sqlite3_errcode(opened) & 0xff) {
    case SQLITE_CORRUPT:
    case SQLITE_ERROR:
    case SQLITE_NOTADB:
    case SQLITE_READONLY: // as the header of a later file format says
        return nullptr;
    default:
        throw databaseError(opened, copy);
    }
}

QList<DatabaseBackups::SalvagedTable> salvageTables(
    sqlite3* damaged, sqlite3* fresh, const QString& freshPath)
{
    // They would change rows during the copying.
    sqlite3_db_config(fresh, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    QList<DatabaseBackups::SalvagedTable> salvaged;
    execute(fresh, "BEGIN IMMEDIATE", freshPath);
    for (const char* const table : Tables)
        salvaged += salvageTable(damaged, fresh, table, freshPath);
    salvageRows(damaged, fresh, "StoreIdentity", 1, freshPath);
    execute(fresh, "COMMIT", freshPath);
    return salvaged;
}

} // namespace sync::database
