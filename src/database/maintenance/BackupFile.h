#pragma once

#include <database/connection/SqliteHandle.h>

namespace sync::base {
class PartialFile;
}

namespace sync::database {

/// A connection to a whole database of ours, in the read transaction in which its content was
/// checked. Throws DatabaseError if the file is anything else.
SqliteHandle openVerified(const QString& path);

/// Copies one moment of a database into a new file, which has no WAL, is readable for the user
/// alone, and is verified and on the disk when this returns.
///
/// Others may write to the database meanwhile; `source` may not be in a transaction that writes.
/// Throws DatabaseError, also if there is a file already, and then creates none.
void writeVerifiedCopy(sqlite3* source, const QString& target);

/// The same for a file that the caller publishes.
void writeVerifiedContent(sqlite3* source, base::PartialFile& partial);

/// Copies the content of one database over that of another in one transaction. If this returns
/// false, `target` has the SQLite error.
bool copyContent(sqlite3* source, sqlite3* target);

} // namespace sync::database
