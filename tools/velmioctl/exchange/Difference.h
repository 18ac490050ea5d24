#pragma once

#include <velmioctl/exchange/RowSource.h>
#include <velmioctl/store/StoredPassword.h>

#include <QStringList>

namespace velmioctl::exchange {

/// How many rows of a table differ between two sources, A and B.
struct TableDifference
{
    const TableShape* table;
    qint64 onlyInA = 0;
    qint64 onlyInB = 0;
    qint64 changed = 0;
    qint64 same = 0;
};

/// Counts the differences between two sources; subclasses show them.
class DifferenceReport
{
public:
    virtual ~DifferenceReport() = default;

    /// Compares the tables that both sources have. A secret that an export does not show in clear
    /// counts as equal; passwords are decrypted if their bytes differ. Of a masked value what is
    /// shown is compared.
    void compare(RowSource& a, RowSource& b);

    bool sidesAgree() const;
    /// The tables that only one source has.
    const QStringList& missingTables() const { return missing; }

protected:
    virtual void showOnly(const Row& row, char side) = 0;
    /// `columns` are the places of those that differ.
    virtual void showChanged(const Row& a, const Row& b, const std::vector<size_t>& columns) = 0;
    virtual void beginTable() {}
    virtual void endTable() {}

    TableDifference& current() { return tables.back(); }
    const TableShape& table() const { return *tables.back().table; }

    std::vector<TableDifference> tables;
    QStringList missing;

private:
    void compareTable(RowSource& a, RowSource& b);
    void compareRows(const Row& a, const Row& b);
    bool isEqual(const Column& column, const Value& a, const Value& b);

    PasswordReader reader;
};

} // namespace velmioctl::exchange
