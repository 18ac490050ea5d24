#pragma once
#include <core/PosixSync.h>

#include <QDateTime>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <limits>
#include <mutex>
#include <utility>

namespace sync::core {

/// Keeps the result of an expensive load for a short lifetime.
///
/// Any thread may call Result() and Clear(). The loader runs with the cache locked, so it must not
/// call back into the same cache.
template <typename T>
class TimedCache
{
public:
    /// Returns the time in milliseconds since 1970-01-01T00:00:00 UTC.
    using ClockMs = std::function<qint64()>;

    /// Age and lifetime count in whole seconds: with 1000 to 1999 ms a value lasts until it is two
    /// seconds old, with less than 1000 ms until it is one second old. Loads nothing yet. The clock
    /// is a parameter for tests.
    TimedCache(
        int lifetimeMs, std::function<T()> loader,
        ClockMs clock = QDateTime::currentMSecsSinceEpoch)
        : loader(std::move(loader))
        , lifetimeMs(lifetimeMs)
        , clock(std::move(clock))
    {
    }

    virtual ~TimedCache() = default;

    TimedCache(const TimedCache&) = delete;
    TimedCache& operator=(const TimedCache&) = delete;

    /// A copy of the value. Loads it again if there is none, if it is older than the lifetime, or
    /// if its time is further in the future than the lifetime.
    ///
    /// If the loader throws, the previous value stays and the caller gets the exception. Without a
    /// loader that is std::bad_function_call.
    T Result()
    {
        const qint64 now = clock();
        // Intentional: decided without the lock and not repeated under it, so two threads that find
        // the value stale at the same moment both load it.
        if (isStale(now)) {
            const std::lock_guard lock(mutex);
            cachedValue = loader();
            loadedAtMs = now;
        }
        const std::lock_guard lock(mutex);
        return cachedValue;
    }

    /// Empties the value, so that the next Result() loads again.
    void Clear()
    {
        const std::lock_guard lock(mutex);
        cachedValue = T();
        loadedAtMs = Never;
    }

private:
    static constexpr qint64 Never = std::numeric_limits<qint64>::min();

    bool isStale(qint64 now) const
    {
        const qint64 loadedAt = loadedAtMs;
        // Whole seconds, strictly more than the limit: an age equal to the limit is still fresh.
        return loadedAt == Never || std::llabs(loadedAt - now) / 1000 > lifetimeMs / 1000;
    }

    T cachedValue{};
    // Not QMutex: thread sanitizers know the standard mutex, but not Qt's futex.
    std::mutex mutex;
    std::function<T()> loader;
    // When the last successful load began. Atomic, because it is read without the lock.
    std::atomic<qint64> loadedAtMs = Never;
    const int lifetimeMs;
    const ClockMs clock;
};

} // namespace sync::core
