#pragma once
#include <core/PosixSync.h>

#include <QMap>
#include <QString>
#include <QStringList>

namespace sync::test {

class Managers;

/// A program that changes a database until it is killed. Before each operation it writes a line
/// "try OPERATION" to standard output, and "did OPERATION" when it has returned.
///
/// `arguments` are what it does, the database, and a number that no other run has:
///
///     rows         stores roots and files, and changes the files
///     trees        stores a root with its folders and files in a transaction, and removes it again
///     checkpoints  stores files, and closes the database after each
///     rekey        changes the key of the passwords
///     open         opens the database, once, and waits
///
/// Returns when something fails, with the text on standard error.
int runKillableClient(const QStringList& arguments);

/// What a killable client keeps in a database: a file's client path -> its server path, a root's ->
/// "root", and that of a tree's root -> how many folders and files it has.
using ClientRows = QMap<QString, QString>;

/// Reads what is there.
ClientRows clientRowsOf(Managers& managers);

/// What an operation of the client makes of it.
ClientRows after(const QString& operation, ClientRows rows);

} // namespace sync::test
