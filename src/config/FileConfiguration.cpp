#include <config/FileConfiguration.h>

namespace sync::config {

FileConfiguration::FileConfiguration()
{
    fileLinksDate.setTimeSpec(Qt::UTC);
}

FileConfiguration::~FileConfiguration() = default;

} // namespace sync::config
