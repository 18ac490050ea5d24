#pragma once

#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>

namespace velmioctl::exchange {

/// Rows one after the other: table by table in the order of tableShapes(), and by their ids in
/// each.
class RowSource
{
public:
    virtual ~RowSource() = default;

    /// Moves to the next table and skips unread rows. False after the last one.
    virtual bool nextTable() = 0;

    /// Moves to the next row of the table. False after the last one.
    virtual bool nextRow() = 0;

    const TableShape& table() const { return *currentTable; }
    const Row& row() const { return currentRow; }

    /// The highest id that the table has ever assigned; 0 if it has assigned none.
    qint64 lastId() const { return currentLastId; }

protected:
    const TableShape* currentTable = nullptr;
    Row currentRow;
    qint64 currentLastId = 0;
};

/// Calls `visit` with the rows of each id in the current tables of two sources, sorted by id; null
/// for a row that a source does not have.
template <typename Visit>
void visitPairs(RowSource& left, RowSource& right, Visit visit)
{
    bool hasLeft = left.nextRow();
    bool hasRight = right.nextRow();
    while (hasLeft || hasRight) {
        const bool takeLeft = hasLeft && (!hasRight || left.row().id <= right.row().id);
        const bool takeRight = hasRight && (!hasLeft || right.row().id <= left.row().id);
        visit(takeLeft ? &left.row() : nullptr, takeRight ? &right.row() : nullptr);
        if (takeLeft)
            hasLeft = left.nextRow();
        if (takeRight)
            hasRight = right.nextRow();
    }
}

} // namespace velmioctl::exchange
