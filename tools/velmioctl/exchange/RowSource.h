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

    /// The highest id that the table has ever given; 0 when it has given none.
    qint64 lastId() const { return currentLastId; }

protected:
    const TableShape* currentTable = nullptr;
    Row currentRow;
    qint64 currentLastId = 0;
};

} // namespace velmioctl::exchange
