#pragma once

#include <base/system/FileRights.h>

#include <QString>

namespace sync::base {

/// Who may change files besides their user. Another user who may write to a folder can plant files
/// in it, and exchange those that are there.

/// True if a file or folder belongs to this user or to a user of the system, or if one of those
/// asks, to `storeOwner`.
bool hasTrustedOwner(const FileRights& rights, const QString& storeOwner);

/// What is wrong with the owner of a file or folder, as a sentence without its full stop; empty if
/// it is trusted.
QString ownerFinding(const QString& path, const FileRights& rights, const QString& storeOwner);

/// The same for the users who may write to it.
QString writersFinding(const QString& path, const FileRights& rights);

} // namespace sync::base
