#pragma once

#include <velmioctl/exchange/RowSource.h>

namespace velmioctl::exchange {

/// Calls `visit` with the rows of each id in the tables that two sources stand on, by their ids;
/// null for one that a source does not have.
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
