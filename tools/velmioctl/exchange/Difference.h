#pragma once

#include <velmioctl/exchange/RowSource.h>
#include <velmioctl/store/StoredPassword.h>

namespace velmioctl::exchange {

/// Receives the differences between the rows of two sources, A and B.
class DifferenceListener
{
public:
    virtual ~DifferenceListener() = default;

    /// The rows of a table come next, up to the next call.
    virtual void beginTable(const TableShape& table) = 0;

    virtual void onlyInA(const Row& row) = 0;
    virtual void onlyInB(const Row& row) = 0;
    /// `columns` are the places of those that differ.
    virtual void changed(const Row& a, const Row& b, const std::vector<size_t>& columns) = 0;
    virtual void same() = 0;

    /// A table that only one of them has.
    virtual void notCompared(const TableShape& table) = 0;
};

/// Compares the tables that both sources have. A secret that an export does not show in clear
/// counts as equal; passwords are decrypted if their bytes differ.
void compare(RowSource& a, RowSource& b, DifferenceListener& listener);

} // namespace velmioctl::exchange
