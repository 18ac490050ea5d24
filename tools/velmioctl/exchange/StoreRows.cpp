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

// Texts as bytes, because a QString cannot hold every stored text. The last value has a bit for
// each column that is a blob.
QString selectOf(const TableShape& table)
{
    QStringList values;
    QStringList blobs;
    for (const Column& column : table.columns) {
        const QString name = QString::fromLatin1(column.name);
        blobs += u"((typeof(%1) = 'blob') << %2)"_s.arg(name, QString::number(values.size()));
        values += u"CASE typeof(%1) WHEN 'text' THEN CAST(%1 AS BLOB) ELSE %1 END"_s.arg(name);
    }
    return u"SELECT %1, %2 FROM %3 WHERE id >= :first ORDER BY id LIMIT %4"_s.arg(
        values.join(u", "_s), blobs.join(u" | "_s), QString::fromLatin1(table.name),
        QString::number(PageRows));
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
        const int columns = static_cast<int>(table().columns.size());
        const qint64 blobs = query.number(columns);
        row.values.reserve(table().columns.size());
        for (int column = 0; column < columns; ++column)
            row.values.push_back(valueOf(query.value(column), blobs >> column & 1));
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
