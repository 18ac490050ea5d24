#include <config/FileConfiguration.h>

#include <config/xml/NameValueXml.h>

#include <algorithm>

namespace sync::config {

FileConfiguration::FileConfiguration()
{
    fileLinksDate.setTimeSpec(Qt::UTC);
}

FileConfiguration::~FileConfiguration() = default;

bool FileConfiguration::isStorable() const
{
    return config::isStorable(nameValueProperties) &&
           std::all_of(fileLinks.begin(), fileLinks.end(), [](const FileLink& link) {
               return link.isStorable();
           });
}

} // namespace sync::config
