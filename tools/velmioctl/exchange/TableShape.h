#pragma once

#include <QByteArray>

#include <vector>

namespace velmioctl::exchange {

/// A column of a table, as far as it matters when rows leave a database or come into one.
struct Column
{
    QByteArray name;
    QByteArray target = {}; ///< The table that its ids lead to; empty when it holds none.
    bool isSecret = false;
};

/// A table of settings. The column 0 is the id.
struct TableShape
{
    QByteArray name;
    std::vector<Column> columns;
};

/// All of them, sorted by name, which is the order in which they are exchanged.
const std::vector<TableShape>& tableShapes();

/// Null for a name that none has.
const TableShape* findTable(const QByteArray& name);

} // namespace velmioctl::exchange
