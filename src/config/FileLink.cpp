#include <config/FileLink.h>

namespace sync::config {

FileLink::~FileLink() = default;

} // namespace sync::config
