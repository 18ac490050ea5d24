#pragma once

#include <QString>

#include <algorithm>
#include <cstddef>

namespace sync::config {

/// SQL text of `Size` characters that is joined at compile time.
///
/// Statements are constants at the top of a manager's source and share their column list by `+`.
template <std::size_t Size>
struct SqlText
{
    constexpr SqlText() = default;
    // Implicit, so that literals and texts can be joined.
    // NOLINTNEXTLINE(google-explicit-constructor)
    constexpr SqlText(const char16_t (&literal)[Size + 1])
    {
        std::copy_n(literal, Size + 1, characters);
    }

    /// The text without a copy of its characters: for constants only.
    // NOLINTNEXTLINE(google-explicit-constructor)
    operator QString() const
    {
        return QString::fromRawData(reinterpret_cast<const QChar*>(characters), Size);
    }

    char16_t characters[Size + 1] = {};
};

template <std::size_t Length>
SqlText(const char16_t (&)[Length]) -> SqlText<Length - 1>;

template <std::size_t Left, std::size_t Right>
constexpr SqlText<Left + Right> operator+(const SqlText<Left>& left, const SqlText<Right>& right)
{
    SqlText<Left + Right> joined;
    std::copy_n(left.characters, Left, joined.characters);
    std::copy_n(right.characters, Right, joined.characters + Left);
    return joined;
}

template <std::size_t Length, std::size_t Right>
constexpr auto operator+(const char16_t (&left)[Length], const SqlText<Right>& right)
{
    return SqlText(left) + right;
}

template <std::size_t Left, std::size_t Length>
constexpr auto operator+(const SqlText<Left>& left, const char16_t (&right)[Length])
{
    return left + SqlText(right);
}

} // namespace sync::config
