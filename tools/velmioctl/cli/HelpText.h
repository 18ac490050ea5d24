#pragma once

#include <QString>

namespace velmioctl {

class Command;
struct OptionDescription;

/// The help of a command of the program, in lines of at most `columns`; 0 for a file or a pipe.
QString helpOf(const Command& command, const Command& program, int columns);

/// "velmioctl folder add [OPTIONS] PATH".
QString synopsisOf(const Command& command);

/// "--alias NAME", or "ID".
QString termOf(const OptionDescription& option);

} // namespace velmioctl
