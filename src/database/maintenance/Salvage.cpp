#include <database/maintenance/Salvage.h>

#include <base/system/Files.h>
#include <database/connection/SqliteError.h>
#include <database/connection/SqliteHandle.h>
#include <database/maintenance/DatabasePages.h>
#include <database/schema/Tables.h>

#include <QByteArrayList>
#include <QHash>

#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <vector>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Id = DatabasePages::Id;
using IdRange = DatabaseBackups::IdRange;
using Page = DatabasePages::Page;
using Row = DatabasePages::Row;
using Text = DatabasePages::Text;

// Records have ids of 32 bits.
constexpr Id LargestId = std::numeric_limits<qint32>::max();
// If the last assigned id cannot be read, this many ids after the last one seen are skipped: other
// tables may refer to a lost row.
constexpr Id UnknownIds = 1'000'000;

/// Where the trees of a database begin.
struct Roots
{
    QHash<QByteArray, Page> tables;                     // by name
    QHash<QByteArray, QHash<QByteArray, Page>> indexes; // table -> name -> root
};

struct Column
{
    QByteArray name;
    QByteArray type;
};

// Their rows look alike, apart from a column that says which table they belong to.
std::optional<qint64> fileTypeOf(const QByteArray& table)
{
    static const QByteArrayList tables{
        "FileConfiguration", "GeneratedFileConfiguration", "BaseFileConfiguration"};
    const auto type = tables.indexOf(table);
    return type < 0 ? std::nullopt : std::optional<qint64>(type);
}

// Sorted, without overlaps, and without these ids.
QList<IdRange> without(QList<IdRange> ranges, const std::set<Id>& ids)
{
    std::sort(ranges.begin(), ranges.end(), [](const IdRange& left, const IdRange& right) {
        return left.first < right.first;
    });
    QList<IdRange> left;
    const auto add = [&left](Id first, Id last) {
        if (first > last)
            return;
        if (!left.isEmpty() && first <= left.constLast().last + 1)
            left.last().last = std::max(left.constLast().last, last);
        else
            left.append({first, last});
    };
    for (const IdRange& range : ranges) {
        Id next = range.first;
        for (auto id = ids.lower_bound(next); id != ids.end() && *id <= range.last; ++id) {
            add(next, *id - 1);
            next = *id + 1;
        }
        add(next, range.last);
    }
    return left;
}

void bindValue(const StatementHandle& statement, int column, const DatabasePages::Value& value)
{
    // The value outlives the step.
    sqlite3_stmt* const to = statement.get();
    if (const auto* const number = std::get_if<qint64>(&value))
        sqlite3_bind_int64(to, column, *number);
    else if (const auto* const real = std::get_if<double>(&value))
        sqlite3_bind_double(to, column, *real);
    else if (const auto* const text = std::get_if<Text>(&value))
        sqlite3_bind_text(
            to, column, text->utf8.constData(), int(text->utf8.size()), SQLITE_STATIC);
    else if (const auto* const blob = std::get_if<DatabasePages::Blob>(&value))
        sqlite3_bind_blob(
            to, column, blob->bytes.constData(), int(blob->bytes.size()), SQLITE_STATIC);
    else
        sqlite3_bind_null(to, column);
}

QList<Column> columnsOf(sqlite3* fresh, const QByteArray& table, const QString& path)
{
    QList<Column> columns;
    const QByteArray sql = "SELECT name, type FROM pragma_table_info('" + table + "') ORDER BY cid";
    forEachRow(fresh, sql.constData(), path, [&columns](sqlite3_stmt* row) {
        columns += Column{textAt(row, 0).toLatin1(), textAt(row, 1).toLatin1()};
    });
    return columns;
}

// Every version has its trees where a new database has them, unless the file was rewritten.
Roots rootsOfFresh(sqlite3* fresh, const QString& path)
{
    Roots roots;
    forEachRow(
        fresh, "SELECT type, name, tbl_name, rootpage FROM sqlite_schema WHERE rootpage > 0", path,
        [&roots](sqlite3_stmt* row) {
            const QByteArray name = textAt(row, 1).toLatin1();
            const auto root = static_cast<Page>(sqlite3_column_int64(row, 3));
            if (textAt(row, 0) == u"table")
                roots.tables[name] = root;
            else
                roots.indexes[textAt(row, 2).toLatin1()][name] = root;
        });
    return roots;
}

