#include <velmioctl/fleet/TablePush.h>

#include <QCryptographicHash>

namespace velmioctl::fleet {

namespace {

// Some 5 MB of files.
constexpr size_t BlocksAtOnce = 64;
constexpr qsizetype BytesAtOnce = 32 * 1024;

QByteArray fieldOf(const QByteArray& text)
{
    QByteArray field;
    appendField(field, text);
    return field;
}

} // namespace

TablePush::TablePush(
    Connection& connection, const QByteArray& store, const TableShape& table, SentRows& rows,
    PushCounts& counts)
    : connection(connection)
    , store(store)
    , storeField(fieldOf(store) + '\t')
    , table(table)
    , rows(rows)
    , counts(counts)
{
    const Rows stored = connection.run(
        "SELECT block, encode(sha256(digests), 'hex') FROM velmio.RowDigests"
        " WHERE store = $1 AND tableName = $2",
        {store, table.name});
    for (int at = 0; at < stored.count(); ++at)
        storedBlocks.insert(stored.number(at, 0), stored.bytes(at, 1));
    if (stored.count() == 0)
        connection.run("DELETE FROM velmio." + table.name + " WHERE store = $1", {store});
}

void TablePush::add(const exchange::Row& row)
{
    if (row.id < 1 || row.id > HighestId) {
        ++counts.skipped;
        return;
    }
    if (const qint64 block = RowDigests::blockOf(row.id); block != current.number) {
        endBlock();
        current = {block};
    }
    const QByteArray line = rows.lineOf(table, row);
    current.digests.add(row.id, line);
    current.lines.emplace_back(row.id, line);
}

void TablePush::finish()
{
    endBlock();
    sendChanged();
    removeGone();
    storeDigests();
}

void TablePush::endBlock()
{
    if (current.lines.empty())
        return;
    const auto stored = storedBlocks.find(current.number);
    const QByteArray hash =
        QCryptographicHash::hash(current.digests.bytes(), QCryptographicHash::Sha256).toHex();
    if (stored == storedBlocks.end()) {
        newDigests.insert(current.number, current.digests.bytes());
        for (const auto& [id, line] : current.lines)
            send(line);
        return;
    }
    if (*stored == hash)
        counts.same += qint64(current.lines.size());
    else
        changed.push_back(std::move(current));
    storedBlocks.erase(stored);
    if (changed.size() == BlocksAtOnce)
        sendChanged();
}

void TablePush::sendChanged()
{
    endCopy();
    if (changed.empty())
        return;
    QList<qint64> numbers;
    for (const Block& block : changed)
        numbers += block.number;
    const Rows stored = connection.run(
        "SELECT block, digests FROM velmio.RowDigests"
        " WHERE store = $1 AND tableName = $2 AND block = ANY($3) ORDER BY block",
        {store, table.name, arrayOf(numbers)});
    // Both are in the order of their numbers.
    for (int at = 0; at < stored.count(); ++at)
        compare(changed[size_t(at)], RowDigests(stored.binary(at, 1)));
    connection.run(
        "DELETE FROM velmio." + table.name + " WHERE store = $1 AND id = ANY($2)",
        {store, arrayOf(gone)});
    for (const QByteArray& line : toSend)
        send(line);
    endCopy();
    changed.clear();
    gone.clear();
    toSend.clear();
}

void TablePush::compare(const Block& block, const RowDigests& stored)
{
    newDigests.insert(block.number, block.digests.bytes());
    QHash<qint64, QByteArray> before = stored.byPlace();
    const QHash<qint64, QByteArray> now = block.digests.byPlace();
    for (const auto& [id, line] : block.lines) {
        const qint64 place = id % RowDigests::BlockIds;
        const auto old = before.find(place);
        if (old != before.end() && *old == now.value(place)) {
            ++counts.same;
        } else {
            toSend += line;
            if (old != before.end())
                gone += id;
        }
        before.remove(place);
    }
    for (auto at = before.keyBegin(); at != before.keyEnd(); ++at)
        gone += block.number * RowDigests::BlockIds + *at;
    counts.removed += before.size();
}

void TablePush::removeGone()
{
    if (storedBlocks.isEmpty())
        return;
    connection.run(
        "DELETE FROM velmio.RowDigests WHERE store = $1 AND tableName = $2 AND block = ANY($3)",
        {store, table.name, arrayOf(storedBlocks.keys())});
    counts.removed += connection
                          .run(
                              "DELETE FROM velmio." + table.name + " WHERE store = $1 AND id / " +
                                  QByteArray::number(RowDigests::BlockIds) + " = ANY($2)",
                              {store, arrayOf(storedBlocks.keys())})
                          .changed();
}

void TablePush::storeDigests()
{
    if (newDigests.isEmpty())
        return;
    connection.run(
        "DELETE FROM velmio.RowDigests WHERE store = $1 AND tableName = $2 AND block = ANY($3)",
        {store, table.name, arrayOf(newDigests.keys())});
    connection.beginCopy("velmio.RowDigests", "store, tableName, block, digests");
    for (auto at = newDigests.begin(); at != newDigests.end(); ++at) {
        connection.put(
            storeField + table.name + '\t' + QByteArray::number(at.key()) + "\t\\\\x" +
            at->toHex() + '\n');
    }
    connection.endCopy();
}

void TablePush::send(const QByteArray& line)
{
    if (!copying) {
        QByteArray columns = "store";
        for (const Column& column : table.columns)
            columns += ", " + column.name;
        connection.beginCopy("velmio." + table.name, columns);
        copying = true;
    }
    unsent += storeField;
    unsent += line;
    if (unsent.size() >= BytesAtOnce)
        sendLines();
    ++counts.sent;
}

void TablePush::endCopy()
{
    if (!std::exchange(copying, false))
        return;
    sendLines();
    connection.endCopy();
}

void TablePush::sendLines()
{
    connection.put(unsent);
    unsent.resize(0);
}

} // namespace velmioctl::fleet
