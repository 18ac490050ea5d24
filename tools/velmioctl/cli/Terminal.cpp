#include <velmioctl/cli/Terminal.h>

#include <base/system/Terminal.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

Terminal terminalOf(std::FILE* stream, bool utf8)
{
    const sync::base::NativeFile file = sync::base::fileBehind(stream);
    Terminal terminal;
    terminal.utf8 = utf8;
    terminal.interactive = sync::base::isTerminal(file);
    if (!terminal.interactive)
        return terminal;

    terminal.columns = sync::base::terminalColumns(file);
    // An empty NO_COLOR counts as unset (no-color.org).
    terminal.colours =
        qEnvironmentVariableIsEmpty("NO_COLOR") && sync::base::takesEscapeSequences(file);
    return terminal;
}

QString coloured(const QString& text, Colour colour, const Terminal& terminal)
{
    if (!terminal.colours)
        return text;
    return u"\x1b[%1m"_s.arg(int(colour)) + text + u"\x1b[0m"_s;
}

} // namespace velmioctl
