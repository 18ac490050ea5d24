#include <database/IdentitySource.h>

namespace sync::database {

IdentitySource::~IdentitySource() = default;

} // namespace sync::database
