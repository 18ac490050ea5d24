#include <config/AuthenticationConfiguration.h>

#include <config/xml/NameValueXml.h>

namespace sync::config {

AuthenticationConfiguration::AuthenticationConfiguration() = default;
AuthenticationConfiguration::~AuthenticationConfiguration() = default;

AuthenticationConfiguration::AuthenticationConfiguration(const AuthenticationConfiguration& other)
    : QObject()
{
    _CopyMembers(other);
}

AuthenticationConfiguration::AuthenticationConfiguration(
    AuthenticationConfiguration&& other) noexcept
    : QObject()
    , members(std::move(other.members))
{
}

AuthenticationConfiguration& AuthenticationConfiguration::operator=(
    const AuthenticationConfiguration& other)
{
    _CopyMembers(other);
    return *this;
}

AuthenticationConfiguration& AuthenticationConfiguration::operator=(
    AuthenticationConfiguration&& other) noexcept
{
    members = std::move(other.members);
    return *this;
}

bool AuthenticationConfiguration::isStorable() const
{
    return config::isStorable(members.nameValueProperties);
}

} // namespace sync::config
