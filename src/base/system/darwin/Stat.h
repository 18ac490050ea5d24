#pragma once

#include <base/system/Files.h>

struct stat;

namespace sync::base {

FileStatus toStatus(const struct stat& found);

} // namespace sync::base
