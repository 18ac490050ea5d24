#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QList>

#include <functional>
#include <limits>
#include <optional>
#include <variant>
#include <vector>

namespace sync::database {

/// The pages of a database file, read without SQLite, which gives up the rest of a tree at the
/// first thing in it that is damaged (sqlite.org/fileformat2.html). Nothing in the file is trusted.
class DatabasePages
{
public:
    using Page = quint32; ///< Counted from 1; 0 is none.
    using Id = qint64;

    struct Text
    {
        QByteArray utf8;
    };
    struct Blob
    {
        QByteArray bytes;
    };
    using Value = std::variant<std::nullptr_t, qint64, double, Text, Blob>;
    using Record = QList<Value>;

    struct Row
    {
        Id id = 0;
        Record values;
    };

    /// What follows `after`, up to and including `last`.
    struct Span
    {
        Id after = std::numeric_limits<Id>::min();
        Id last = std::numeric_limits<Id>::max();
    };

    /// Receives what is read of a table.
    struct TableVisitor
    {
        std::function<bool(const Row&)> row; ///< Returns false for a row that cannot be one of it.
        std::function<void(const Span&)> unreadable;
    };

    /// A copy whose WAL has been merged and whose journal has been rolled back. Throws FileError.
    explicit DatabasePages(const QString& path);

    /// Reads the tree of a table. No page is read for a second tree.
    void readTable(Page root, const TableVisitor& visitor);

    /// The ids that an index has; nothing if a part of it cannot be read.
    struct IndexedIds
    {
        QList<Id> ids;
        bool whole = true;
    };
    IndexedIds readIndex(Page root);

    /// The rows of each page that belongs to a table, and to no tree that was read. Empty if it is
    /// not known which pages are free: these may hold rows that were removed.
    std::vector<QList<Row>> strayRows();

private:
    struct Cells;

    std::optional<Cells> cellsOf(Page page) const;
    void readTablePage(Page page, const Span& span, int depth, const TableVisitor& visitor);
    void readIndexPage(Page page, int depth, IndexedIds& found);
    static std::optional<Id> idAt(const Cells& cells, qsizetype cell);
    static std::optional<Id> idInOrder(const Cells& cells, qsizetype cell, const Span& span);
    std::optional<Row> rowAt(const Cells& cells, qsizetype cell) const;
    std::optional<QByteArray> payloadAt(
        QByteArrayView page, qsizetype offset, quint64 bytes, qsizetype mostLocalBytes) const;
    void readHeader();
    bool markFreePages();
    bool enter(Page page);
    QByteArrayView bytesOf(Page page) const;
    qsizetype usableBytes() const { return pageBytes - reservedBytes; }

    QFile file;
    QByteArrayView all;
    bool hasHeader = false;
    qsizetype pageBytes = 4096; // as in our files
    qsizetype reservedBytes = 0;
    std::vector<bool> used; // by page: part of a tree that was read, or free
};

} // namespace sync::database
