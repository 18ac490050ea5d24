#pragma once

#include <QElapsedTimer>
#include <QString>

#include <cstdio>

namespace velmioctl {

struct Terminal;

/// One line on a terminal that says how far a long command has come; elsewhere nothing.
class Progress
{
public:
    Progress(std::FILE* stream, const Terminal& terminal);
    ~Progress();

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// True when it is time to call show(): some times a second, on a terminal.
    bool due() const;
    void show(const QString& text);

    /// Takes the line away, before other text is written.
    void clear();

private:
    std::FILE* const stream;
    const bool interactive;
    const int columns;
    bool visible = false;
    QElapsedTimer sinceShown;
};

} // namespace velmioctl
