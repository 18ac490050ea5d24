#include <config/FolderConfiguration.h>

#include <config/xml/NameValueXml.h>

#include <utility>

using namespace Qt::StringLiterals;

namespace sync::config {

namespace {

QString featureNameKey()
{
    return u"FeatureName"_s;
}

FolderPrivileges privilegeOfWord(const QString& word)
{
    static constexpr std::pair<QStringView, FolderPrivileges> privileges[] = {
        {u"view", ViewPrivilege},     {u"download", DownloadPrivilege},
        {u"update", UpdatePrivilege}, {u"delete", DeletePrivilege},
        {u"share", SharePrivilege},
    };
    for (const auto& [name, privilege] : privileges) {
        if (name.compare(word, Qt::CaseInsensitive) == 0)
            return privilege;
    }
    return NoPrivileges;
}

} // namespace

FolderConfiguration::FolderConfiguration() = default;
FolderConfiguration::~FolderConfiguration() = default;

FolderConfiguration::FolderConfiguration(const FolderConfiguration& other)
    : QObject()
{
    _CopyMembers(other);
}

FolderConfiguration::FolderConfiguration(FolderConfiguration&& other) noexcept
    : QObject()
    , members(std::move(other.members))
{
}

FolderConfiguration& FolderConfiguration::operator=(const FolderConfiguration& other)
{
    _CopyMembers(other);
    return *this;
}

FolderConfiguration& FolderConfiguration::operator=(FolderConfiguration&& other) noexcept
{
    members = std::move(other.members);
    return *this;
}

void FolderConfiguration::setSyncStatus(FolderSynchronizationStatus value)
{
    members.syncStatus = value;
    members.syncStatusChanged = true;
}

void FolderConfiguration::setLastSyncTime(QDateTime value)
{
    value.setTimeSpec(Qt::UTC);
    members.lastSyncTime = std::move(value);
}

void FolderConfiguration::setLastServerSyncRequestTime(QDateTime value)
{
    value.setTimeSpec(Qt::UTC);
    members.lastServerSyncRequestTime = std::move(value);
}

void FolderConfiguration::setPrivileges(const QString& text)
{
    if (text.trimmed().isEmpty()) {
        // Intentional: sharing needs its word.
        members.privileges = ViewPrivilege | DownloadPrivilege | UpdatePrivilege | DeletePrivilege;
        return;
    }
    members.privileges = NoPrivileges;
    // Only blanks separate words: a word with a tab inside matches nothing.
    const QStringList words = text.split(u' ', Qt::SkipEmptyParts);
    for (const QString& word : words)
        members.privileges = members.privileges | privilegeOfWord(word);
}

QString FolderConfiguration::getFeatureName() const
{
    return members.nameValueProperties.value(featureNameKey());
}

void FolderConfiguration::setFeatureName(const QString& value)
{
    members.nameValueProperties.insert(featureNameKey(), value);
}

bool FolderConfiguration::isStorable() const
{
    return config::isStorable(members.nameValueProperties);
}

} // namespace sync::config
