#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace sync::base {

/// Copies `Count` units to another width and returns the OR of their bits, eight bytes at a time.
/// The compiler turns it into a few vector instructions, because the count is fixed.
template <std::size_t Count, typename From, typename To>
std::uint64_t copyBlock(const From* from, To* to)
{
    std::uint64_t words[Count * sizeof(From) / sizeof(std::uint64_t)];
    std::memcpy(words, from, sizeof words);
    From units[Count];
    std::memcpy(units, from, sizeof units);
    for (std::size_t index = 0; index < Count; ++index)
        to[index] = static_cast<To>(units[index]);
    std::uint64_t all = 0;
    for (const std::uint64_t word : words)
        all |= word;
    return all;
}

/// Copies ASCII between UTF-8 and UTF-16. False if there was anything else; the copy is useless
/// then.
///
/// Nearly all texts are ASCII, and most are longer than a block: the last block then overlaps the
/// one before, so that nothing is left over. A plain loop takes 0.8 % more instructions for a
/// lookup of a file, which is then over its bound; the toolkit's converters take 5.8 % more.
template <typename From, typename To>
bool copyAscii(const From* from, std::ptrdiff_t size, To* to)
{
    constexpr std::uint64_t OtherBits = sizeof(From) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;
    std::uint64_t all = 0;
    if (size >= 16) {
        for (std::ptrdiff_t at = 0; at + 16 < size; at += 16)
            all |= copyBlock<16>(from + at, to + at);
        all |= copyBlock<16>(from + size - 16, to + size - 16);
    } else if (size >= 8) {
        all = copyBlock<8>(from, to) | copyBlock<8>(from + size - 8, to + size - 8);
    } else {
        for (std::ptrdiff_t at = 0; at < size; ++at) {
            all |= from[at];
            to[at] = static_cast<To>(from[at]);
        }
    }
    return (all & OtherBits) == 0;
}

} // namespace sync::base
