#include "PseudoTerminal.h"

// Windows has another kind of terminal: the tests that use this one are left out there.

PseudoTerminal::PseudoTerminal(const VelmioctlRunner& /*runner*/, const QStringList& /*arguments*/)
{
    leftOut("PseudoTerminal");
}

PseudoTerminal::~PseudoTerminal() = default;

bool PseudoTerminal::waitFor(const QByteArray& /*text*/)
{
    return false;
}

void PseudoTerminal::type(const QByteArray& /*keys*/) {}

bool PseudoTerminal::hasEcho() const
{
    return false;
}

int PseudoTerminal::exitCode()
{
    return -1;
}
