#pragma once

#include <QString>

namespace velmioctl {

class Command;

/// What bash completes the command lines of a program with.
QString bashCompletion(const Command& program);

} // namespace velmioctl
