#pragma once
#include <core/PosixSync.h>

#include <QStringList>

namespace sync::test {

/// How many threads each process of a crowd has.
constexpr int CrowdThreads = 4;

/// How many rows of a folder a writer stores in one transaction: a reader sees all or none.
constexpr int CrowdGroup = 10;

/// The folder of a thread of a writer, and the one for its transactions. Ids count from 1.
int lonelyFolderOf(int writer, int thread);
int groupFolderOf(int writer, int thread);

/// The path of a thread's row number `row`.
QString crowdPath(int folderId, int row);

/// One process of a crowd. `arguments` are "writer" or "reader", the database, its number, and for
/// how many milliseconds it goes on.
///
/// A writer prints lines of a word and numbers: "rows FOLDER COUNT" for what it was told is stored,
/// and "took MICROSECONDS" for each write. Returns 1 when anything fails or takes longer than 5 s,
/// with the text on standard error.
int runCrowdMember(const QStringList& arguments);

} // namespace sync::test
