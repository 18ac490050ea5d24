#include <velmioctl/exchange/ReferenceCheck.h>

#include <velmioctl/exchange/StoreRows.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl::exchange {

namespace {

bool contains(const std::vector<qint64>& ids, qint64 id)
{
    return std::binary_search(ids.begin(), ids.end(), id);
}

} // namespace

ReferenceCheck::ReferenceCheck()
{
    for (const TableShape& shape : tableShapes()) {
        otherTables.push_back(&shape);
        for (const Column& column : shape.columns) {
            if (!column.target.isEmpty())
                targets[column.target];
        }
    }
}

void ReferenceCheck::beginTable(const TableShape& begun)
{
    table = &begun;
    otherTables.erase(std::find(otherTables.begin(), otherTables.end(), table));
    const auto target = targets.find(table->name);
    ownTarget = target == targets.end() ? nullptr : &target->second;
    if (ownTarget)
        ownTarget->isImported = true;
}

void ReferenceCheck::willBe(const Row& row, const Row* before)
{
    if (ownTarget)
        ownTarget->present.push_back(row.id);
    note(*table, row, before);
}

void ReferenceCheck::willGo(qint64 id)
{
    if (ownTarget)
        ownTarget->removed.push_back(id);
}

QStringList ReferenceCheck::broken(IDatabaseFactory& database)
{
    noteOtherTables(database);
    std::vector<Finding> findings;
    for (const auto& [name, target] : targets) {
        const bool mustRead = !target.isImported && !target.brought.empty();
        collect(target, mustRead ? readIds(database, *findTable(name)) : target.present, findings);
    }
    std::sort(findings.begin(), findings.end(), [](const Finding& left, const Finding& right) {
        return left.place.line < right.place.line;
    });
    QStringList lines;
    for (const auto& [place, id] : findings) {
        const QString where = place.line == 0 ? u"In the database"_s : u"Line %1"_s.arg(place.line);
        lines += u"%1: %4 %5 has the %2 %3, which does not exist in %6."_s.arg(
            where, QString::fromLatin1(place.column->name), QString::number(id),
            QString::fromLatin1(place.table->name), QString::number(place.row),
            QString::fromLatin1(place.column->target));
    }
    return lines;
}

void ReferenceCheck::note(const TableShape& holder, const Row& row, const Row* before)
{
    for (size_t at = 0; at < holder.columns.size(); ++at) {
        const Column& column = holder.columns[at];
        const auto* const id = std::get_if<qint64>(&row.values[at]);
        if (column.target.isEmpty() || !id || *id == 0 || *id == -1)
            continue;
        Target& target = targets[column.target];
        const bool isHeld = before && isSame(before->values[at], row.values[at]);
        (isHeld ? target.held : target.brought)
            .try_emplace(*id, Place{row.line, &holder, &column, row.id});
    }
}

void ReferenceCheck::collect(
    const Target& target, const std::vector<qint64>& present, std::vector<Finding>& findings)
{
    for (const auto& [id, place] : target.brought) {
        if (!contains(present, id))
            findings.push_back({place, id});
    }
    for (const auto& [id, place] : target.held) {
        if (contains(target.removed, id) && !target.brought.contains(id))
            findings.push_back({place, id});
    }
}

void ReferenceCheck::noteOtherTables(IDatabaseFactory& database)
{
    const bool anyRemoved = std::any_of(targets.begin(), targets.end(), [](const auto& target) {
        return !target.second.removed.empty();
    });
    if (!anyRemoved)
        return;
    StoreRows rows(database, otherTables);
    while (rows.nextTable()) {
        while (rows.nextRow())
            note(rows.table(), rows.row(), &rows.row());
    }
}

} // namespace velmioctl::exchange
