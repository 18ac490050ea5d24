#pragma once

#include <chrono>

class QLockFile;

namespace sync::core::crypto {

/// How long a change of the keys waits for another one.
constexpr std::chrono::seconds KeyLockLimit(5);

/// Locks a key store against other threads and processes. Throws KeyError when that takes longer
/// than `limit`, the lock file cannot be written, or it is not a file of this user or root; the
/// text names the file, what it says about the process that holds it, and what to do.
void lockKeys(QLockFile& lock, std::chrono::milliseconds limit = KeyLockLimit);

} // namespace sync::core::crypto
