#pragma once

#include <QString>

namespace velmioctl {

class Command;

/// The manual page of a program and all of its commands, for man(1).
QString manPage(const Command& program);

} // namespace velmioctl
