#pragma once

#include <QtGlobal>

class QString;

namespace sync::database {

/// How many commits in the WAL of a database SQLite will drop without a word, because something
/// before them is damaged; at least, and 0 if the WAL is sound.
///
/// What a power cut leaves of the last transaction is not counted: it was never acknowledged. A
/// damaged last transaction cannot be told from that. Reads all of the WAL. The result is wrong if
/// a program writes to it meanwhile.
qint64 lostCommitsIn(const QString& databasePath);

} // namespace sync::database
