#include <config/ServerConfiguration.h>

#include <config/xml/NameValueXml.h>

#include <QUrl>

namespace sync::config {

ServerConfiguration::ServerConfiguration() = default;
ServerConfiguration::~ServerConfiguration() = default;

ServerConfiguration::ServerConfiguration(const ServerConfiguration& other)
    : QObject()
{
    _CopyMembers(other);
}

ServerConfiguration::ServerConfiguration(ServerConfiguration&& other) noexcept
    : QObject()
    , members(std::move(other.members))
{
}

ServerConfiguration& ServerConfiguration::operator=(const ServerConfiguration& other)
{
    _CopyMembers(other);
    return *this;
}

ServerConfiguration& ServerConfiguration::operator=(ServerConfiguration&& other) noexcept
{
    members = std::move(other.members);
    return *this;
}

QString ServerConfiguration::getAlias() const
{
    return members.alias.isEmpty() ? _GetHost(members.webServiceUrl) : members.alias;
}

QString ServerConfiguration::_GetHost(QString url) const
{
    const QString authority = QUrl(url, QUrl::TolerantMode).authority();
    const qsizetype dot = authority.indexOf(u'.');
    return dot < 0 ? authority : authority.left(dot);
}

bool ServerConfiguration::isStorable() const
{
    return config::isStorable(members.nameValueProperties);
}

} // namespace sync::config
