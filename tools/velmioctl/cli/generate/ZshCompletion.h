#pragma once

#include <QString>

namespace velmioctl {

class Command;

/// What zsh completes the command lines of a program with.
QString zshCompletion(const Command& program);

} // namespace velmioctl
