#pragma once

#include <base/system/ThreadEnd.h>

#include <memory>

namespace sync::base {

template <typename T>
inline thread_local T* ownOfThisThread = nullptr;

/// The T of the calling thread, made when it first asks, destroyed when it ends. Use this in place
/// of a thread_local with a destructor, which cannot be relied on everywhere (atThreadEnd).
template <typename T>
T& ofThisThread()
{
    T*& own = ownOfThisThread<T>;
    if (!own) {
        auto made = std::make_unique<T>();
        atThreadEnd(
            [](void* object) {
                const std::unique_ptr<T> ended(static_cast<T*>(object));
                ownOfThisThread<T> = nullptr;
            },
            made.get());
        own = made.release();
    }
    return *own;
}

} // namespace sync::base
