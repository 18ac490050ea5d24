#pragma once

class QString;

namespace sync::database {

/// Whether the last user of a database file ended without closing it, as at a crash or a power cut.
///
/// The last one to close it leaves neither log nor journal behind. While anybody else has the file
/// open, in this process or another, the answer is no.
bool endedUncleanly(const QString& path);

/// Whether a journal lies beside the file that takes back all of its content: the first transaction
/// on it never came to its end, so that nothing in it was ever acknowledged.
bool isUndoneByItsJournal(const QString& path);

} // namespace sync::database
