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

/// Finds the references that an import would break: those of imported rows to missing rows, and
/// those to rows that it removes. 0, -1 and NULL refer to none. A reference that was broken before
/// and does not change is not reported.
class ReferenceCheck
{
public:
    ReferenceCheck();

    /// After it, willBe() or willGo() must be called for each row of the table, sorted by id.
    void beginTable(const TableShape& begun);

    /// A row as it will be, and as it is now; null for a new row.
    void willBe(const Row& row, const Row* before);
    void willGo(qint64 id);

    /// The references that would be broken, in the order of the text. Reads the other tables of the
    /// database; throws doctor::ReadFailure.
    QStringList broken(sync::interf::factory::IDatabaseFactory& database);

private:
    struct Place
    {
        qint64 line;
        const TableShape* table;
        const Column* column;
        qint64 row;
    };
    /// What is known about a table that others refer to.
    struct Target
    {
        std::vector<qint64> present = {}; // if the import has the table; ascending
        std::vector<qint64> removed = {}; // ascending
        // id -> the first place that needs it, because it brings the reference or has had it
        std::unordered_map<qint64, Place> brought = {};
        std::unordered_map<qint64, Place> held = {};
        bool isImported = false;
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
    std::vector<const TableShape*> otherTables; // that the import does not have
    const TableShape* table = nullptr;
    Target* ownTarget = nullptr; // of the table; null when nothing refers to it
};

} // namespace velmioctl::exchange
