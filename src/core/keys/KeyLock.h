#pragma once

#include <chrono>

class QLockFile;

namespace sync::core::crypto {

/// Locks a key store against other threads and processes. Throws KeyError when that takes longer
/// than `limit` or the lock file cannot be written; the text names the file, what it says about the
/// process that holds it, and what to do.
void lockKeys(QLockFile& lock, std::chrono::milliseconds limit);

} // namespace sync::core::crypto
