#pragma once
#include <core/PosixSync.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace sync::test {

/// The whole content of a database: one line for each row, with the tables ordered by name.
///
/// Read by the plain SQLite library through its own VFS. A password is shown as the checksum of the
/// deciphered text, because enciphering the same password twice produces two different values. The
/// identity of the store is left out.
QStringList dumpOf(const QString& path);

/// The same for the database file alone, ignoring locks and the WAL.
QStringList dumpOfLocked(const QString& path);

/// The findings of SQLite's integrity check; empty when the file is intact.
QStringList integrityOf(const QString& path);

/// The findings of the integrity check, followed by the dump.
QStringList checkedDumpOf(const QString& path);

/// The SQL of the tables, indexes and triggers.
QStringList schemaOf(const QString& path);

/// The lines that occur in only one of two dumps, for a test message.
QByteArray difference(const QStringList& actual, const QStringList& expected);

} // namespace sync::test
