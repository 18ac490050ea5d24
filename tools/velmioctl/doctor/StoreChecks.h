#pragma once

#include <velmioctl/doctor/Finding.h>

#include <vector>

namespace sync::database {
class StoreInspection;
}

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace velmioctl::doctor {

/// The checks of the database as a whole.
std::vector<Check> storeChecks();

/// What is found when a check of the records failed.
void reportFailedCheck(const QString& check, const QString& error, const Found& found);

/// Reports what was found in the database as a whole.
void checkStore(const sync::database::StoreInspection& store, const Found& found);

/// Reports an SQLite library that is known for trouble. Throws ReadFailure.
void checkEngine(sync::interf::factory::IDatabaseFactory& database, const Found& found);

/// True for an SQLite version whose checkpoints can lose what another connection has committed.
bool hasLogResetBug(const QString& version);

} // namespace velmioctl::doctor
