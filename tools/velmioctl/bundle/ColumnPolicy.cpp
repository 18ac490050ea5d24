#include <velmioctl/bundle/ColumnPolicy.h>

#include <QHash>

namespace velmioctl::bundle {

namespace {

using Policies = QHash<QByteArray, ColumnPolicy>;
using enum ColumnPolicy;

const Policies& servers()
{
    static const Policies policies{
        {"id", Number},
        {"alias", Name},
        {"davUrl", Url},
        {"webServiceUrl", Url},
        {"binaryDiffEncoder", Name},
        {"nameValueProperties", Denied}};
    return policies;
}

const Policies& signIns()
{
    static const Policies policies{
        {"id", Number},
        {"domain", Name},
        {"userName", Name},
        {"domainId", Identifier},
        {"serverId", Number},
        {"encryptedPassword", Denied},
        {"nameValueProperties", Denied}};
    return policies;
}

const Policies& products()
{
    static const Policies policies{
        {"id", Number},
        {"name", Name},
        {"serverId", Number},
        {"consumerKey", Identifier},
        {"consumerSecret", Denied},
        {"nameValueProperties", Denied}};
    return policies;
}

const Policies& folders()
{
    static const Policies policies{
        {"id", Number},
        {"authenticationId", Number},
        {"name", Name},
        {"remoteShortKey", Identifier},
        {"remoteLongKey", Identifier},
        {"clientPath", Path},
        {"serverPath", Path},
        {"syncStatus", Number},
        {"nameValueProperties", Denied},
        {"parentId", Number},
        {"lastOperationTime", Time},
        {"lastSyncTime", Time},
        {"folderOption", Number},
        {"lastOperationType", Number},
        {"syncDriveType", Number},
        {"rootId", Number},
        {"syncOption", Number},
        {"ownerId", Identifier},
        {"privileges", Number},
        {"serverRoot", Path},
        {"productConfigurationId", Number},
        {"serverFolderId", Identifier}};
    return policies;
}

// There are too many of them to tell each: how they are spread has to do.
const Policies& files()
{
    static const Policies policies{
        {"id", Denied},
        {"folderConfigurationId", Denied},
        {"name", Denied},
        {"clientPath", Denied},
        {"serverPath", Denied},
        {"checkSum", Denied},
        {"createdDateTime", Denied},
        {"lastModifiedDateTime", Denied},
        {"syncStatus", Counted},
        {"lastOperationType", Counted},
        {"size", Denied},
        {"nameValueProperties", Denied},
        {"lastOperationTime", Denied},
        {"rootFolderId", Counted},
        {"syncOption", Counted},
        {"parentFileId", Denied},
        {"fileType", Counted},
        {"ownerId", Denied},
        {"privileges", Counted},
        {"productConfigurationId", Counted},
        {"serverFileId", Denied},
        {"serverFileVersionId", Denied},
        {"checkSumMD5", Denied},
        {"fileLinks", Denied}};
    return policies;
}

const Policies& schedules()
{
    static const Policies policies{
        {"id", Number},       {"folderConfigurationId", Number}, {"startTime", Time},
        {"expireTime", Time}, {"syncScheduleType", Number},      {"syncInterval", Number}};
    return policies;
}

const Policies& policiesOf(const QByteArray& table)
{
    static const QHash<QByteArray, Policies> tables{
        {"ServerConfiguration", servers()},   {"AuthenticationConfiguration", signIns()},
        {"ProductConfiguration", products()}, {"FolderConfiguration", folders()},
        {"FileConfiguration", files()},       {"GeneratedFileConfiguration", files()},
        {"BaseFileConfiguration", files()},   {"Schedules", schedules()}};
    static const Policies none;
    const auto found = tables.find(table);
    return found == tables.end() ? none : *found;
}

} // namespace

std::optional<ColumnPolicy> policyOf(const QByteArray& table, const QByteArray& column)
{
    const Policies& policies = policiesOf(table);
    const auto found = policies.find(column);
    return found == policies.end() ? std::nullopt : std::optional(*found);
}

} // namespace velmioctl::bundle
