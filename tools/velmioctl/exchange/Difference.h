#pragma once

#include <velmioctl/exchange/RowSource.h>
#include <velmioctl/store/StoredPassword.h>

namespace velmioctl::exchange {

/// Hears how the rows of two sources, A and B, differ.
class DifferenceListener
{
public:
    virtual ~DifferenceListener() = default;

    /// The rows of a table come next, up to the next call.
    virtual void beginTable(const TableShape& table) = 0;

    virtual void onlyInA(const Row& row) = 0;
    virtual void onlyInB(const Row& row) = 0;
    /// The columns that differ, as places in the table's shape.
    virtual void changed(const Row& a, const Row& b, const std::vector<size_t>& columns) = 0;
    virtual void same() = 0;

    /// A table that only one of them has.
    virtual void notCompared(const TableShape& table) = 0;
};

/// Compares all that two sources have in common. A secret that an export does not show in clear is
/// taken for the same; passwords are deciphered where their bytes differ.
void compare(RowSource& a, RowSource& b, DifferenceListener& listener);

} // namespace velmioctl::exchange
