#pragma once

#include <chrono>

class QLockFile;

namespace sync::core::crypto {

/// Locks a key store against other threads and processes. Throws KeyError when that takes longer
/// than `limit`, with the process that holds the lock, or when the lock file cannot be written.
void lockKeys(QLockFile& lock, std::chrono::milliseconds limit);

} // namespace sync::core::crypto
