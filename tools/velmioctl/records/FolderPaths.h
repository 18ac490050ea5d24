#pragma once

#include <QString>

namespace velmioctl {

class Session;

/// Throws CommandError unless a path leads to a directory; `remedy` is for one that does not exist.
void requireDirectory(const QString& path, const QString& remedy);

/// Throws CommandError if a path cannot be a root folder, because it is in another one or contains
/// one, except for the root of an id.
void refuseOverlap(Session& session, const QString& path, int exceptRoot = -1);

} // namespace velmioctl
