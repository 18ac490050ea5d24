#pragma once

#include <velmioctl/doctor/Finding.h>

#include <QStringList>

#include <functional>
#include <vector>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace velmioctl::doctor {

/// A check of the records.
struct RecordCheck
{
    using Run = std::function<void(
        sync::interf::factory::IDatabaseFactory& database, const Check& check, const Found& found)>;

    Check check;
    Run run; ///< Throws ReadFailure.
};

/// All of them, by the tables that they concern.
const std::vector<RecordCheck>& recordChecks();

/// Those of paths, which need more than SQL.
std::vector<RecordCheck> pathChecks();

/// Those of properties and links.
std::vector<RecordCheck> xmlChecks();

/// The tables of files: ordinary, generated, base copies, as their types count.
const QStringList& fileTables();

/// Parts of statements that checks and fixes share.
namespace sql {

/// The path of the folder that contains the path in a column, without a "/" at its end.
QString folderPathOf(const QString& column);

/// The condition that a column of a row `f` is not 0 or -1, which mean none, and that no row of a
/// table has that id.
QString leadsNowhere(const QString& column, const QString& target);

/// The condition that a generated file or base copy `f` belongs to no file. Here -1 counts.
extern const QString CompanionLost;

/// The condition that a folder `f` is a root folder whose rootId is not its own id.
extern const QString RootMisnamed;

/// The condition that a file `f` in no folder names a root that does not exist.
extern const QString FileRootMissing;

/// The condition that a folder `f` is not a root and its parent does not exist.
extern const QString ParentMissing;

/// A table expression `tree(id, root)`: all folders that a root leads to, with that root.
extern const QString Tree;

/// The condition that a folder `f` is its own ancestor, or has one that is.
extern const QString Circular;

/// A table expression `twice(clientPath)` of the paths that several rows of a table have.
QString pathsTwiceIn(const QString& table);

} // namespace sql

} // namespace velmioctl::doctor
