#pragma once
#include <core/PosixSync.h>

#include <support/FileBytes.h>

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

} // namespace sync::test
