#pragma once
#include <core/PosixSync.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace sync::test {

/// All that a database holds: a line for each row, the tables in the order of their names.
///
/// Read by the plain SQLite library with its own file access. Passwords show as the checksum of
/// what they decipher to, since enciphering the same one twice gives two values; who the store is
/// does not show.
QStringList dumpOf(const QString& path);

/// The same, of the file alone, whoever has locked it.
QStringList dumpOfLocked(const QString& path);

/// What a check of the whole file finds; nothing when it is sound.
QStringList integrityOf(const QString& path);

/// Both: what the check finds stands in front.
QStringList checkedDumpOf(const QString& path);

/// The texts of tables, indexes and triggers.
QStringList schemaOf(const QString& path);

/// The lines that only one of two dumps has, for the message of a test.
QByteArray difference(const QStringList& actual, const QStringList& expected);

} // namespace sync::test
