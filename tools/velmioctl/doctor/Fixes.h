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

/// A repair of all or some rows that a check finds. It loses nothing that a user has entered.
struct Fix
{
    QString check;  ///< Its id.
    QString table;  ///< Where rows are changed,
    QString column; ///< and what of them; empty where they are removed.
    QString select; ///< SELECTs their ids and, for a column, its new value.
    QString does;   ///< For a person, after "velmioctl doctor --fix".
};

/// All of them, in the order in which they have to run.
const std::vector<Fix>& fixes();

/// How many rows it would repair now. Throws ReadFailure.
long long countOf(const Fix& fix, sync::interf::factory::IDatabaseFactory& database);

/// Repairs them, and returns how many they were. Throws CommandError.
long long apply(const Fix& fix, WatchedDatabase& database);

} // namespace velmioctl::doctor
