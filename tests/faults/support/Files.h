#pragma once
#include <core/PosixSync.h>

#include <QByteArray>
#include <QString>

namespace sync::test {

/// A database with the files that SQLite keeps beside it, as bytes.
struct DatabaseFiles
{
    QByteArray database;
    QByteArray log;
    QByteArray journal;

    /// What is at the path now; what does not exist is empty.
    static DatabaseFiles read(const QString& path);

    /// Puts the bytes there in place of what is there; empty ones give no file.
    void write(const QString& path) const;
};

/// Empty when there is no such file.
QByteArray readFile(const QString& path);

/// Ends the process when that is not possible.
void writeFile(const QString& path, const QByteArray& bytes);

} // namespace sync::test
