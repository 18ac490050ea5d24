#pragma once

#include <QString>

#include <cstdio>

namespace velmioctl {

/// What is known about the target of an output stream.
struct Terminal
{
    bool interactive = false; ///< A terminal, not a file or a pipe.
    int columns = 0;          ///< Width of a terminal; 0 if it is not known.
    bool utf8 = true;         ///< The user's locale writes UTF-8.
    bool colours = false;     ///< Escape sequences for colours may be used.
};

/// Reads the file behind a stream, NO_COLOR and TERM. `utf8` is true if the locale uses UTF-8.
Terminal terminalOf(std::FILE* stream, bool utf8);

/// With the numbers of ECMA-48.
enum class Colour { Red = 31, Green = 32, Yellow = 33 };

/// The text in a colour, if the terminal shows colours.
QString coloured(const QString& text, Colour colour, const Terminal& terminal);

} // namespace velmioctl
