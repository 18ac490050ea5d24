#include <velmioctl/exchange/FleetRows.h>

#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/exchange/Masks.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QStringList>

using namespace Qt::StringLiterals;

namespace velmioctl::exchange {

namespace {

// Each page is a round trip.
constexpr size_t RowsAtOnce = 4096;

Value sentValueOf(const QVariant& value)
{
    if (value.isNull())
        return Null();
    if (value.typeId() == QMetaType::QString)
        return Text{value.toString().toUtf8()};
    if (value.typeId() == QMetaType::QByteArray)
        return Blob{value.toByteArray()};
    return qint64(value.toLongLong());
}

} // namespace

FleetRows::FleetRows(WatchedDatabase& database, std::vector<const TableShape*> tables)
    : PagedRows(std::move(tables), RowsAtOnce, {1, HighestId})
    , database(database)
{
}

qint64 FleetRows::beginTable()
{
    return database.number(
        u"SELECT %1 FROM velmio.Counters WHERE store = :store"_s.arg(
            QString::fromLatin1(table().name)),
        {{u":store"_s, database.storeId()}});
}

qint64 FleetRows::schemaVersion() const
{
    return database.number(
        u"SELECT schemaVersion FROM velmio.Pushes WHERE store = :store"_s,
        {{u":store"_s, database.storeId()}});
}

std::vector<Row> FleetRows::readPage(qint64 first)
{
    QStringList columns;
    for (const Column& column : table().columns)
        columns += QString::fromLatin1(column.name);
    const auto query = database.select(
        u"SELECT %1 FROM %2 WHERE id >= :first ORDER BY id LIMIT %3"_s.arg(
            columns.join(u", "_s), QString::fromLatin1(table().name), QString::number(RowsAtOnce)),
        {{u":first"_s, first}});
    std::vector<Row> page;
    while (query->next()) {
        Row row;
        row.id = query->value(0).toLongLong();
        for (int column = 0; column < int(columns.size()); ++column)
            row.values.push_back(sentValueOf(query->value(column)));
        page.push_back(std::move(row));
    }
    database.check();
    return page;
}

RowsAsSent::RowsAsSent(RowSource& source)
    : source(source)
{
}

bool RowsAsSent::nextTable()
{
    if (!source.nextTable())
        return false;
    currentTable = &source.table();
    currentLastId = source.lastId();
    return true;
}

bool RowsAsSent::nextRow()
{
    if (!source.nextRow())
        return false;
    currentRow = source.row();
    for (size_t at = 0; at < currentRow.values.size(); ++at)
        currentRow.values[at] = sent(table().columns[at], currentRow.values[at]);
    return true;
}

} // namespace velmioctl::exchange
