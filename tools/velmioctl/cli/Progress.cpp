#include <velmioctl/cli/Progress.h>

#include <velmioctl/cli/Terminal.h>
#include <velmioctl/cli/Text.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

constexpr qint64 IntervalMs = 100;
constexpr int DefaultColumns = 80;

} // namespace

Progress::Progress(std::FILE* stream, const Terminal& terminal)
    : stream(stream)
    , interactive(terminal.interactive)
    , columns(terminal.columns > 0 ? terminal.columns : DefaultColumns)
{
    sinceShown.start();
}

Progress::~Progress()
{
    clear();
}

bool Progress::due() const
{
    return interactive && sinceShown.elapsed() >= IntervalMs;
}

void Progress::show(const QString& text)
{
    // One column less than available: a full line would wrap, and could not be removed.
    const QByteArray line = cutToWidth(escapeControls(text), columns - 1, {}).toUtf8();
    std::fputs("\r\x1b[K", stream);
    std::fputs(line.constData(), stream);
    std::fflush(stream);
    visible = true;
    sinceShown.restart();
}

void Progress::clear()
{
    if (!visible)
        return;
    std::fputs("\r\x1b[K", stream);
    std::fflush(stream);
    visible = false;
}

} // namespace velmioctl
