#pragma once

#include <velmioctl/exchange/RowSource.h>

#include <vector>

namespace velmioctl::exchange {

/// Rows that are read a page at a time, by their ids.
///
/// No statement stays open between two calls, so rows may be changed between them; later rows of
/// the table are read as they are then.
class PagedRows : public RowSource
{
public:
    bool nextTable() final;
    bool nextRow() final;

protected:
    struct IdRange
    {
        qint64 lowest;
        qint64 highest;
    };

    /// The tables must be in the order of tableShapes().
    PagedRows(std::vector<const TableShape*> tables, size_t pageRows, IdRange ids);

    /// Prepares to read table(); returns its last id.
    virtual qint64 beginTable() = 0;

    /// The rows of table() from the id `first` on, at most a page of them.
    virtual std::vector<Row> readPage(qint64 first) = 0;

private:
    const std::vector<const TableShape*> tables;
    const size_t pageRows;
    const IdRange ids;
    size_t tablesBegun = 0;
    std::vector<Row> page;
    size_t pageRow = 0;
    bool hasMore = false;
    qint64 nextId = 0;
};

} // namespace velmioctl::exchange
