#pragma once

#include <velmioctl/doctor/Finding.h>
#include <velmioctl/doctor/Fixes.h>

#include <QStringList>

#include <utility>
#include <vector>

namespace velmioctl {
class Session;
}

namespace velmioctl::doctor {

/// Hears what an examination finds, one check after the other.
class Examiner
{
public:
    virtual ~Examiner() = default;

    virtual void found(const Check& check, const Row& row) = 0;

    /// How many of the rows of a check a fix would mend; comes behind them.
    virtual void fixable(const Fix& fix, long long count) = 0;
};

/// Everything that is looked for.
std::vector<Check> allChecks();

/// Looks at a database and what belongs to it, and changes nothing. Whatever is wrong with it is
/// told as a finding: nothing is thrown for that.
void examine(const QString& path, Examiner& examiner);

/// Mends all that fixes() can, in one transaction, and tells how many rows each has mended.
///
/// Throws CommandError, with nothing changed, when a statement failed or when any check finds more
/// than before.
std::vector<std::pair<const Fix*, long long>> mend(Session& session);

} // namespace velmioctl::doctor
