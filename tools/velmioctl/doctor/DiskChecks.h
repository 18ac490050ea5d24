#pragma once

#include <velmioctl/doctor/Finding.h>

#include <vector>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace velmioctl::doctor {

/// The checks of what the records say is on the disk.
std::vector<Check> diskChecks();

/// Looks for every folder and file that has a record. Of a root that cannot be reached, and of a
/// folder that is gone, nothing below is looked for. Throws ReadFailure.
void checkDisk(sync::interf::factory::IDatabaseFactory& database, const Found& found);

} // namespace velmioctl::doctor
