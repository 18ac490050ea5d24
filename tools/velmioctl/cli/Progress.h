#pragma once

#include <QElapsedTimer>
#include <QString>

#include <cstdio>

namespace velmioctl {

struct Terminal;

/// One line on a terminal that shows the progress of a long command; elsewhere nothing.
class Progress
{
public:
    Progress(std::FILE* stream, const Terminal& terminal);
    ~Progress();

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// True if it is time to call show(): several times a second, only on a terminal.
    bool due() const;
    void show(const QString& text);

    /// Removes the line, before other text is written.
    void clear();

private:
    std::FILE* const stream;
    const bool interactive;
    const int columns;
    bool visible = false;
    QElapsedTimer sinceShown;
};

} // namespace velmioctl
