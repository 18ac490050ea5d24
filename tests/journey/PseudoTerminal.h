#pragma once

#include "VelmioctlRunner.h"

#include <QByteArray>
#include <QProcess>

/// A pseudo terminal in which velmioctl runs.
class PseudoTerminal
{
public:
    /// Starts it in the folder and on the database of `runner`.
    PseudoTerminal(const VelmioctlRunner& runner, const QStringList& arguments);
    ~PseudoTerminal();

    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// False if the program did not write this. What it wrote before is skipped.
    bool waitFor(const QByteArray& text);

    void type(const QByteArray& keys);

    /// True if the terminal shows what is typed.
    bool hasEcho() const;

    /// Waits for the end of the program; 128 plus the number of the signal that ended it, as in
    /// shells.
    int exitCode();

    qint64 processId() const { return process.processId(); }

    /// Everything that was shown.
    QByteArray transcript() const { return shown; }

private:
    bool readMore();

    int user = -1;    // The person's side.
    int program = -1; // Kept open, so that the state can be read after the end.
    qsizetype passed = 0;
    QByteArray shown;
    QProcess process;
};
