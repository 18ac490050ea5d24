#pragma once

#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>

#include <QStringList>

#include <map>
#include <unordered_map>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace velmioctl::exchange {

/// Finds the references that an import would break: those of rows that it brings and that lead
/// nowhere, and those to rows that it removes. 0, -1 and NULL mean none. What led nowhere before,
/// in a row that stays as it is, is not the import's fault.
class ReferenceCheck
{
public:
    ReferenceCheck();

    /// Each row that the table has or will have has to be told then, by ids.
    void beginTable(const TableShape& begun);

    /// A row as it will be, and as it is, if it is there.
    void willBe(const Row& row, const Row* before);
    void willGo(qint64 id);

    /// The references that would be broken, the first in the text first. Reads what the database
    /// has in other tables; throws doctor::ReadFailure.
    QStringList broken(sync::interf::factory::IDatabaseFactory& database);

private:
    struct Place
    {
        qint64 line;
        const TableShape* table;
        const Column* column;
        qint64 row;
    };
    /// What is known of a table that references lead to.
    struct Target
    {
        std::vector<qint64> present = {}; // when the table was told; ascending
        std::vector<qint64> removed = {}; // ascending
        // id -> the first place that needs it, because it brings the reference or has had it
        std::unordered_map<qint64, Place> brought = {};
        std::unordered_map<qint64, Place> held = {};
        bool isTold = false;
    };
    struct Finding
    {
        Place place;
        qint64 id;
    };

    void note(const TableShape& holder, const Row& row, const Row* before);
    void collect(
        const Target& target, const std::vector<qint64>& present, std::vector<Finding>& findings);
    void noteOtherTables(sync::interf::factory::IDatabaseFactory& database);

    std::map<QByteArray, Target> targets;
    std::vector<const TableShape*> otherTables; // that were not told
    const TableShape* table = nullptr;
    Target* ownTarget = nullptr; // of the table; null when nothing refers to it
};

} // namespace velmioctl::exchange
