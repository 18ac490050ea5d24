#pragma once

#include <velmioctl/doctor/Finding.h>

#include <QStringList>

#include <vector>

namespace velmioctl::doctor {

/// The checks of who may do what with the database's files.
std::vector<Check> fileChecks();

/// Whether the database takes writes of this user.
void checkAccess(const QString& path, const Found& found);

/// The database, what SQLite keeps beside it, its backups and the key file, as far as they let
/// other users in.
QStringList filesOpenToOthers(const QString& path);

/// Tells of such files.
void reportOpenFiles(const QStringList& files, const Found& found);

/// Takes the rights of the group and of others from a file; false when that fails.
bool closeToOthers(const QString& path);

} // namespace velmioctl::doctor
