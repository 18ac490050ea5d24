#pragma once

#include <QString>

namespace velmioctl {

class Command;

/// What fish completes the command lines of a program with.
QString fishCompletion(const Command& program);

} // namespace velmioctl
