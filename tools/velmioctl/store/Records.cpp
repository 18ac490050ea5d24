#include <velmioctl/store/Records.h>

#include <config/FileConfiguration.h>
#include <config/FolderConfiguration.h>
#include <config/ScheduleEntry.h>
#include <config/ServerConfiguration.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/store/Names.h>

#include <QDateTime>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FolderConfiguration;
using sync::config::ScheduleEntry;
using sync::config::ServerConfiguration;

namespace velmioctl {

namespace {

QString numbered(const QString& word, int value)
{
    return u"%1 (%2)"_s.arg(word, QString::number(value));
}

} // namespace

QJsonObject toJson(const QMap<QString, QString>& properties)
{
    QJsonObject object;
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry)
        object.insert(entry.key(), entry.value());
    return object;
}

QJsonValue toJson(const QDateTime& time)
{
    return time.isValid() ? QJsonValue(time.toString(Qt::ISODateWithMs)) : QJsonValue();
}

void addProperties(FieldList& fields, const QMap<QString, QString>& properties)
{
    for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry)
        fields.add(u"property "_s + entry.key(), entry.value());
}

QJsonObject toJson(const ServerConfiguration& server)
{
    return {
        {u"id"_s, server.getId()},
        {u"alias"_s, server.getAlias()},
        {u"davUrl"_s, server.getDavUrl()},
        {u"webServiceUrl"_s, server.getWebServiceUrl()},
        {u"binaryDiffEncoder"_s, server.getBinaryDiffEncoder()},
        {u"properties"_s, toJson(server.getNameValueProperties())},
    };
}

QJsonObject toJson(const FolderConfiguration& folder)
{
    return {
        {u"id"_s, folder.getId()},
        {u"parentId"_s, folder.getParentId()},
        {u"rootId"_s, folder.getRootId()},
        {u"name"_s, folder.getName()},
        {u"clientPath"_s, folder.getClientPath()},
        {u"serverPath"_s, folder.getServerPath()},
        {u"authenticationId"_s, folder.getAuthenticationId()},
        {u"productConfigurationId"_s, folder.getProductConfigurationId()},
        {u"syncStatus"_s, int(folder.getSyncStatus())},
        {u"folderOption"_s, int(folder.getFolderOption())},
        {u"syncOption"_s, int(folder.getSyncOption())},
        {u"syncDriveType"_s, int(folder.getSyncDriveType())},
        {u"privileges"_s, int(folder.getPrivileges())},
        {u"lastOperationType"_s, int(folder.getLastOperationType())},
        {u"lastOperationTime"_s, toJson(folder.getLastOperationTime())},
        {u"lastSyncTime"_s, toJson(folder.getLastSyncTime())},
        {u"ownerId"_s, folder.getOwnerId()},
        {u"serverRoot"_s, folder.getServerRoot()},
        {u"serverFolderId"_s, folder.getServerFolderId()},
        {u"remoteShortKey"_s, folder.getRemoteShortKey()},
        {u"remoteLongKey"_s, folder.getRemoteLongKey()},
        {u"properties"_s, toJson(folder.getNameValueProperties())},
    };
}

QJsonObject toJson(const FileConfiguration& file)
{
    return {
        {u"id"_s, file.getId()},
        {u"type"_s, int(file.getFileType())},
        {u"folderConfigurationId"_s, file.getFolderConfigurationId()},
        {u"rootFolderId"_s, file.getRootFolderId()},
        {u"parentFileId"_s, file.getParentFileId()},
        {u"productConfigurationId"_s, file.getProductConfigurationId()},
        {u"name"_s, file.getName()},
        {u"clientPath"_s, file.getClientPath()},
        {u"serverPath"_s, file.getServerPath()},
        {u"size"_s, file.getSize()},
        {u"checkSum"_s, file.getCheckSum()},
        {u"checkSumMD5"_s, file.getCheckSumMD5()},
        {u"createdDateTime"_s, toJson(file.getCreatedDateTime())},
        {u"lastModifiedDateTime"_s, toJson(file.getLastModifiedDateTime())},
        {u"syncStatus"_s, int(file.getSyncStatus())},
        {u"syncOption"_s, file.getSyncOption()},
        {u"privileges"_s, file.getPrivileges()},
        {u"lastOperationType"_s, file.getLastOperationType()},
        {u"lastOperationTime"_s, toJson(file.getLastOperationTime())},
        {u"ownerId"_s, file.getOwnerId()},
        {u"serverFileId"_s, file.getServerFileId()},
        {u"serverFileVersionId"_s, file.getServerFileVersionId()},
        {u"links"_s, int(file.getFileLinks().size())},
        {u"properties"_s, toJson(file.getNameValueProperties())},
    };
}

