#pragma once
#include <core/PosixSync.h>

#include <QStringList>

namespace sync::test {

/// The number of threads in each process of a crowd.
constexpr int CrowdThreads = 4;

/// The number of rows that a writer stores in one transaction. A reader sees all of them or none.
constexpr int CrowdGroup = 10;

/// The folder for the single rows of a writer's thread, and the one for its transactions. Ids count
/// from 1.
int singlesFolderOf(int writer, int thread);
int groupFolderOf(int writer, int thread);

/// The path of row number `row` of a folder.
QString crowdPath(int folderId, int row);

/// Runs one process of a crowd. `arguments` are "writer" or "reader", the database, the number of
/// the process, and its duration in milliseconds.
///
/// A writer prints "rows FOLDER COUNT" for the rows whose write returned success, and "took
/// MICROSECONDS" for each write. Returns 1, with a text on standard error, when anything fails or
/// takes longer than 5 s.
int runCrowdMember(const QStringList& arguments);

} // namespace sync::test
