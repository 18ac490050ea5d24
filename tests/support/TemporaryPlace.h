#pragma once

#include <QDir>
#include <QFileInfo>

namespace sync::test {

/// The template of a temporary folder for tests that sync much and need no disk: in memory if
/// possible.
inline QString temporaryPlaceInMemory()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
           QStringLiteral("/velmio.XXXXXX");
}

} // namespace sync::test