// What cannot be read of the schema is looked for where a new database has it.
Roots rootsOf(DatabasePages& pages, sqlite3* fresh, const QString& freshPath)
{
    Roots roots = rootsOfFresh(fresh, freshPath);
    pages.readTable(
        1, {.row =
                [&roots](const Row& row) {
                    // type, name, tbl_name, rootpage, sql
                    if (row.values.size() != 5)
                        return false;
                    const auto* const type = std::get_if<Text>(&row.values[0]);
                    const auto* const name = std::get_if<Text>(&row.values[1]);
                    const auto* const table = std::get_if<Text>(&row.values[2]);
                    const auto* const root = std::get_if<qint64>(&row.values[3]);
                    if (!type || !name || !table || !root)
                        return false;
                    if (type->utf8 == "table")
                        roots.tables[name->utf8] = static_cast<Page>(*root);
                    else if (type->utf8 == "index")
                        roots.indexes[table->utf8][name->utf8] = static_cast<Page>(*root);
                    return true;
                },
            .unreadable = [](const DatabasePages::Span&) {}});
    return roots;
}

// table -> the last id that it has assigned, where that can be read
QHash<QByteArray, std::optional<Id>> lastGivenIds(DatabasePages& pages, const Roots& roots)
{
    QHash<QByteArray, std::optional<Id>> ids;
    const auto read = [&ids](const Row& row) {
        const auto* const name = row.values.isEmpty() ? nullptr : std::get_if<Text>(&row.values[0]);
        const auto* const id =
            row.values.size() == 2 ? std::get_if<qint64>(&row.values[1]) : nullptr;
        if (!name || !id || *id < 0 || *id > LargestId)
            return false;
        ids[name->utf8] = std::max(ids.value(name->utf8).value_or(0), *id);
        return true;
    };
    pages.readTable(
        roots.tables.value("sqlite_sequence"),
        {.row = read, .unreadable = [](const DatabasePages::Span&) {}});
    return ids;
}

/// Copies what can be read of one table, and says what is missing.
class TableSalvage
{
public:
    TableSalvage(sqlite3* fresh, QByteArray name, const QString& freshPath);

    /// Copies what its tree leads to.
    void copyTree(DatabasePages& pages, Page root);

    /// Notes which ids an index has.
    void readIndex(DatabasePages& pages, Page root);

    /// Concludes from both, and from the last id that the table has assigned, which ids are
    /// missing.
    void findMissing(std::optional<Id> lastGivenId);

    /// True if these rows look like rows of this table that are missing.
    bool mayLack(const QList<Row>& rows) const;

    /// False if the row cannot be one of this table.
    bool copy(const Row& row);

    /// Notes that there are rows that look like this table's and may belong to another one.
    void leaveStray() { straysLeft = true; }

    /// Keeps the ids of missing rows from being assigned again.
    void keepIdsUsed() const;

    DatabaseBackups::SalvagedTable finish();

    const QByteArray& tableName() const { return name; }

private:
    bool fits(const Row& row) const;
    StatementHandle prepareInsert(qsizetype columnCount) const;
    bool hasWholeIndex() const;
    bool indexesAgree() const;
    Id lastSeenId() const;
    void removeInitialRows();

    sqlite3* const fresh;
    const QByteArray name;
    const QString freshPath;
    const QList<Column> columns;
    std::map<qsizetype, StatementHandle> inserts; // by the number of columns

    /// What an index knows of the table.
    struct Index
    {
        std::set<Id> ids;
        bool isWhole;
    };

    std::set<Id> copied;
    QList<IdRange> unreadable;
    std::vector<Index> indexes;
    bool straysLeft = false;
    std::optional<Id> lastGiven;
    QList<IdRange> missing;
};

TableSalvage::TableSalvage(sqlite3* fresh, QByteArray name, const QString& freshPath)
    : fresh(fresh)
    , name(std::move(name))
    , freshPath(freshPath)
    , columns(columnsOf(fresh, this->name, freshPath))
{
}

void TableSalvage::copyTree(DatabasePages& pages, Page root)
{
    pages.readTable(
        root, {.row = [this](const Row& row) { return copy(row); },
               .unreadable =
                   [this](const DatabasePages::Span& span) {
                       const Id first = std::max<Id>(span.after, 0) + 1;
                       const Id last = std::min(span.last, LargestId);
                       if (first <= last)
                           unreadable.append({first, last});
                   }});
}

void TableSalvage::readIndex(DatabasePages& pages, Page root)
{
    const auto found = pages.readIndex(root);
    std::set<Id> ids(found.ids.begin(), found.ids.end());
    // A row has one entry.
    const bool isWhole = found.whole && qsizetype(ids.size()) == found.ids.size();
    indexes.push_back({std::move(ids), isWhole});
}

