#include <velmioctl/exchange/ImportRun.h>

#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/exchange/Masks.h>
#include <velmioctl/exchange/StoreRows.h>
#include <velmioctl/store/StoredXml.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl::exchange {

namespace {

// Secrets that the export leaves out count as equal.
bool isSameRow(const Row& row, const Row& stored)
{
    for (size_t at = 0; at < row.values.size(); ++at) {
        if (!std::holds_alternative<LeftOut>(row.values[at]) &&
            !isSame(row.values[at], stored.values[at]))
            return false;
    }
    return true;
}

// SQLite stores other ids, but the records could not hold them.
void requireLastId(const ExportRows& rows)
{
    if (rows.lastId() < 0 || rows.lastId() > HighestId) {
        rows.failAtTable(u"the last id of the table %1 must be from 0 to %2, and is %3"_s.arg(
            QString::fromLatin1(rows.table().name), QString::number(HighestId),
            QString::number(rows.lastId())));
    }
}

void requireId(const ExportRows& rows)
{
    if (const qint64 id = rows.row().id; id < 1 || id > HighestId) {
        rows.failAtRow(u"the id of a row must be from 1 to %1, and is %2"_s.arg(
            QString::number(HighestId), QString::number(id)));
    }
}

sync::config::FileConfigManager fileManagerOver(IDatabaseFactory& database)
{
    const std::shared_ptr<IDatabaseFactory> notOwned(std::shared_ptr<void>(), &database);
    return {
        notOwned, std::make_shared<sync::config::Sha256FileHash>(), nullptr,
        std::make_shared<sync::config::FolderConfigManager>(notOwned, nullptr)};
}

bool isRootFolder(const TableShape& table, const Row& row)
{
    return table.name == "FolderConfiguration" &&
           isSame(row.values[table.indexOf("parentId")], qint64(0));
}

bool hasPasswordLeftOut(const Row& row)
{
    return std::any_of(row.values.begin(), row.values.end(), [](const Value& value) {
        return std::holds_alternative<LeftOut>(value);
    });
}

} // namespace

void Remarks::add(const QString& place)
{
    constexpr qsizetype MostShown = 10;
    if (++count <= MostShown)
        first += place;
}

QString Remarks::text() const
{
    const qint64 more = count - first.size();
    return first.join(u'\n') + (more > 0 ? u"\nAnd %1 more."_s.arg(more) : QString());
}

bool ImportPlan::isEmpty() const
{
    return std::all_of(tables.begin(), tables.end(), [](const TableChanges& changes) {
        return changes.isEmpty();
    });
}

ImportRun::ImportRun(
    IDatabaseFactory& database, Mode mode, RowPaths& paths, RowSecrets* secrets, RowWriter* writer)
    : database(database)
    , mode(mode)
    , paths(paths)
    , files(fileManagerOver(database))
    , secrets(secrets)
    , writer(writer)
{
}

ImportPlan ImportRun::run(ExportRows& rows)
{
    while (rows.nextTable())
        runTable(rows);
    plan.brokenReferences = references.broken(database);
    return plan;
}

void ImportRun::runTable(ExportRows& rows)
{
    requireLastId(rows);
    const TableShape& table = rows.table();
    plan.tables.push_back({.table = &table});
    references.beginTable(table);
    if (writer)
        writer->beginTable(table);
    StoreRows stored(database, {&table});
    stored.nextTable();
    plan.tables.back().raisesLastId = rows.lastId() > stored.lastId();
    visitPairs(rows, stored, [&](const Row* row, const Row* storedRow) {
        if (row)
            take(rows, storedRow);
        else
            drop(*storedRow);
    });
    if (writer)
        writer->endTable(rows.lastId());
}

void ImportRun::take(ExportRows& rows, const Row* stored)
{
    requireId(rows);
    TableChanges& changes = plan.tables.back();
    Row row = prepared(rows, stored);
    const bool isMapped = paths.apply(*changes.table, row, files);
    plan.mapped += isMapped ? 1 : 0;
    references.willBe(row, stored);
    if (!stored || !isSameRow(row, *stored)) {
        findNestedXml(row);
        if (isMapped && isRootFolder(*changes.table, row))
            plan.mappedRoots.push_back(row.id);
    }
    if (!stored) {
        ++changes.added;
        if (changes.table->name == "AuthenticationConfiguration" && hasPasswordLeftOut(row))
            ++plan.newWithoutPassword;
        if (writer)
            writer->add(row);
    } else if (isSameRow(row, *stored)) {
        ++changes.same;
    } else {
        ++changes.changed;
        if (writer)
            writer->change(row);
    }
}

void ImportRun::drop(const Row& stored)
{
    TableChanges& changes = plan.tables.back();
    if (!mode.replace) {
        ++changes.kept;
        references.willBe(stored, &stored);
        return;
    }
    ++changes.removed;
    references.willGo(stored.id);
    if (writer)
        writer->remove(stored.id);
}

Row ImportRun::prepared(ExportRows& rows, const Row* stored)
{
    Row row = rows.row();
    const auto purpose = writer ? RowSecrets::Purpose::Store : RowSecrets::Purpose::Compare;
    const sync::config::PasswordContexts contexts(database);
    if (mode.withSecrets && !secrets->unseal(rows.table(), row, stored, purpose, contexts))
        rows.failAtRow(u"a secret of the row that begins here is damaged"_s);
    if (!mode.withSecrets) {
        for (Value& value : row.values) {
            if (std::holds_alternative<Sealed>(value))
                value = LeftOut();
        }
    }
    unmask(row, stored);
    return row;
}

// A mask never replaces a value: what it hides would be lost.
void ImportRun::unmask(Row& row, const Row* stored)
{
    const TableShape& table = *plan.tables.back().table;
    for (size_t at = 0; at < row.values.size(); ++at) {
        Value& value = row.values[at];
        const auto* const mask = std::get_if<Masked>(&value);
        if (!mask)
            continue;
        const Column& column = table.columns[at];
        if (!stored) {
            ++plan.newMasked;
            value = Text{mask->shown};
            continue;
        }
        if (shownOf(column, stored->values[at]) != mask->shown) {
            remark(row, plan.keptMasked, column);
        }
        value = stored->values[at];
    }
}

void ImportRun::remark(const Row& row, Remarks& remarks, const Column& column)
{
    remarks.add(u"Line %1: %2 %3, %4."_s.arg(
        QString::number(row.line), QString::fromLatin1(plan.tables.back().table->name),
        QString::number(row.id), QString::fromLatin1(column.name)));
}

void ImportRun::findNestedXml(const Row& row)
{
    const auto& columns = plan.tables.back().table->columns;
    for (size_t at = 0; at < columns.size(); ++at) {
        const auto* const text = std::get_if<Text>(&row.values[at]);
        if (text && holdsXml(columns[at]) && isNestedTooDeeply(QString::fromUtf8(text->bytes)))
            remark(row, plan.nestedXml, columns[at]);
    }
}

bool isNew(IDatabaseFactory& database)
{
    for (const TableShape& table : tableShapes()) {
        // A new database has a default schedule.
        const QString untouched =
            table.name == "Schedules"
                ? u" WHERE (id, folderConfigurationId, syncScheduleType, syncInterval) IS NOT"
                  u" (1, 0, 0, 30) OR startTime IS NOT NULL OR expireTime IS NOT NULL"_s
                : QString();
        doctor::CheckQuery query(
            database,
            u"SELECT 1 FROM %1%2 LIMIT 1"_s.arg(QString::fromLatin1(table.name), untouched));
        if (query.next())
            return false;
    }
    return true;
}

} // namespace velmioctl::exchange
