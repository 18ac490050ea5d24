#pragma once

#include <QString>

#include <string>

namespace velmioctl {

/// Whether a name is that of the database file, or of one that SQLite keeps beside it.
bool isDatabaseFileName(const std::string& name, const std::string& databaseName);

/// Whether an absolute path leads to the database file, or to one that SQLite keeps beside it.
bool isDatabaseFile(const QString& path, const QString& databasePath);

} // namespace velmioctl