// SQLite stores no number in a column of texts. An earlier version may have fewer columns.
bool TableSalvage::fits(const Row& row) const
{
    if (row.values.isEmpty() || row.values.size() > columns.size() ||
        !std::holds_alternative<std::nullptr_t>(row.values.constFirst()))
        return false;
    for (qsizetype column = 1; column < row.values.size(); ++column) {
        const auto& value = row.values[column];
        const bool isNumber =
            std::holds_alternative<qint64>(value) || std::holds_alternative<double>(value);
        if (columns[column].type == "TEXT" && isNumber)
            return false;
    }
    return true;
}

bool TableSalvage::mayLack(const QList<Row>& rows) const
{
    const auto isMissing = [this](const Row& row) {
        return std::any_of(missing.begin(), missing.end(), [&row](const IdRange& range) {
            return row.id >= range.first && row.id <= range.last;
        });
    };
    const auto type = fileTypeOf(name);
    return std::all_of(rows.begin(), rows.end(), [&](const Row& row) {
        if (row.values.size() != columns.size() || !fits(row) || !isMissing(row))
            return false;
        for (qsizetype column = 1; column < row.values.size(); ++column) {
            if (columns[column].type == "INTEGER" &&
                std::holds_alternative<Text>(row.values[column]))
                return false;
            const auto* const number = std::get_if<qint64>(&row.values[column]);
            if (type && number && columns[column].name == "fileType" && *number != *type)
                return false;
        }
        return true;
    });
}

bool TableSalvage::copy(const Row& row)
{
    if (!fits(row))
        return false;
    if (copied.empty())
        removeInitialRows();
    StatementHandle& insert = inserts[row.values.size()];
    if (!insert)
        insert = prepareInsert(row.values.size());
    sqlite3_bind_int64(insert.get(), 1, row.id);
    for (int column = 1; column < row.values.size(); ++column)
        bindValue(insert, column + 1, row.values[column]);
    const int result = sqlite3_step(insert.get());
    sqlite3_reset(insert.get());
    if (result != SQLITE_DONE)
        throw databaseError(fresh, freshPath);
    copied.insert(row.id);
    return true;
}

StatementHandle TableSalvage::prepareInsert(qsizetype columnCount) const
{
    QByteArrayList names;
    for (const Column& column : columns.first(columnCount))
        names += column.name;
    const QByteArray sql = "INSERT OR IGNORE INTO " + name + " (" + names.join(", ") +
                           ") VALUES (?" + QByteArray(", ?").repeated(columnCount - 1) + ")";
    return prepare(fresh, sql.constData(), freshPath);
}

bool TableSalvage::hasWholeIndex() const
{
    return std::any_of(
        indexes.begin(), indexes.end(), [](const Index& index) { return index.isWhole; });
}

// True if all indexes can be read whole and have the same ids, and every row that was copied.
bool TableSalvage::indexesAgree() const
{
    if (indexes.empty())
        return false;
    const std::set<Id>& ids = indexes.front().ids;
    return std::all_of(
               indexes.begin(), indexes.end(),
               [&ids](const Index& index) { return index.isWhole && index.ids == ids; }) &&
           std::includes(ids.begin(), ids.end(), copied.begin(), copied.end());
}

// The largest id of a row, whether it could be copied or not.
Id TableSalvage::lastSeenId() const
{
    Id last = copied.empty() ? 0 : *copied.rbegin();
    for (const Index& index : indexes) {
        const auto after = index.ids.upper_bound(LargestId);
        if (after != index.ids.begin())
            last = std::max(last, *std::prev(after));
    }
    return last;
}

void TableSalvage::findMissing(std::optional<Id> lastGivenId)
{
    lastGiven = lastGivenId;
    const Id lastSeen = lastSeenId();
    const Id last = lastGiven && *lastGiven >= lastSeen ? *lastGiven : LargestId;
    QList<IdRange> ranges;
    for (const Index& index : indexes) {
        for (const Id id : index.ids)
            ranges.append({id, id});
    }
    // If all indexes agree, they say which ids belong to removed rows.
    if (!indexesAgree()) {
        ranges += unreadable;
        if (!hasWholeIndex() && lastGiven)
            ranges.append({lastSeen + 1, *lastGiven});
    }
    for (IdRange& range : ranges)
        range.last = std::min(range.last, last);
    missing = without(std::move(ranges), copied);
}

