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
    : PagedRows(
          std::move(tables), PageRows,
          {std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max()})
    , database(database)
{
}

qint64 StoreRows::beginTable()
{
    select = selectOf(table());
    return readLastId(database, table());
}

std::vector<Row> StoreRows::readPage(qint64 first)
{
    std::vector<Row> page;
    CheckQuery query(database, select, {{u":first"_s, first}});
    while (query.next()) {
        Row row;
        row.id = query.number(0);
        row.values.reserve(table().columns.size());
        for (int column = 0; column < static_cast<int>(table().columns.size()); ++column)
            row.values.push_back(
                valueOf(query.value(2 * column), query.number(2 * column + 1) != 0));
        page.push_back(std::move(row));
    }
    return page;
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
