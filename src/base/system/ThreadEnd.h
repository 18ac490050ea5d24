#pragma once

namespace sync::base {

/// Calls the function with `object` when the calling thread ends, on that thread; what was asked
/// last comes first. Where the C++ library cannot be relied on for that, the main thread ends
/// without it. Never called for what is asked after that end, as a static object's destructor can.
void atThreadEnd(void (*function)(void* object), void* object);

} // namespace sync::base
