#pragma once

#include <QString>

namespace velmioctl {

/// What is known of the place that an output stream leads to.
struct Terminal
{
    bool interactive = false; ///< A terminal, and not a file or a pipe.
    int columns = 0;          ///< Width of a terminal; 0 where there is none or it does not tell.
    bool utf8 = true;         ///< The user's locale writes UTF-8.
    bool colours = false;     ///< Escape sequences for colours are welcome.
};

/// Looks at a file descriptor, at NO_COLOR and TERM. `utf8` says what the locale encodes in.
Terminal terminalOf(int fileDescriptor, bool utf8);

/// The numbers that ECMA-48 gives them.
enum class Colour { Red = 31, Green = 32, Yellow = 33 };

/// The text in a colour, where the terminal welcomes that.
QString coloured(const QString& text, Colour colour, const Terminal& terminal);

/// True when the locale of the environment encodes text as UTF-8. Sets the program's locale.
bool environmentUsesUtf8();

} // namespace velmioctl
