#include <velmioctl/exchange/RowWriter.h>

#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QStringList>

using namespace Qt::StringLiterals;

namespace velmioctl::exchange {

namespace {

QString nameOf(const TableShape& table)
{
    return QString::fromLatin1(table.name);
}

QString valuePlaceholder(size_t column)
{
    return u":value%1"_s.arg(column);
}

QString textPlaceholder(size_t column)
{
    return u":isText%1"_s.arg(column);
}

// Text is bound as its bytes, because a QString cannot hold every stored text.
QString insertOf(const TableShape& table, const std::vector<size_t>& columns)
{
    QStringList names;
    QStringList values;
    QStringList changes;
    for (const size_t column : columns) {
        const QString name = QString::fromLatin1(table.columns[column].name);
        names += name;
        values += u"CASE %1 WHEN 1 THEN CAST(%2 AS TEXT) ELSE %2 END"_s.arg(
            textPlaceholder(column), valuePlaceholder(column));
        changes += u"%1 = excluded.%1"_s.arg(name);
    }
    return u"INSERT INTO %1 (%2) VALUES (%3) ON CONFLICT (id) DO UPDATE SET %4"_s.arg(
        nameOf(table), names.join(u", "_s), values.join(u", "_s), changes.join(u", "_s));
}

QVariant bytesOf(const QByteArray& bytes)
{
    // A null array would be NULL.
    return bytes.isNull() ? QByteArray("") : bytes;
}

QVariant variantOf(const Value& value)
{
    if (const auto* const number = std::get_if<qint64>(&value))
        return *number;
    if (const auto* const real = std::get_if<double>(&value))
        return *real;
    if (const auto* const text = std::get_if<Text>(&value))
        return bytesOf(text->bytes);
    if (const auto* const blob = std::get_if<Blob>(&value))
        return bytesOf(blob->bytes);
    return {};
}

} // namespace

RowWriter::RowWriter(WatchedDatabase& database, bool withSecrets)
    : database(database)
    , withSecrets(withSecrets)
{
}

RowWriter::~RowWriter() = default;

void RowWriter::beginTable(const TableShape& begun)
{
    table = &begun;
    written.clear();
    for (size_t column = 0; column < table->columns.size(); ++column) {
        if (withSecrets || !table->columns[column].isSecret())
            written.push_back(column);
    }
    statement = database.CreateQuery();
    statement->prepare(insertOf(*table, written));
}

void RowWriter::add(const Row& row)
{
    put(row);
    // A trigger may have set another root for a new folder. The second statement updates the row.
    if (table->name == "FolderConfiguration")
        put(row);
}

void RowWriter::change(const Row& row)
{
    put(row);
}

void RowWriter::remove(qint64 id)
{
    database.change(u"DELETE FROM %1 WHERE id = :id"_s.arg(nameOf(*table)), {{u":id"_s, id}});
}

void RowWriter::endTable(qint64 lastId)
{
    statement.reset();
    const QString name = nameOf(*table);
    database.change(
        u"INSERT INTO sqlite_sequence (name, seq) SELECT :name, 0"
        u" WHERE NOT EXISTS (SELECT 1 FROM sqlite_sequence WHERE name = :name)"_s,
        {{u":name"_s, name}});
    database.change(
        u"UPDATE sqlite_sequence SET seq = :last WHERE name = :name AND seq < :last"_s,
        {{u":last"_s, lastId}, {u":name"_s, name}});
}

void RowWriter::put(const Row& row)
{
    for (const size_t column : written) {
        const Value& value = row.values[column];
        statement->bindValue(textPlaceholder(column), int(std::holds_alternative<Text>(value)));
        statement->bindValue(valuePlaceholder(column), variantOf(value));
    }
    database.check(statement->exec(), u"Writing a row"_s);
}

} // namespace velmioctl::exchange
