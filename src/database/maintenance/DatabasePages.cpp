#include <database/maintenance/DatabasePages.h>

#include <base/FileError.h>

#include <QtEndian>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

// sqlite.org/fileformat2.html#the_database_header
constexpr qsizetype FileHeaderBytes = 100;
constexpr qsizetype PageBytesOffset = 16;
constexpr qsizetype ReservedBytesOffset = 20;
constexpr qsizetype FreePagesOffset = 32;
constexpr qsizetype FreePageCountOffset = 36;
constexpr qsizetype LeastUsableBytes = 480;

// No tree of 2^32 pages is higher.
constexpr int MostLevels = 40;

// sqlite.org/fileformat2.html#b_tree_pages
enum : quint8 {
    IndexInterior = 2,
    TableInterior = 5,
    IndexLeaf = 10,
    TableLeaf = 13,
};

template <typename Number>
Number numberAt(QByteArrayView bytes, qsizetype offset)
{
    return qFromBigEndian<Number>(bytes.data() + offset);
}

/// Reads numbers of variable length, and never beyond the end of the bytes.
class Varints
{
public:
    Varints(QByteArrayView bytes, qsizetype offset)
        : bytes(bytes)
        , position(offset)
    {
    }

    std::optional<quint64> next()
    {
        constexpr int LongestBytes = 9;
        quint64 number = 0;
        for (int digit = 1; position < bytes.size(); ++digit) {
            const auto byte = static_cast<quint8>(bytes[position++]);
            if (digit == LongestBytes)
                return number << 8 | byte;
            number = number << 7 | (byte & 0x7f);
            if ((byte & 0x80) == 0)
                return number;
        }
        return {};
    }

    qsizetype offset() const { return position; }

private:
    const QByteArrayView bytes;
    qsizetype position;
};

qint64 integerOf(QByteArrayView bytes)
{
    qint64 number = static_cast<qint8>(bytes.front()) < 0 ? -1 : 0;
    for (const char byte : bytes)
        number = static_cast<qint64>(static_cast<quint64>(number) << 8 | static_cast<quint8>(byte));
    return number;
}

// How many bytes a value of a serial type has; nothing if no type has that number.
std::optional<qsizetype> bytesOfType(quint64 type)
{
    constexpr std::array<qsizetype, 10> fixed{0, 1, 2, 3, 4, 6, 8, 8, 0, 0};
    constexpr quint64 LargestType = std::numeric_limits<qint32>::max();
    if (type < fixed.size())
        return fixed[type];
    if (type < 12 || type > LargestType)
        return {};
    return qsizetype(type - 12) / 2;
}

DatabasePages::Value valueOf(quint64 type, QByteArrayView bytes)
{
    switch (type) {
    case 0:
        return nullptr;
    case 7:
        return std::bit_cast<double>(numberAt<quint64>(bytes, 0));
    case 8:
        return qint64(0);
    case 9:
        return qint64(1);
    default:
        break;
    }
    if (type < 7)
        return integerOf(bytes);
    if (type % 2 == 0)
        return DatabasePages::Blob{bytes.toByteArray()};
    return DatabasePages::Text{bytes.toByteArray()};
}

// sqlite.org/fileformat2.html#record_format; nothing unless it fills the bytes exactly.
std::optional<DatabasePages::Record> recordOf(QByteArrayView bytes)
{
    Varints types(bytes, 0);
    const auto headerBytes = types.next();
    if (!headerBytes || *headerBytes > quint64(bytes.size()))
        return {};
    DatabasePages::Record record;
    auto position = qsizetype(*headerBytes);
    while (types.offset() < qsizetype(*headerBytes)) {
        const auto type = types.next();
        const auto size = type ? bytesOfType(*type) : std::nullopt;
        if (!size || *size > bytes.size() - position)
            return {};
        record += valueOf(*type, bytes.sliced(position, *size));
        position += *size;
    }
    if (types.offset() != qsizetype(*headerBytes) || position != bytes.size())
        return {};
    return record;
}

} // namespace

/// What the header of a page says.
struct DatabasePages::Cells
{
    QByteArrayView bytes;
    quint8 type = TableLeaf;
    QList<qsizetype> offsets = {}; // -1 for one that leads out of the page
    Page rightmost = 0;

    bool isInterior() const { return type == TableInterior || type == IndexInterior; }
};

DatabasePages::DatabasePages(const QString& path)
    : file(path)
{
    if (!file.open(QIODevice::ReadOnly))
        throw base::FileError(path, u"Cannot read the database"_s, EIO);
    readHeader();
    // A page that was cut off is not read: zeros would take the place of what it lacks.
    used.resize(std::size_t(file.size() / pageBytes + 1));
    if (file.size() == 0)
        return;
    const uchar* const mapped = file.map(0, file.size());
    if (!mapped)
        throw base::FileError(path, u"Cannot read the database"_s, EIO);
    all = QByteArrayView(mapped, file.size());
}

