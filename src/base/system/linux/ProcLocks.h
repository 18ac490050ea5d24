#pragma once

#include <base/system/FileLocks.h>
#include <base/system/Files.h>

#include <QByteArray>

namespace sync::base {

/// The locks on a file in a text like that of /proc/locks.
std::vector<FileLock> locksIn(const QByteArray& procLocks, const FileId& wanted);

} // namespace sync::base
