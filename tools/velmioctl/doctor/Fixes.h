#pragma once

#include <QString>

#include <vector>

namespace velmioctl {
class WatchedDatabase;
}

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace velmioctl::doctor {

/// What mends rows of one check, or some of them. Nothing that a user has entered is lost by it.
struct Fix
{
    QString check;  ///< Its id.
    QString table;  ///< Where rows are changed,
    QString column; ///< and what of them; empty where they are removed.
    QString select; ///< SELECTs their ids and, for a column, its new value.
    QString does;   ///< For a person, behind "velmioctl doctor --fix".
};

/// All of them, in the order in which one makes way for the next.
const std::vector<Fix>& fixes();

/// How many rows it would mend now; throws ReadFailure.
long long countOf(const Fix& fix, sync::interf::factory::IDatabaseFactory& database);

/// Mends them, and tells how many they were; throws CommandError.
long long apply(const Fix& fix, WatchedDatabase& database);

} // namespace velmioctl::doctor
