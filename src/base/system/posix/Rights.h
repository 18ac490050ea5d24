#pragma once

#include <base/system/FileRights.h>

#include <sys/types.h>

namespace sync::base {

/// What the mode of a file says. Many systems give each user a group without others
/// (wiki.debian.org/UserPrivateGroups), which may write.
FileRights rightsOf(mode_t mode, uid_t userId, gid_t groupId);

} // namespace sync::base
