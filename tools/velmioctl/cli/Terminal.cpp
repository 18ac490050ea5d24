#include <velmioctl/cli/Terminal.h>

#include <QByteArray>

#include <clocale>
#include <cstring>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

Terminal terminalOf(int fileDescriptor, bool utf8)
{
    Terminal terminal;
    terminal.utf8 = utf8;
    terminal.interactive = ::isatty(fileDescriptor) == 1;
    if (!terminal.interactive)
        return terminal;

    winsize size{};
    if (::ioctl(fileDescriptor, TIOCGWINSZ, &size) == 0)
        terminal.columns = size.ws_col;
    // An empty NO_COLOR counts as unset (no-color.org).
    terminal.colours = qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb";
    return terminal;
}

QString coloured(const QString& text, Colour colour, const Terminal& terminal)
{
    if (!terminal.colours)
        return text;
    return u"\x1b[%1m"_s.arg(int(colour)) + text + u"\x1b[0m"_s;
}

bool environmentUsesUtf8()
{
    std::setlocale(LC_ALL, "");
    return std::strcmp(::nl_langinfo(CODESET), "UTF-8") == 0;
}

} // namespace velmioctl