// If it is damaged, the pages have the size of ours.
void DatabasePages::readHeader()
{
    const QByteArray header = file.peek(FileHeaderBytes);
    hasHeader = header.size() == FileHeaderBytes && header.startsWith("SQLite format 3");
    if (!hasHeader)
        return;
    const auto size = numberAt<quint16>(header, PageBytesOffset);
    if (size == 1 || (size >= 512 && std::has_single_bit(size)))
        pageBytes = size == 1 ? 65536 : size;
    reservedBytes = static_cast<quint8>(header[ReservedBytesOffset]);
    if (usableBytes() < LeastUsableBytes)
        reservedBytes = 0;
}

QByteArrayView DatabasePages::bytesOf(Page page) const
{
    if (page == 0 || page >= used.size())
        return {};
    return all.sliced((page - 1) * pageBytes, usableBytes());
}

// False if the page is in use already: a damaged tree may go round in circles.
bool DatabasePages::enter(Page page)
{
    if (page == 0 || page >= used.size() || used[page])
        return false;
    used[page] = true;
    return true;
}

std::optional<DatabasePages::Cells> DatabasePages::cellsOf(Page page) const
{
    Cells cells{.bytes = bytesOf(page)};
    if (cells.bytes.isEmpty())
        return {};
    const qsizetype header = page == 1 ? FileHeaderBytes : 0;
    cells.type = static_cast<quint8>(cells.bytes[header]);
    if (cells.type != TableLeaf && cells.type != IndexLeaf && !cells.isInterior())
        return {};
    const qsizetype firstPointer = header + (cells.isInterior() ? 12 : 8);
    const qsizetype count = numberAt<quint16>(cells.bytes, header + 3);
    const qsizetype firstCell = firstPointer + 2 * count;
    if (firstCell > cells.bytes.size())
        return {};
    for (qsizetype cell = 0; cell < count; ++cell) {
        const auto offset = numberAt<quint16>(cells.bytes, firstPointer + 2 * cell);
        cells.offsets += offset >= firstCell && offset + 4 <= cells.bytes.size() ? offset : -1;
    }
    if (cells.isInterior())
        cells.rightmost = numberAt<Page>(cells.bytes, header + 8);
    return cells;
}

// Follows the chain of the pages that the payload continues on.
std::optional<QByteArray> DatabasePages::payloadAt(
    QByteArrayView page, qsizetype offset, quint64 bytes, qsizetype mostLocalBytes) const
{
    // sqlite.org/fileformat2.html#cell_payload_overflow_pages
    const qsizetype partBytes = usableBytes() - 4;
    const qsizetype leastLocalBytes = (usableBytes() - 12) * 32 / 255 - 23;
    if (bytes > quint64(all.size()))
        return {};
    auto localBytes = qsizetype(bytes);
    if (localBytes > mostLocalBytes) {
        localBytes = leastLocalBytes + (qsizetype(bytes) - leastLocalBytes) % partBytes;
        if (localBytes > mostLocalBytes)
            localBytes = leastLocalBytes;
    }
    const bool continues = localBytes < qsizetype(bytes);
    if (offset + localBytes + (continues ? 4 : 0) > page.size())
        return {};
    QByteArray payload = page.sliced(offset, localBytes).toByteArray();
    auto next = continues ? numberAt<Page>(page, offset + localBytes) : 0;
    while (payload.size() < qsizetype(bytes)) {
        const QByteArrayView part = bytesOf(next);
        if (part.isEmpty())
            return {};
        payload += part.sliced(4, std::min(partBytes, qsizetype(bytes) - payload.size()));
        next = numberAt<Page>(part, 0);
    }
    return payload;
}

// The cells of an interior page begin with a child, those of a leaf with the size of the row.
std::optional<DatabasePages::Id> DatabasePages::idAt(const Cells& cells, qsizetype cell)
{
    const qsizetype offset = cells.offsets[cell];
    if (offset < 0)
        return {};
    Varints numbers(cells.bytes, offset + (cells.type == TableInterior ? 4 : 0));
    if (cells.type == TableLeaf)
        numbers.next();
    const auto id = numbers.next();
    return id ? std::optional(static_cast<Id>(*id)) : std::nullopt;
}

std::optional<DatabasePages::Row> DatabasePages::rowAt(const Cells& cells, qsizetype cell) const
{
    const auto id = idAt(cells, cell);
    if (!id)
        return {};
    Varints numbers(cells.bytes, cells.offsets[cell]);
    const auto bytes = numbers.next();
    numbers.next();
    const auto payload = payloadAt(cells.bytes, numbers.offset(), *bytes, usableBytes() - 35);
    auto record = payload ? recordOf(*payload) : std::nullopt;
    if (!record)
        return {};
    return Row{*id, std::move(*record)};
}

void DatabasePages::readTable(Page root, const TableVisitor& visitor)
{
    readTablePage(root, {}, MostLevels, visitor);
}

