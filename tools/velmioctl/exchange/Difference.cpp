#include <velmioctl/exchange/Difference.h>

#include <velmioctl/exchange/Masks.h>
#include <velmioctl/exchange/RowSecrets.h>

#include <algorithm>

namespace velmioctl::exchange {

namespace {

bool isHidden(const Value& value)
{
    return std::holds_alternative<LeftOut>(value) || std::holds_alternative<Sealed>(value);
}

} // namespace

void DifferenceReport::compare(RowSource& a, RowSource& b)
{
    bool hasA = a.nextTable();
    bool hasB = b.nextTable();
    while (hasA || hasB) {
        const bool inA = hasA && (!hasB || a.table().name <= b.table().name);
        const bool inB = hasB && (!hasA || b.table().name <= a.table().name);
        if (inA && inB)
            compareTable(a, b);
        else
            missing += QString::fromLatin1((inA ? a : b).table().name);
        if (inA)
            hasA = a.nextTable();
        if (inB)
            hasB = b.nextTable();
    }
}

bool DifferenceReport::sidesAgree() const
{
    return std::all_of(tables.begin(), tables.end(), [](const TableDifference& counted) {
        return counted.onlyInA + counted.onlyInB + counted.changed == 0;
    });
}

void DifferenceReport::compareTable(RowSource& a, RowSource& b)
{
    tables.push_back({&a.table()});
    beginTable();
    visitPairs(a, b, [this](const Row* rowOfA, const Row* rowOfB) {
        if (rowOfA && rowOfB) {
            compareRows(*rowOfA, *rowOfB);
            return;
        }
        ++(rowOfA ? current().onlyInA : current().onlyInB);
        showOnly(rowOfA ? *rowOfA : *rowOfB, rowOfA ? 'A' : 'B');
    });
    endTable();
}

void DifferenceReport::compareRows(const Row& a, const Row& b)
{
    std::vector<size_t> columns;
    for (size_t at = 0; at < table().columns.size(); ++at) {
        if (!isEqual(table().columns[at], a.values[at], b.values[at]))
            columns.push_back(at);
    }
    ++(columns.empty() ? current().same : current().changed);
    if (!columns.empty())
        showChanged(a, b, columns);
}

bool DifferenceReport::isEqual(const Column& column, const Value& a, const Value& b)
{
    if (isSame(a, b) || (column.isSecret() && (isHidden(a) || isHidden(b))))
        return true;
    if (column.isSecret())
        return isSamePassword(reader, a, b);
    const bool isMasked = std::holds_alternative<Masked>(a) || std::holds_alternative<Masked>(b);
    return isMasked && shownOf(column, a) == shownOf(column, b);
}

} // namespace velmioctl::exchange
