#pragma once

#include <QDir>
#include <QTemporaryDir>

#include <cstdlib>

namespace sync::test {

/// A folder for the files of a fuzz target, in memory where the system has such a place.
inline const QString& fuzzFolder()
{
    static const QTemporaryDir folder(
        (QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm")
                                                   : QDir::tempPath()) +
        QStringLiteral("/velmio-fuzz-XXXXXX"));
    static const QString path = folder.path();
    return path;
}

} // namespace sync::test
