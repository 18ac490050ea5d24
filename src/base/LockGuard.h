#pragma once

#include <QtGlobal>

#include <mutex>

namespace sync::base {

/// A std::lock_guard. In debug builds a thread knows whether it holds one, so that code which calls
/// a host can assert that it holds none.
class LockGuard
{
public:
    explicit LockGuard(std::mutex& mutex)
        : lock(mutex)
    {
        count(1);
    }
    ~LockGuard() { count(-1); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

    /// Always true in release builds.
    static bool holdsNone() { return held == 0; }

private:
    static void count([[maybe_unused]] int change)
    {
#ifndef QT_NO_DEBUG
        held += change;
#endif
    }

    static inline thread_local int held = 0;
    const std::lock_guard<std::mutex> lock;
};

} // namespace sync::base
