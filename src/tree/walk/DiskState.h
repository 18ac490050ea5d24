#pragma once

#include <base/system/Files.h>
#include <tree/FileState.h>

namespace sync::tree {

/// The state of `name` in an open folder; of the link itself if it is one. No value, with errno
/// set, on failure.
std::optional<FileState> readFileState(base::NativeFile folder, const char* name);

} // namespace sync::tree
