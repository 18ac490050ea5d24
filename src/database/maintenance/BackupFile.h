#pragma once

#include <database/connection/SqliteHandle.h>

namespace sync::base {
class PartialFile;
}

namespace sync::database {

/// A connection to a database of ours that is whole, in the read transaction in which its content
/// was checked. Throws DatabaseError when there is none, or it is foreign, too new or damaged.
SqliteHandle openVerified(const QString& path);

/// Writes what a database holds at one moment into a new file, which is complete without a log,
/// for the user alone, verified and on the disk when this returns.
///
/// Others may write to the database meanwhile; `source` may not be in a transaction that writes.
/// Throws DatabaseError, also when there is a file already; there is no new one then.
void writeVerifiedCopy(sqlite3* source, const QString& target);

/// The same, for a file that is put in its place by the caller.
void writeVerifiedContent(sqlite3* source, base::PartialFile& partial);

/// Makes the content of one database that of another in one transaction; the SQLite error is with
/// `target` when this returns false.
bool copyContent(sqlite3* source, sqlite3* target);

} // namespace sync::database