QJsonObject toJson(const ScheduleEntry& schedule)
{
    return {
        {u"id"_s, schedule.getId()},
        {u"folderConfigId"_s, schedule.getFolderConfigId()},
        {u"startTime"_s, toJson(schedule.getStartTime())},
        {u"expireTime"_s, toJson(schedule.getExpireTime())},
        {u"syncScheduleType"_s, int(schedule.getSyncScheduleType())},
        {u"syncInterval"_s, schedule.getSyncInterval()},
    };
}

FieldList toFields(const ServerConfiguration& server)
{
    FieldList fields;
    fields.add(u"id"_s, QString::number(server.getId()));
    fields.add(u"alias"_s, server.getAlias());
    fields.add(u"DAV URL"_s, server.getDavUrl());
    fields.add(u"web service URL"_s, server.getWebServiceUrl());
    fields.add(u"encoder"_s, server.getBinaryDiffEncoder());
    addProperties(fields, server.getNameValueProperties());
    return fields;
}

FieldList toFields(const FolderConfiguration& folder)
{
    FieldList fields;
    fields.add(u"id"_s, QString::number(folder.getId()));
    fields.add(u"name"_s, folder.getName());
    fields.add(u"client path"_s, folder.getClientPath());
    fields.add(u"server path"_s, folder.getServerPath());
    fields.add(
        u"status"_s, numbered(syncStatusName(folder.getSyncStatus()), folder.getSyncStatus()));
    fields.add(
        u"parent"_s,
        folder.isRoot() ? u"none: a root folder"_s : QString::number(folder.getParentId()));
    fields.add(u"root"_s, QString::number(folder.getRootId()));
    fields.add(u"sign-in"_s, QString::number(folder.getAuthenticationId()));
    fields.add(u"product"_s, QString::number(folder.getProductConfigurationId()));
    fields.add(
        u"option"_s,
        numbered(folderOptionName(folder.getFolderOption()), folder.getFolderOption()));
    fields.add(
        u"privileges"_s, numbered(privilegesName(folder.getPrivileges()), folder.getPrivileges()));
    fields.add(u"sync option"_s, QString::number(folder.getSyncOption()));
    fields.add(u"drive type"_s, QString::number(folder.getSyncDriveType()));
    fields.add(u"last operation"_s, QString::number(folder.getLastOperationType()));
    fields.add(u"last operation time"_s, folder.getLastOperationTime().toString(Qt::ISODateWithMs));
    fields.add(u"last sync time"_s, folder.getLastSyncTime().toString(Qt::ISODateWithMs));
    fields.add(u"owner"_s, folder.getOwnerId());
    fields.add(u"server root"_s, folder.getServerRoot());
    fields.add(u"server folder id"_s, folder.getServerFolderId());
    fields.add(u"short key"_s, folder.getRemoteShortKey());
    fields.add(u"long key"_s, folder.getRemoteLongKey());
    addProperties(fields, folder.getNameValueProperties());
    return fields;
}

FieldList toFields(const FileConfiguration& file)
{
    FieldList fields;
    fields.add(u"id"_s, QString::number(file.getId()));
    fields.add(u"type"_s, numbered(fileTypeName(file.getFileType()), file.getFileType()));
    fields.add(u"name"_s, file.getName());
    fields.add(u"client path"_s, file.getClientPath());
    fields.add(u"server path"_s, file.getServerPath());
    fields.add(u"status"_s, numbered(syncStatusName(file.getSyncStatus()), file.getSyncStatus()));
    fields.add(u"size"_s, QString::number(file.getSize()));
    fields.add(u"checksum"_s, file.getCheckSum());
    fields.add(u"MD5"_s, file.getCheckSumMD5());
    fields.add(u"created"_s, file.getCreatedDateTime().toString(Qt::ISODateWithMs));
    fields.add(u"modified"_s, file.getLastModifiedDateTime().toString(Qt::ISODateWithMs));
    fields.add(u"folder"_s, QString::number(file.getFolderConfigurationId()));
    fields.add(u"root"_s, QString::number(file.getRootFolderId()));
    fields.add(u"parent"_s, QString::number(file.getParentFileId()));
    fields.add(u"product"_s, QString::number(file.getProductConfigurationId()));
    fields.add(
        u"privileges"_s, numbered(privilegesName(file.getPrivileges()), file.getPrivileges()));
    fields.add(u"sync option"_s, QString::number(file.getSyncOption()));
    fields.add(u"last operation"_s, QString::number(file.getLastOperationType()));
    fields.add(u"last operation time"_s, file.getLastOperationTime().toString(Qt::ISODateWithMs));
    fields.add(u"owner"_s, file.getOwnerId());
    fields.add(u"server file id"_s, file.getServerFileId());
    fields.add(u"server version id"_s, file.getServerFileVersionId());
    fields.add(u"links"_s, QString::number(file.getFileLinks().size()));
    addProperties(fields, file.getNameValueProperties());
    return fields;
}

} // namespace velmioctl
