#pragma once

#include <velmioctl/doctor/Finding.h>
#include <velmioctl/doctor/Fixes.h>

#include <QStringList>

#include <utility>
#include <vector>

namespace sync::database {
class StoreInspection;
}

namespace velmioctl {
class Session;
}

namespace velmioctl::doctor {

/// Receives what an examination finds, one check after the other.
class Examiner
{
public:
    virtual ~Examiner() = default;

    virtual void found(const Check& check, const Row& row) = 0;

    /// How many of the rows of a check a fix would repair. Called after them.
    virtual void fixable(const Fix& fix, long long count) = 0;
};

/// All checks.
std::vector<Check> allChecks();

/// True if what is foreign in the schema of a database cannot falsify what is read of it, and can
/// be repaired: a trigger or an index, and no view in the place of a table.
bool isReadableWithItsSchema(const sync::database::StoreInspection& store);

/// Examines a database and what belongs to it, and changes nothing. All that is wrong with it is
/// reported as a finding and not thrown.
void examine(const QString& path, Examiner& examiner);

/// Runs the statements that repair the schema and applies all fixes(), in one transaction. Returns
/// how many rows each fix has repaired.
///
/// Throws CommandError, with nothing changed, if a statement fails or any check finds more than
/// before.
std::vector<std::pair<const Fix*, long long>> repair(
    Session& session, const QStringList& schemaRepairs = {});

} // namespace velmioctl::doctor
