#pragma once

#include <config/FolderConfiguration.h>

#include <QVector>

namespace sync::config {
class FolderConfigManager;
}

namespace velmioctl {

constexpr int AnySignIn = -1;

/// A folder in a message: its path and id.
QString described(const sync::config::FolderConfiguration& folder);

/// The root folders that a path lies in or is, the innermost first; as the library compares,
/// without regard to case.
QVector<sync::config::FolderConfiguration> rootsAround(
    sync::config::FolderConfigManager& folders, const QString& path, int signIn = AnySignIn);

/// The root folders that lie below a path, compared in the same way.
QVector<sync::config::FolderConfiguration> rootsBelow(
    sync::config::FolderConfigManager& folders, const QString& path);

/// True when one of two paths on the server is the other or lies in it, as the library compares.
bool serverPathsOverlap(const QString& one, const QString& other);

} // namespace velmioctl
