#pragma once

#include <QString>

namespace sync::base {

/// True if a name is that of the database file or of one of its companions (WAL and so on).
bool isDatabaseFileName(const QString& name, const QString& databaseName);

/// True if an absolute path is that of the database file or of one of its companions.
bool isDatabaseFile(const QString& path, const QString& databasePath);

} // namespace sync::base
