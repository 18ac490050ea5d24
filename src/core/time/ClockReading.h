#pragma once

#include <chrono>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>
#include <type_traits>

namespace sync::core {

/// What a text "yyyy-MM-ddTHH:mm:ss.zzz" tells, and the rest of it, which names the time zone.
template <typename Character>
struct ClockReading
{
    /// Since 1970-01-01T00:00 by the same clock, whatever its zone.
    std::chrono::milliseconds sinceEpoch;
    std::basic_string_view<Character> zone;
};

/// True when each of the characters lies between those of two literals. The compiler makes vector
/// instructions of a loop of fixed length that nothing leaves early.
template <std::size_t Length, typename Character>
bool liesBetween(const Character* text, const char* least, const char* most)
{
    using Unsigned = std::make_unsigned_t<Character>;
    Unsigned anyOutside = 0;
    for (std::size_t index = 0; index < Length; ++index) {
        const auto above = static_cast<Unsigned>(text[index] - least[index]);
        const auto range = static_cast<Unsigned>(most[index] - least[index]);
        anyOutside |= static_cast<Unsigned>(above > range);
    }
    return anyOutside == 0;
}

/// The number in `count` digits.
template <typename Character>
constexpr int numberIn(const Character* digits, int count)
{
    int value = 0;
    for (int index = 0; index < count; ++index)
        value = value * 10 + (digits[index] - '0');
    return value;
}

/// Reads a text of the years 1 to 9999; nothing for any other text or field out of range.
template <typename Character>
std::optional<ClockReading<Character>> parseClockReading(std::basic_string_view<Character> text)
{
    using namespace std::chrono;
    constexpr char Least[] = "0000-00-00T00:00:00.000";
    constexpr char Most[] = "9999-19-39T29:59:59.999";
    constexpr std::size_t Length = std::size(Least) - 1;
    if (text.size() < Length)
        return {};
    const Character* const c = text.data();
    // Two times sixteen characters, some of them twice.
    if (!liesBetween<16>(c, Least, Most) ||
        !liesBetween<16>(c + Length - 16, Least + Length - 16, Most + Length - 16))
        return {};

    const year_month_day date{
        year(numberIn(c, 4)), month(unsigned(numberIn(c + 5, 2))),
        day(unsigned(numberIn(c + 8, 2)))};
    const hours hour(numberIn(c + 11, 2));
    if (!date.ok() || int(date.year()) == 0 || hour > hours(23))
        return {};
    const auto time = sys_days(date).time_since_epoch() + hour + minutes(numberIn(c + 14, 2)) +
                      seconds(numberIn(c + 17, 2)) + milliseconds(numberIn(c + 20, 3));
    return ClockReading<Character>{time, text.substr(Length)};
}

/// The offset in a zone "+HH:mm" or "-HH:mm" of less than 14 hours; nothing for any other text.
template <typename Character>
std::optional<std::chrono::seconds> parseZoneOffset(std::basic_string_view<Character> zone)
{
    constexpr char Least[] = "+00:00";
    constexpr char Most[] = "-19:59";
    constexpr std::size_t Length = std::size(Least) - 1;
    if (zone.size() != Length || !liesBetween<Length>(zone.data(), Least, Most) || zone[0] == ',')
        return {};
    const std::chrono::hours hours(numberIn(zone.data() + 1, 2));
    if (hours > std::chrono::hours(13))
        return {};
    const std::chrono::seconds offset = hours + std::chrono::minutes(numberIn(zone.data() + 4, 2));
    return zone[0] == '-' ? -offset : offset;
}

/// True for what may stand behind a time that is stored: nothing, "Z", or an offset.
template <typename Character>
bool isPlainZone(std::basic_string_view<Character> zone)
{
    return zone.empty() || (zone.size() == 1 && zone[0] == 'Z') ||
           parseZoneOffset(zone).has_value();
}

} // namespace sync::core
