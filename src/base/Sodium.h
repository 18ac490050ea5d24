#pragma once
#include <core/PosixSync.h>

#include <sodium.h>

#include <stdexcept>

namespace sync::base {

/// Must run before the first use of libsodium in the process; on any thread, any number of times.
inline void initializeSodium()
{
    static const bool ready = sodium_init() >= 0;
    // It fails only if the system provides no random numbers.
    if (!ready)
        throw std::runtime_error("libsodium cannot be initialised: no source of random numbers");
}

} // namespace sync::base
