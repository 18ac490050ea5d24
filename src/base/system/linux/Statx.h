#pragma once

#include <base/system/Files.h>

#include <optional>

struct statx;

namespace sync::base {

/// Calls statx(2); nothing, with errno set, on failure.
std::optional<struct statx> statxOf(int folder, const char* name, int flags);

FileStatus toStatus(const struct statx& found);

} // namespace sync::base
