#pragma once
#include <core/PosixSync.h>

#include <QMap>
#include <QString>
#include <QStringList>

namespace sync::test {

class Managers;

/// A program that changes a database until it is killed. It writes a line "try OPERATION" to
/// standard output before each operation, and "did OPERATION" after it.
///
/// `arguments` are the action, the database, and a number that is unique to this run. The actions:
///
///     rows         stores roots and files, and changes the files
///     trees        stores a root with its folders and files in one transaction, then removes it
///     checkpoints  stores files, and closes the database after each
///     rekey        changes the key of the passwords
///     open         opens the database once and waits
///
/// Returns only on failure, with a text on standard error.
int runKillableClient(const QStringList& arguments);

/// The rows of a killable client, by client path: the server path of a file, "root" for a single
/// root, and the number of folders and files for the root of a tree.
using ClientRows = QMap<QString, QString>;

/// Reads the rows that are stored.
ClientRows clientRowsOf(Managers& managers);

/// The rows after an operation of the client.
ClientRows after(const QString& operation, ClientRows rows);

} // namespace sync::test
