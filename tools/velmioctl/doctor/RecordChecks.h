#pragma once

#include <velmioctl/doctor/Finding.h>

#include <QStringList>

#include <functional>
#include <vector>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace velmioctl::doctor {

/// Something that is looked for in the records.
struct RecordCheck
{
    using Run = std::function<void(
        sync::interf::factory::IDatabaseFactory& database, const Check& check, const Found& found)>;

    Check check;
    Run run; ///< Throws ReadFailure.
};

/// All of them, by the tables that they concern.
const std::vector<RecordCheck>& recordChecks();

/// The tables of files: ordinary, generated, base copies, as their types count.
const QStringList& fileTables();

/// Parts of statements that checks and fixes share.
namespace sql {

/// Without a "/" at its end, the path of what contains that of a column.
QString folderPathOf(const QString& column);

/// The condition that a folder `f` is no root and its parent does not exist.
extern const QString ParentMissing;

/// A table expression `tree(id, root)`: all folders that hang on a root, and which.
extern const QString Tree;

/// The condition that a folder `f` is its own ancestor, or has one that is.
extern const QString Circular;

/// A table expression `twice(clientPath)` of the paths that several rows of a table have.
QString pathsTwiceIn(const QString& table);

} // namespace sql

} // namespace velmioctl::doctor
