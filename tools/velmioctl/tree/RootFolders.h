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

/// The root folders that contain or are a path, the innermost first. Paths are compared like in
/// the library, without regard to case.
QVector<sync::config::FolderConfiguration> rootsAround(
    sync::config::FolderConfigManager& folders, const QString& path, int signIn = AnySignIn);

/// The root folders below a path, compared in the same way.
QVector<sync::config::FolderConfiguration> rootsBelow(
    sync::config::FolderConfigManager& folders, const QString& path);

/// True if one of two paths on the server is or contains the other, as the library compares.
bool serverPathsOverlap(const QString& one, const QString& other);

} // namespace velmioctl