void TableSalvage::removeInitialRows()
{
    execute(fresh, ("DELETE FROM " + name).constData(), freshPath);
}

DatabaseBackups::SalvagedTable TableSalvage::finish()
{
    missing = without(missing, copied);
    // They stay only if nothing of the old table can be read.
    if (copied.empty() && missing.isEmpty())
        removeInitialRows();
    const bool complete = missing.isEmpty() && !straysLeft &&
                          std::all_of(indexes.begin(), indexes.end(), [this](const Index& index) {
                              return !index.isWhole || index.ids == copied;
                          });
    return {QString::fromLatin1(name), qint64(copied.size()), missing, complete};
}

void TableSalvage::keepIdsUsed() const
{
    const Id id =
        std::max(lastSeenId(), lastGiven.value_or(std::min(lastSeenId() + UnknownIds, LargestId)));
    const QByteArray sql = "INSERT INTO sqlite_sequence (name, seq) SELECT '" + name +
                           "', 0 WHERE NOT EXISTS " +
                           "(SELECT 1 FROM sqlite_sequence WHERE name = '" + name + "');" +
                           "UPDATE sqlite_sequence SET seq = max(seq, " + QByteArray::number(id) +
                           ") WHERE name = '" + name + "'";
    execute(fresh, sql.constData(), freshPath);
}

// Gives the pages that no tree leads to any more to the only table that lacks such rows.
void copyStrayRows(DatabasePages& pages, std::list<TableSalvage>& tables)
{
    for (const QList<Row>& rows : pages.strayRows()) {
        QList<TableSalvage*> candidates;
        for (TableSalvage& table : tables) {
            if (table.mayLack(rows))
                candidates += &table;
        }
        if (candidates.size() == 1) {
            for (const Row& row : rows)
                candidates.constFirst()->copy(row);
            continue;
        }
        for (TableSalvage* const table : candidates)
            table->leaveStray();
    }
}

// The tables that hold no records. Those that cannot be read stay as in a new database.
void copyOtherTables(
    DatabasePages& pages, const Roots& roots, sqlite3* fresh, const QString& freshPath)
{
    const auto own = rootsOfFresh(fresh, freshPath).tables;
    for (auto table = own.begin(); table != own.end(); ++table) {
        const bool isRecords = std::find(Tables.begin(), Tables.end(), table.key()) != Tables.end();
        if (!isRecords && !table.key().startsWith("sqlite_"))
            TableSalvage(fresh, table.key(), freshPath)
                .copyTree(pages, roots.tables.value(table.key()));
    }
}

} // namespace

std::optional<qint64> prepareForSalvage(const QString& copy)
{
    sqlite3* opened = nullptr;
    sqlite3_open_v2(
        base::pathForLibrary(copy).constData(), &opened,
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    const SqliteHandle database(opened);
    // A writable schema lets SQLite open a damaged file; exclusive, it shares no memory for the
    // WAL.
    const bool isOpen =
        sqlite3_exec(
            opened,
            "PRAGMA writable_schema = ON; PRAGMA locking_mode = EXCLUSIVE; PRAGMA user_version",
            nullptr, nullptr, nullptr) == SQLITE_OK;
    if (!isOpen)
        return {};
    sqlite3_exec(opened, "PRAGMA journal_mode = DELETE", nullptr, nullptr, nullptr);
    return queryNumber(opened, "PRAGMA user_version", copy);
}

QList<DatabaseBackups::SalvagedTable> salvageTables(
    const QString& copy, sqlite3* fresh, const QString& freshPath)
{
    DatabasePages pages(copy);
    const Roots roots = rootsOf(pages, fresh, freshPath);
    const auto lastIds = lastGivenIds(pages, roots);
    execute(fresh, "BEGIN IMMEDIATE", freshPath);
    std::list<TableSalvage> tables;
    for (const char* const name : Tables)
        tables.emplace_back(fresh, name, freshPath).copyTree(pages, roots.tables.value(name));
    copyOtherTables(pages, roots, fresh, freshPath);
    for (TableSalvage& table : tables) {
        for (const Page root : roots.indexes.value(table.tableName()))
            table.readIndex(pages, root);
        table.findMissing(lastIds.value(table.tableName()));
    }
    copyStrayRows(pages, tables);
    QList<DatabaseBackups::SalvagedTable> salvaged;
    for (TableSalvage& table : tables) {
        table.keepIdsUsed();
        salvaged += table.finish();
    }
    execute(fresh, "COMMIT", freshPath);
    return salvaged;
}

} // namespace sync::database
