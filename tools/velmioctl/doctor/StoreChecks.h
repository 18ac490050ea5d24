#pragma once

#include <velmioctl/doctor/Finding.h>

#include <vector>

namespace velmioctl::doctor {

class ReadOnlyDatabase;
class UnreadableDatabase;

/// The checks of the database as a whole.
std::vector<Check> storeChecks();

/// What is found at a path that cannot be read as a database at all.
void reportUnreadable(const QString& path, const UnreadableDatabase& error, const Found& found);

/// What is found when a check of the records failed.
void reportFailedCheck(const QString& check, const QString& error, const Found& found);

/// What a file that can be read holds.
enum class Content {
    NotOurs,  ///< No settings of ours.
    Unusable, ///< Settings of ours that cannot be relied on, or not be read by this version.
    Sound,
};

/// Looks at all but the records. Throws ReadFailure.
Content checkContent(const QString& path, ReadOnlyDatabase& database, const Found& found);

/// Whether the SQLite library is known for trouble.
void checkEngine(ReadOnlyDatabase& database, const Found& found);

/// True for a SQLite version whose checkpoints can lose what another connection has committed.
bool hasLogResetBug(const QString& version);

} // namespace velmioctl::doctor
