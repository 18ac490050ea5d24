#include <velmioctl/exchange/Difference.h>

#include <velmioctl/exchange/RowPairs.h>
#include <velmioctl/exchange/RowSecrets.h>

namespace velmioctl::exchange {

namespace {

bool isHidden(const Value& value)
{
    return std::holds_alternative<LeftOut>(value) || std::holds_alternative<Sealed>(value);
}

class Comparison
{
public:
    explicit Comparison(DifferenceListener& listener)
        : listener(listener)
    {
    }

    void compareTable(RowSource& a, RowSource& b)
    {
        const TableShape& table = a.table();
        listener.beginTable(table);
        visitPairs(a, b, [&](const Row* rowOfA, const Row* rowOfB) {
            if (!rowOfB)
                listener.onlyInA(*rowOfA);
            else if (!rowOfA)
                listener.onlyInB(*rowOfB);
            else
                compareRows(table, *rowOfA, *rowOfB);
        });
    }

private:
    void compareRows(const TableShape& table, const Row& a, const Row& b)
    {
        std::vector<size_t> columns;
        for (size_t at = 0; at < table.columns.size(); ++at) {
            if (!isEqual(table.columns[at], a.values[at], b.values[at]))
                columns.push_back(at);
        }
        if (columns.empty())
            listener.same();
        else
            listener.changed(a, b, columns);
    }

    bool isEqual(const Column& column, const Value& a, const Value& b)
    {
        if (isSame(a, b) || (column.isSecret() && (isHidden(a) || isHidden(b))))
            return true;
        return column.isSecret() && isSamePassword(reader, a, b);
    }

    DifferenceListener& listener;
    PasswordReader reader;
};

} // namespace

void compare(RowSource& a, RowSource& b, DifferenceListener& listener)
{
    Comparison comparison(listener);
    bool hasA = a.nextTable();
    bool hasB = b.nextTable();
    while (hasA || hasB) {
        const bool inA = hasA && (!hasB || a.table().name <= b.table().name);
        const bool inB = hasB && (!hasA || b.table().name <= a.table().name);
        if (inA && inB)
            comparison.compareTable(a, b);
        else
            listener.notCompared(inA ? a.table() : b.table());
        if (inA)
            hasA = a.nextTable();
        if (inB)
            hasB = b.nextTable();
    }
}

} // namespace velmioctl::exchange
