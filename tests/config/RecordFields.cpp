#include "RecordFields.h"

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace sync::test {

namespace {

const QMap<QString, QString> Properties{{u"Key"_s, u"value"_s}};
const QDateTime NoTime;
const QDate Day(2024, 3, 1);

QDateTime utc(int hour)
{
    return QDateTime(Day, QTime(hour, 1, 2, 3), Qt::UTC);
}

FileLink sampleLink()
{
    FileLink link;
    link.FileId = 90;
    link.Path = u"docs/a&b.txt"_s;
    link.RefId = u"ref"_s;
    link.ServerFileId = u"linked server file"_s;
    return link;
}

template <typename Value>
Field<FileLink> member(
    const char* name, Value FileLink::*value, std::type_identity_t<Value> byDefault)
{
    return {
        QString::fromLatin1(name),
        [value](const FileLink& link) { return QVariant::fromValue(link.*value); },
        [value](FileLink& link) { link.*value = sampleLink().*value; },
        QVariant::fromValue(byDefault),
        QVariant::fromValue(sampleLink().*value),
        {}};
}

} // namespace

QString fieldText(const QVariant& value)
{
    if (value.metaType().flags() & QMetaType::IsEnumeration)
        return QString::number(value.toInt());
    if (value.typeId() == QMetaType::QString)
        return value.toString().isNull() ? u"null"_s : u'\'' + value.toString() + u'\'';
    if (value.typeId() == QMetaType::QDateTime) {
        const QDateTime time = value.toDateTime();
        const QString clock =
            time.isNull() ? u"null"_s : time.toString(u"yyyy-MM-ddTHH:mm:ss.zzz"_s);
        const QString zones[] = {u"local"_s, u"UTC"_s, u"offset"_s, u"zone"_s};
        return clock + u' ' + zones[time.timeSpec()] + u' ' + QString::number(time.offsetFromUtc());
    }
    QStringList parts;
    if (value.metaType() == QMetaType::fromType<QMap<QString, QString>>()) {
        const auto properties = value.value<QMap<QString, QString>>();
        for (auto entry = properties.cbegin(); entry != properties.cend(); ++entry)
            parts.append(entry.key() + u'=' + entry.value());
        return parts.join(u", ");
    }
    if (value.metaType() == QMetaType::fromType<QList<FileLink>>()) {
        for (const FileLink& link : value.value<QList<FileLink>>())
            parts += linesOf(link);
        return u'[' + parts.join(u", ") + u']';
    }
    return value.toString();
}

// clang-format off

template <>
const QList<Field<ServerConfiguration>>& fieldsOf()
{
    using R = ServerConfiguration;
    static const QList<Field<R>> fields{
        readOnlyField("Id", &R::getId, -1, "int"),
        field("Alias", &R::getAlias, &R::setAlias, {}, u"alias"_s, "QString"),
        field("DavUrl", &R::getDavUrl, &R::setDavUrl, {}, u"dav"_s, "QString"),
        field("WebServiceUrl", &R::getWebServiceUrl, &R::setWebServiceUrl, {}, u"web"_s, "QString"),
        field("BinaryDiffEncoder", &R::getBinaryDiffEncoder, &R::setBinaryDiffEncoder, {}, u"encoder"_s, "QString"),
        field("NameValueProperties", &R::getNameValueProperties, &R::setNameValueProperties, {}, Properties),
    };
    return fields;
}

template <>
const QList<Field<ProductConfiguration>>& fieldsOf()
{
    using R = ProductConfiguration;
    static const QList<Field<R>> fields{
        readOnlyField("Id", &R::getId, -1, "int"),
        field("Name", &R::getName, &R::setName, {}, u"name"_s, "QString"),
        field("ConsumerKey", &R::getConsumerKey, &R::setConsumerKey, {}, u"key"_s, "QString"),
        field("ConsumerSecret", &R::getConsumerSecret, &R::setConsumerSecret, {}, u"consumer secret"_s, "QString"),
        field("ServerId", &R::getServerId, &R::setServerId, 0, 3, "int"),
    };
    return fields;
}

template <>
const QList<Field<AuthenticationConfiguration>>& fieldsOf()
{
    using R = AuthenticationConfiguration;
    static const QList<Field<R>> fields{
        field("Id", &R::getId, &R::setId, -1, 7, "int"),
        field("Domain", &R::getDomain, &R::setDomain, {}, u"domain"_s, "QString"),
        field("DomainId", &R::getDomainId, &R::setDomainId, {}, u"domain id"_s, "QString"),
        field("UserName", &R::getUserName, &R::setUserName, {}, u"user"_s, "QString"),
        field("Password", &R::getPassword, &R::setPassword, {}, u"pass word"_s, "QString"),
        field("ServerId", &R::getServerId, &R::setServerId, 0, 3, "int"),
        field("NameValueProperties", &R::getNameValueProperties, &R::setNameValueProperties, {}, Properties),
    };
    return fields;
}

template <>
const QList<Field<FolderConfiguration>>& fieldsOf()
{
    using R = FolderConfiguration;
    static const QList<Field<R>> fields{
        readOnlyField("Id", &R::getId, -1, "int"),
        field("AuthenticationId", &R::getAuthenticationId, &R::setAuthenticationId, -1, 2, "int"),
        field("ProductConfigurationId", &R::getProductConfigurationId, &R::setProductConfigurationId, -1, 11, "int"),
        field("Name", &R::getName, &R::setName, {}, u"name"_s, "QString"),
        field("RemoteShortKey", &R::getRemoteShortKey, &R::setRemoteShortKey, {}, u"short"_s, "QString"),
        field("RemoteLongKey", &R::getRemoteLongKey, &R::setRemoteLongKey, {}, u"long"_s, "QString"),
        field("ClientPath", &R::getClientPath, &R::setClientPath, {}, u"/client"_s, "QString"),
        field("SyncStatus", &R::getSyncStatus, &R::setSyncStatus, FolderSynchronizationStatus(1), FolderSynchronizationStatus(3), "sync::config::FolderSynchronizationStatus enum"),
        field("ServerPath", &R::getServerPath, &R::setServerPath, {}, u"/server"_s, "QString"),
        field("LastOperationTime", &R::getLastOperationTime, &R::setLastOperationTime, NoTime, QDateTime(Day, QTime(1, 0), Qt::OffsetFromUTC, 3600), "QDateTime"),
        field("ParentId", &R::getParentId, &R::setParentId, -1, 4, "int"),
        field("LastSyncTime", &R::getLastSyncTime, &R::setLastSyncTime, NoTime, utc(2), "QDateTime"),
        field("FolderOption", &R::getFolderOption, &R::setFolderOption, SynchronizationFolderOption(1), SynchronizationFolderOption(5), "sync::config::SynchronizationFolderOption enum"),
        field("LastOperationType", &R::getLastOperationType, &R::setLastOperationType, FolderOperationType(0), FolderOperationType(6), "sync::config::FolderOperationType enum"),
        field("SyncDriveType", &R::getSyncDriveType, &R::setSyncDriveType, DriveType(0), DriveType(7), "sync::config::DriveType enum"),
        field("RootId", &R::getRootId, &R::setRootId, -1, 8, "int"),
        field("SyncOption", &R::getSyncOption, &R::setSyncOption, FolderSyncOption(0), FolderSyncOption(9), "sync::config::FolderSyncOption enum"),
        field("OwnerId", &R::getOwnerId, &R::setOwnerId, {}, u"owner"_s, "QString"),
        field<R, FolderPrivileges, FolderPrivileges>("Privileges", &R::getPrivileges, &R::setPrivileges, FolderPrivileges(31), FolderPrivileges(10), "sync::config::FolderPrivileges flags"),
        field("ServerRoot", &R::getServerRoot, &R::setServerRoot, {}, u"/root"_s, "QString"),
        field("ServerFolderId", &R::getServerFolderId, &R::setServerFolderId, {}, u"serverFolder"_s, "QString"),
        field("NameValueProperties", &R::getNameValueProperties, &R::setNameValueProperties, {}, Properties),
        field("LastServerSyncRequestTime", &R::getLastServerSyncRequestTime, &R::setLastServerSyncRequestTime, NoTime, utc(3)),
        readOnlyField("SyncStatusChanged", &R::getSyncStatusChanged, false),
    };
    return fields;
}

template <>
const QList<Field<ScheduleEntry>>& fieldsOf()
{
    using R = ScheduleEntry;
    static const QList<Field<R>> fields{
        readOnlyField("Id", &R::getId, -1, "int"),
        field("StartTime", &R::getStartTime, &R::setStartTime, NoTime, utc(4), "QDateTime"),
        field("ExpireTime", &R::getExpireTime, &R::setExpireTime, NoTime, QDateTime(Day, QTime(5, 0), Qt::OffsetFromUTC, 3600), "QDateTime"),
        field("FolderConfigId", &R::getFolderConfigId, &R::setFolderConfigId, 0, 2, "int"),
        field("SyncScheduleType", &R::getSyncScheduleType, &R::setSyncScheduleType, SyncSchedule(0), SyncSchedule(3), "sync::config::SyncSchedule enum"),
        field("SyncInterval", &R::getSyncInterval, &R::setSyncInterval, 30, 4, "int"),
    };
    return fields;
}

template <>
const QList<Field<FileConfiguration>>& fieldsOf()
{
    using R = FileConfiguration;
    static const QList<Field<R>> fields{
        field("Id", &R::getId, &R::setId, -1, 11),
        field("FolderConfigurationId", &R::getFolderConfigurationId, &R::setFolderConfigurationId, -1, 12),
        field("ProductConfigurationId", &R::getProductConfigurationId, &R::setProductConfigurationId, -1, 13),
        field("Name", &R::getName, &R::setName, {}, u"name"_s),
        field("ClientPath", &R::getClientPath, &R::setClientPath, {}, u"/client/path"_s),
        field("ServerPath", &R::getServerPath, &R::setServerPath, {}, u"/server/path"_s),
        field("CheckSum", &R::getCheckSum, &R::setCheckSum, {}, u"check sum"_s),
        field("CheckSumMD5", &R::getCheckSumMD5, &R::setCheckSumMD5, {}, u"md5"_s),
        field("CreatedDateTime", &R::getCreatedDateTime, &R::setCreatedDateTime, NoTime, QDateTime(Day, QTime(1, 0), Qt::UTC)),
        field("LastModifiedDateTime", &R::getLastModifiedDateTime, &R::setLastModifiedDateTime, NoTime, QDateTime(Day, QTime(2, 0), Qt::LocalTime)),
        field("Size", &R::getSize, &R::setSize, 0, 5'000'000'000),
        field("LastOperationType", &R::getLastOperationType, &R::setLastOperationType, 0, 14),
        field("NameValueProperties", &R::getNameValueProperties, &R::setNameValueProperties, {}, Properties),
        field("LastOperationTime", &R::getLastOperationTime, &R::setLastOperationTime, NoTime, QDateTime(Day, QTime(3, 0), Qt::OffsetFromUTC, 3600)),
        field("RootFolderId", &R::getRootFolderId, &R::setRootFolderId, -1, 15),
        field("SyncOption", &R::getSyncOption, &R::setSyncOption, 0, 16),
        field("ParentFileId", &R::getParentFileId, &R::setParentFileId, -1, 17),
        field("OwnerId", &R::getOwnerId, &R::setOwnerId, {}, u"owner"_s),
        field("Privileges", &R::getPrivileges, &R::setPrivileges, 31, 18),
        field("FileType", &R::getFileType, &R::setFileType, FileConfigurationType(0), FileConfigurationType(2)),
        field("ServerFileId", &R::getServerFileId, &R::setServerFileId, {}, u"server file"_s),
        field("ServerFileVersionId", &R::getServerFileVersionId, &R::setServerFileVersionId, {}, u"version"_s),
        field("FileLinks", &R::getFileLinks, &R::setFileLinks, {}, {sampleLink()}),
        field("FileLinksDate", &R::getFileLinksDate, &R::setFileLinksDate, QDateTime(QDate(), QTime(), Qt::UTC), QDateTime(Day, QTime(4, 0), Qt::LocalTime)),
        field("SyncStatus", &R::getSyncStatus, &R::setSyncStatus, FileSynchronizationStatus(2), FileSynchronizationStatus(1)),
        field("ClientTag", &R::getClientTag, &R::setClientTag, 0, 9),
        readOnlyField("SyncStatusChanged", &R::getSyncStatusChanged, false),
    };
    return fields;
}

template <>
const QList<Field<FileLink>>& fieldsOf()
{
    static const QList<Field<FileLink>> fields{
        member("FileId", &FileLink::FileId, -1),
        member("Path", &FileLink::Path, {}),
        member("RefId", &FileLink::RefId, {}),
        member("ServerFileId", &FileLink::ServerFileId, {}),
    };
    return fields;
}

// clang-format on

} // namespace sync::test