// The ids of a page lie in a span that the pages above it name. What lies outside is damaged, or
// belongs elsewhere.
void DatabasePages::readTablePage(
    Page page, const Span& span, int depth, const TableVisitor& visitor)
{
    const auto cells = depth > 0 ? cellsOf(page) : std::nullopt;
    const bool isTable = cells && (cells->type == TableLeaf || cells->type == TableInterior);
    if (!isTable || !enter(page)) {
        visitor.unreadable(span);
        return;
    }
    Id after = span.after;
    bool skipped = false; // something after `after` cannot be read
    for (qsizetype cell = 0; cell < cells->offsets.size(); ++cell) {
        const auto id = idInOrder(*cells, cell, {after, span.last});
        const auto row = id && cells->type == TableLeaf ? rowAt(*cells, cell) : std::nullopt;
        if (!id || (cells->type == TableLeaf && (!row || !visitor.row(*row)))) {
            skipped = true;
            continue;
        }
        if (skipped)
            visitor.unreadable({after, *id});
        if (cells->type == TableInterior)
            readTablePage(
                numberAt<Page>(cells->bytes, cells->offsets[cell]), {after, *id}, depth - 1,
                visitor);
        after = *id;
        skipped = false;
    }
    if (skipped)
        visitor.unreadable({after, span.last});
    if (cells->type == TableInterior)
        readTablePage(cells->rightmost, {after, span.last}, depth - 1, visitor);
}

// The id of a cell in a table; nothing unless it lies in the span and before the one that follows.
std::optional<DatabasePages::Id> DatabasePages::idInOrder(
    const Cells& cells, qsizetype cell, const Span& span)
{
    const auto id = idAt(cells, cell);
    if (!id || *id <= span.after || *id > span.last)
        return {};
    const auto next = cell + 1 < cells.offsets.size() ? idAt(cells, cell + 1) : std::nullopt;
    const bool isTooLarge = next && *next > span.after && *next <= *id;
    return isTooLarge ? std::nullopt : id;
}

DatabasePages::IndexedIds DatabasePages::readIndex(Page root)
{
    IndexedIds found;
    readIndexPage(root, MostLevels, found);
    return found;
}

// Interior pages have entries of their own. The id is the last value of an entry.
void DatabasePages::readIndexPage(Page page, int depth, IndexedIds& found)
{
    const auto cells = depth > 0 ? cellsOf(page) : std::nullopt;
    const bool isIndex = cells && (cells->type == IndexLeaf || cells->type == IndexInterior);
    if (!isIndex || !enter(page)) {
        found.whole = false;
        return;
    }
    const qsizetype mostLocalBytes = (usableBytes() - 12) * 64 / 255 - 23;
    const qsizetype childBytes = cells->type == IndexInterior ? 4 : 0;
    for (const qsizetype offset : cells->offsets) {
        Varints numbers(cells->bytes, offset + childBytes);
        const auto bytes = offset < 0 ? std::nullopt : numbers.next();
        const auto payload = bytes
                                 ? payloadAt(cells->bytes, numbers.offset(), *bytes, mostLocalBytes)
                                 : std::nullopt;
        const auto record = payload ? recordOf(*payload) : std::nullopt;
        const auto* const id =
            record && !record->isEmpty() ? std::get_if<qint64>(&record->constLast()) : nullptr;
        if (id)
            found.ids += *id;
        else
            found.whole = false;
        if (childBytes > 0 && offset >= 0)
            readIndexPage(numberAt<Page>(cells->bytes, offset), depth - 1, found);
    }
    if (childBytes > 0)
        readIndexPage(cells->rightmost, depth - 1, found);
}

std::vector<QList<DatabasePages::Row>> DatabasePages::strayRows()
{
    std::vector<QList<Row>> stray;
    if (!markFreePages())
        return stray;
    for (Page page = 1; page < used.size(); ++page) {
        const auto cells = used[page] ? std::nullopt : cellsOf(page);
        if (!cells || cells->type != TableLeaf)
            continue;
        QList<Row> rows;
        for (qsizetype cell = 0; cell < cells->offsets.size(); ++cell) {
            if (auto row = rowAt(*cells, cell))
                rows += std::move(*row);
        }
        if (!rows.isEmpty())
            stray.push_back(std::move(rows));
    }
    return stray;
}

// sqlite.org/fileformat2.html#the_freelist; false if a part of the list cannot be read.
bool DatabasePages::markFreePages()
{
    if (!hasHeader)
        return false;
    auto left = qint64(numberAt<quint32>(all, FreePageCountOffset));
    auto trunk = numberAt<Page>(all, FreePagesOffset);
    while (trunk != 0) {
        const QByteArrayView bytes = bytesOf(trunk);
        if (bytes.isEmpty() || !enter(trunk))
            return false;
        const qint64 count = numberAt<quint32>(bytes, 4);
        if (count > bytes.size() / 4 - 2)
            return false;
        for (qint64 leaf = 0; leaf < count; ++leaf)
            enter(numberAt<Page>(bytes, 8 + 4 * leaf));
        left -= count + 1;
        trunk = numberAt<Page>(bytes, 0);
    }
    return left == 0;
}

} // namespace sync::database
