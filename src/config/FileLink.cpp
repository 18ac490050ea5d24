#include <config/FileLink.h>

#include <config/xml/FileLinksXml.h>

namespace sync::config {

FileLink::~FileLink() = default;

bool FileLink::isStorable() const
{
    return config::isStorable(*this);
}

} // namespace sync::config
