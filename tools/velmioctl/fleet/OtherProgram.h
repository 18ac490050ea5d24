#pragma once

namespace velmioctl::fleet {

/// Thrown where a command is about a fleet and this program knows none: velmioctl-fleet, which lies
/// beside it and is linked with PostgreSQL, can run the same command line.
struct NeedsOtherProgram
{
};

} // namespace velmioctl::fleet
