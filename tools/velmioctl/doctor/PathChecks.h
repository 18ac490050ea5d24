#pragma once

#include <velmioctl/doctor/RecordChecks.h>

namespace velmioctl::doctor {

/// The checks of paths that SQL alone cannot do.
std::vector<RecordCheck> pathChecks();

} // namespace velmioctl::doctor
