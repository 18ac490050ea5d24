#pragma once

#include <database/connection/SqliteHandle.h>
#include <database/opening/StoreContent.h>

#include <optional>

namespace sync::base {
class PartialFile;
}

namespace sync::database {

/// A connection to a whole database of ours, in the read transaction in which its content was
/// checked. Throws DatabaseError if the file is anything else.
SqliteHandle openVerified(const QString& path);

/// Copies one moment of a database into a new file. When this returns, the file is verified and on
/// the disk, has no WAL, and is readable for the user alone.
///
/// Others may write to the database at the same time; `source` must not be in a write transaction.
/// Throws DatabaseError, also if the file already exists, and then creates none.
void writeVerifiedCopy(sqlite3* source, const QString& target);

/// The same for a file that the caller publishes. It gets the number of a backup, if its version
/// has one.
void writeVerifiedContent(
    sqlite3* source, base::PartialFile& partial, ForeignSchema foreign = ForeignSchema::Refused,
    const std::optional<qint64>& number = {});

/// Replaces the content of `target` with that of `source` in one transaction. If this returns
/// false, `target` has the SQLite error.
bool copyContent(sqlite3* source, sqlite3* target);

} // namespace sync::database
