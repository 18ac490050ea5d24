#include <velmioctl/exchange/StoreRows.h>

#include <velmioctl/doctor/CheckQuery.h>

#include <QStringList>

#include <limits>

using namespace Qt::StringLiterals;
using sync::interf::factory::IDatabaseFactory;
using velmioctl::doctor::CheckQuery;

namespace velmioctl::exchange {

namespace {

constexpr size_t PageRows = 256;

// Each column is selected twice: as bytes, because a QString cannot hold every stored text, and
// whether it is a blob.
QString selectOf(const TableShape& table)
{
    QStringList columns;
    for (const Column& column : table.columns) {
        columns += u"CASE typeof(%1) WHEN 'text' THEN CAST(%1 AS BLOB) ELSE %1 END,"
                   u" typeof(%1) = 'blob'"_s.arg(QString::fromLatin1(column.name));
    }
    return u"SELECT %1 FROM %2 WHERE id >= :first ORDER BY id LIMIT %3"_s.arg(
        columns.join(u", "_s), QString::fromLatin1(table.name), QString::number(PageRows));
}

Value valueOf(const QVariant& value, bool isBlob)
{
    switch (value.typeId()) {
    case QMetaType::LongLong:
        return value.toLongLong();
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::QByteArray:
        break;
    default:
        return Null();
    }
    if (isBlob)
        return Blob{value.toByteArray()};
    return Text{value.toByteArray()};
}

qint64 readLastId(IDatabaseFactory& database, const TableShape& table)
{
    CheckQuery query(
        database, u"SELECT coalesce(max(seq), 0) FROM sqlite_sequence WHERE name = :name"_s,
        {{u":name"_s, QString::fromLatin1(table.name)}});
    return query.next() ? query.number(0) : 0;
}

} // namespace

StoreRows::StoreRows(IDatabaseFactory& database, std::vector<const TableShape*> tables)
    : database(database)
    , tables(std::move(tables))
{
}

bool StoreRows::nextTable()
{
    if (tablesBegun == tables.size())
        return false;
    currentTable = tables[tablesBegun++];
    currentLastId = readLastId(database, *currentTable);
    select = selectOf(*currentTable);
    page.clear();
    pageRow = 0;
    nextId = std::numeric_limits<qint64>::min();
    hasMore = true;
    return true;
}

bool StoreRows::nextRow()
{
    if (pageRow == page.size() && hasMore)
        readPage();
    if (pageRow == page.size())
        return false;
    std::swap(currentRow, page[pageRow++]);
    return true;
}

void StoreRows::readPage()
{
    page.clear();
    pageRow = 0;
    CheckQuery query(database, select, {{u":first"_s, nextId}});
    while (query.next()) {
        Row row;
        row.id = query.number(0);
        row.values.reserve(table().columns.size());
        for (int column = 0; column < static_cast<int>(table().columns.size()); ++column)
            row.values.push_back(
                valueOf(query.value(2 * column), query.number(2 * column + 1) != 0));
        page.push_back(std::move(row));
    }
    // No row can follow the highest possible id.
    hasMore = page.size() == PageRows && page.back().id < std::numeric_limits<qint64>::max();
    if (hasMore)
        nextId = page.back().id + 1;
}

std::vector<qint64> readIds(IDatabaseFactory& database, const TableShape& table)
{
    std::vector<qint64> ids;
    CheckQuery query(
        database, u"SELECT id FROM %1 ORDER BY id"_s.arg(QString::fromLatin1(table.name)));
    while (query.next())
        ids.push_back(query.number(0));
    return ids;
}

} // namespace velmioctl::exchange
