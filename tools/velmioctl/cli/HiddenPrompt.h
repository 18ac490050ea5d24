#pragma once

#include <core/SecureBytes.h>

#include <QString>

namespace velmioctl {

class Output;

/// Thrown for a signal that ends the program, so that the secrets it has read are wiped first.
struct EndedBySignal
{
    int signal = 0;
};

/// Asks at the terminal on standard input, which does not show what is typed. Returns the line
/// without its end. Throws EndedBySignal after it has restored the terminal.
sync::core::crypto::SecureBytes readHidden(Output& output, const QString& question);

} // namespace velmioctl
