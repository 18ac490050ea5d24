#pragma once

#include <cstddef>

namespace sync::base {

/// Copies ASCII from UTF-8 to UTF-16 or back. False if there are other characters; what was copied
/// is useless then.
///
/// Nearly all texts are ASCII. With the toolkit's converters, a lookup of a file and a list of 50
/// files take 5 % more instructions.
template <typename From, typename To>
bool copyAscii(const From* from, std::ptrdiff_t size, To* to)
{
    From all = 0;
    for (std::ptrdiff_t at = 0; at < size; ++at) {
        all = static_cast<From>(all | from[at]);
        to[at] = static_cast<To>(from[at]);
    }
    return all < 0x80;
}

} // namespace sync::base
