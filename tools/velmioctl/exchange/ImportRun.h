#pragma once

#include <velmioctl/exchange/ExportRows.h>
#include <velmioctl/exchange/ReferenceCheck.h>
#include <velmioctl/exchange/RowPaths.h>
#include <velmioctl/exchange/RowSecrets.h>
#include <velmioctl/exchange/RowWriter.h>

#include <QStringList>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace velmioctl::exchange {

/// What an import does to a table.
struct TableChanges
{
    const TableShape* table = nullptr;
    qint64 added = 0;
    qint64 changed = 0;
    qint64 same = 0;
    qint64 removed = 0;
    qint64 kept = 0; ///< Rows that stay although the export does not have them.
    bool raisesLastId = false;

    bool isEmpty() const { return added + changed + removed == 0 && !raisesLastId; }
    bool operator==(const TableChanges&) const = default;
};

/// How often something was met, and where first.
struct Remarks
{
    qint64 count = 0;
    QStringList first = {};

    void add(const QString& place);
    /// The places, each on a line.
    QString text() const;
    bool operator==(const Remarks&) const = default;
};

/// What an import does, or would do.
struct ImportPlan
{
    std::vector<TableChanges> tables = {};
    QStringList brokenReferences = {};
    qint64 newWithoutPassword = 0;
    qint64 newMasked = 0;    ///< Values of new rows of which only what is shown is imported.
    Remarks keptMasked = {}; ///< Stored values that differ from what is shown, and stay.

    Remarks nestedXml = {}; ///< Values that no client has written.

    qint64 mapped = 0;                    ///< Rows whose paths the import changes.
    std::vector<qint64> mappedRoots = {}; ///< The ids of those that are stored root folders.

    bool isEmpty() const;
    bool operator==(const ImportPlan&) const = default;
};

/// Compares an export with a database, row by row, and makes them agree.
class ImportRun
{
public:
    struct Mode
    {
        bool replace = false;     ///< Remove rows that the export does not have.
        bool withSecrets = false; ///< Import the secrets of the export.
    };

    /// Reads from `database`. `secrets` may be null if they are not imported; with a null `writer`
    /// nothing is changed. All must outlive this.
    ImportRun(
        sync::interf::factory::IDatabaseFactory& database, Mode mode, RowPaths& paths,
        RowSecrets* secrets, RowWriter* writer);

    /// Throws TextError, CommandError, doctor::ReadFailure and KeyError.
    ImportPlan run(ExportRows& rows);

private:
    void runTable(ExportRows& rows);
    void take(ExportRows& rows, const Row* stored);
    void drop(const Row& stored);
    Row prepared(ExportRows& rows, const Row* stored);
    void unmask(Row& row, const Row* stored);
    void remark(const Row& row, Remarks& remarks, const Column& column);
    void findNestedXml(const Row& row);

    sync::interf::factory::IDatabaseFactory& database;
    const Mode mode;
    RowPaths& paths;
    // Only for the text of links.
    const sync::config::FileConfigManager files;
    RowSecrets* const secrets;
    RowWriter* const writer;
    ImportPlan plan;
    ReferenceCheck references;
};

/// True for a database in which nobody has stored anything yet.
bool isNew(sync::interf::factory::IDatabaseFactory& database);

} // namespace velmioctl::exchange
