#pragma once

#include <QString>

namespace velmioctl {

class Command;

/// What a shell completes the command lines of a program with.
QString bashCompletion(const Command& program);
QString fishCompletion(const Command& program);
QString zshCompletion(const Command& program);

/// The manual page of a program and all of its commands, for man(1).
QString manPage(const Command& program);

} // namespace velmioctl
