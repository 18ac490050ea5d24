#include <config/ProductConfiguration.h>

namespace sync::config {

ProductConfiguration::ProductConfiguration() = default;
ProductConfiguration::~ProductConfiguration() = default;

ProductConfiguration::ProductConfiguration(const ProductConfiguration& other)
    : QObject()
{
    _CopyMembers(other);
}

ProductConfiguration::ProductConfiguration(ProductConfiguration&& other) noexcept
    : QObject()
    , members(std::move(other.members))
{
}

ProductConfiguration& ProductConfiguration::operator=(const ProductConfiguration& other)
{
    _CopyMembers(other);
    return *this;
}

ProductConfiguration& ProductConfiguration::operator=(ProductConfiguration&& other) noexcept
{
    members = std::move(other.members);
    return *this;
}

} // namespace sync::config
