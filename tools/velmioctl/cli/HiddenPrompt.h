#pragma once

#include <QByteArray>
#include <QString>

namespace velmioctl {

class Output;

/// Asks at the terminal on standard input, which does not show what is typed.
///
/// A signal that ends the program restores the terminal first. Returns the line without its end.
QByteArray readHidden(Output& output, const QString& question);

} // namespace velmioctl
