#pragma once

#include "VelmioctlRunner.h"

#include <QByteArray>
#include <QProcess>

/// A pseudo terminal with velmioctl on it.
class PseudoTerminal
{
public:
    /// Starts it on the database of `runner`.
    PseudoTerminal(const VelmioctlRunner& runner, const QStringList& arguments);
    ~PseudoTerminal();

    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// False when the program did not write this; what was written before is passed over.
    bool waitFor(const QByteArray& text);

    void type(const QByteArray& keys);

    /// True when the terminal shows what is typed.
    bool hasEcho() const;

    /// Waits for the program's end; 128 and the number for one that a signal ended, as shells do.
    int exitCode();

    /// All that was shown.
    QByteArray transcript() const { return shown; }

private:
    bool readMore();

    int user = -1;    // The side of the person.
    int program = -1; // Kept open, so that the terminal's state can be asked after the end.
    qsizetype passed = 0;
    QByteArray shown;
    QProcess process;
};
