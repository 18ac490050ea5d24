#pragma once
#include <core/PosixSync.h>

#include <QByteArray>
#include <QString>

namespace sync::test {

/// The bytes of a database and of its companion files. An empty text stands for a missing file.
struct DatabaseFiles
{
    QByteArray database;
    QByteArray wal;
    QByteArray journal;

    static DatabaseFiles read(const QString& path);

    /// Replaces the files at the path.
    void write(const QString& path) const;
};

/// Empty when the file does not exist.
QByteArray readFile(const QString& path);

/// Ends the process when the file cannot be written.
void writeFile(const QString& path, const QByteArray& bytes);

} // namespace sync::test
