#pragma once

#include <velmioctl/doctor/Finding.h>

#include <QStringList>

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

/// Reports what was found in the database as a whole.
void checkStore(const sync::database::StoreInspection& store, const Found& found);

/// Reports how the schema differs from that of a new database.
void checkSchema(const sync::database::StoreInspection& store, const Found& found);

/// Reports an SQLite library with known defects. Throws ReadFailure.
void checkEngine(sync::interf::factory::IDatabaseFactory& database, const Found& found);

/// Reports a default server, set by the user for this database, that does not exist. Throws
/// ReadFailure.
void checkDefaultServer(
    sync::interf::factory::IDatabaseFactory& database, const QString& path, const Found& found);

/// Reports that a check failed.
void reportFailedCheck(const QString& check, const QString& error, const Found& found);

/// True for an SQLite version whose checkpoints can lose what another connection has committed.
bool hasLogResetBug(const QString& version);

/// The checks of the rights to the database's files.
std::vector<Check> fileChecks();

/// Reports a database that this user may not write to.
void checkAccess(const QString& path, const Found& found);

/// Those of the database, its companions, its backups and the key file that other users may access.
QStringList filesOpenToOthers(const QString& path);

/// Reports such files.
void reportOpenFiles(const QStringList& files, const Found& found);

/// Reports those of another user, and a folder of the database that others may write to.
void checkOwners(const QString& path, const Found& found);

/// Reports a key file in the folder of the database, after it has had the chance to move.
void checkKeyBeside(const QString& path, const Found& found);

/// The checks of stored passwords and their keys.
std::vector<Check> secretChecks();

/// Decrypts each stored password, and discards it. Throws ReadFailure.
void checkSecrets(sync::interf::factory::IDatabaseFactory& database, const Found& found);

/// The checks of the disk against the records.
std::vector<Check> diskChecks();

/// Looks for every folder and file that has a record. Nothing below a root that cannot be reached,
/// and below a folder that is gone, is looked for. Throws ReadFailure.
void checkDisk(sync::interf::factory::IDatabaseFactory& database, const Found& found);

} // namespace velmioctl::doctor
