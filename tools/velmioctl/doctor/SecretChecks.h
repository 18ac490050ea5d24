#pragma once

#include <velmioctl/doctor/Finding.h>

#include <vector>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace velmioctl::doctor {

/// The checks of stored passwords and the keys to them.
std::vector<Check> secretChecks();

/// Deciphers each stored password, and drops it. Throws ReadFailure.
void checkSecrets(sync::interf::factory::IDatabaseFactory& database, const Found& found);

} // namespace velmioctl::doctor
