#include <velmioctl/store/Columns.h>

#include <config/AuthenticationConfiguration.h>
#include <config/FileConfiguration.h>
#include <config/FolderConfiguration.h>
#include <config/ProductConfiguration.h>
#include <config/ScheduleEntry.h>
#include <config/ServerConfiguration.h>

#include <algorithm>
#include <type_traits>

using namespace sync::config;

namespace velmioctl {

namespace {

using enum Disclosure;
using Kind = ValueKind;

const QByteArray ServerTable = "ServerConfiguration";
const QByteArray SignInTable = "AuthenticationConfiguration";
const QByteArray ProductTable = "ProductConfiguration";
const QByteArray FolderTable = "FolderConfiguration";
const QByteArray FileTable = "FileConfiguration";

const FieldOption StatusOption{"--status", "STATUS", "unknown, syncing, out-of-sync or created"};
const FieldOption PrivilegesOption{
    "--privileges", "WORDS",
    "Some of view, download, update, delete, share; or all, none, or a number"};
const FieldOption SyncOption{
    "--sync-option", "NUMBER", "How to synchronise, a number of the client"};
const FieldOption OwnerOption{"--owner", "ID", "The server's id of the owner"};
const FieldOption ProductOption{"--product", "ID", "Id of the product registration"};
const FieldOption NameOption{"--name", "NAME", "Name to show"};

template <class Record, class Value>
QVariant readField(const void* record, Value (Record::*getter)() const)
{
    const auto value = (static_cast<const Record*>(record)->*getter)();
    if constexpr (std::is_same_v<decltype(value), const QVector<FileLink>>)
        return int(value.size());
    else if constexpr (std::is_enum_v<decltype(value)>)
        return int(value);
    else
        return QVariant::fromValue(value);
}

template <class Record, class Value>
void writeField(void* record, void (Record::*setter)(Value), const QVariant& value)
{
    if constexpr (std::is_enum_v<Value>)
        (static_cast<Record*>(record)->*setter)(static_cast<Value>(value.toInt()));
    else
        (static_cast<Record*>(record)->*setter)(value.value<std::decay_t<Value>>());
}

template <auto Getter>
QVariant read(const void* record)
{
    return readField(record, Getter);
}

template <auto Setter>
void write(void* record, const QVariant& value)
{
    writeField(record, Setter, value);
}

template <auto Getter>
constexpr FieldAccess shown{read<Getter>, nullptr};
template <auto Getter, auto Setter>
constexpr FieldAccess changed{read<Getter>, write<Setter>};

// Each row is read across: name, disclosure, kind, target, label, field, option, JSON key.
// clang-format off

TableShape servers()
{
    using R = ServerConfiguration;
    return {ServerTable, "servers", {
        {"id", Number, Kind::Number, {}, "id", shown<&R::getId>},
        {"alias", Name, Kind::Text, {}, "alias", changed<&R::getAlias, &R::setAlias>,
         {"--alias", "NAME", "Name to show; the default is the host of the web service"}},
        {"davUrl", Url, Kind::Url, {}, "DAV URL", changed<&R::getDavUrl, &R::setDavUrl>,
         {"--dav-url", "URL", "URL of the DAV endpoint", true}},
        {"webServiceUrl", Url, Kind::Url, {}, "web service URL", changed<&R::getWebServiceUrl, &R::setWebServiceUrl>,
         {"--web-service-url", "URL", "URL of the web service", true}},
        {"nameValueProperties", Denied, Kind::Properties, {}, "property", shown<&R::getNameValueProperties>,
         {}, "properties"},
        {"binaryDiffEncoder", Name, Kind::Text, {}, "encoder", changed<&R::getBinaryDiffEncoder, &R::setBinaryDiffEncoder>,
         {"--encoder", "NAME", "Encoder for binary differences"}},
    }};
}

TableShape signIns()
{
    using R = AuthenticationConfiguration;
    return {SignInTable, "sign-ins", {
        {"id", Number, Kind::Number, {}, "id"},
        {"domain", Name, Kind::Text, {}, "domain", changed<&R::getDomain, &R::setDomain>,
         {"--domain", "NAME", "Domain of the user", true}},
        {"domainId", Identifier, Kind::Text, {}, "domain id", changed<&R::getDomainId, &R::setDomainId>,
         {"--domain-id", "ID", "The server's id of the domain"}},
        {"userName", Name, Kind::Text, {}, "user", changed<&R::getUserName, &R::setUserName>,
         {"--user", "NAME", "Name of the user", true}},
        {"encryptedPassword", Denied, Kind::Secret, {}, "password", {}, {}, "passwordStored"},
        {"nameValueProperties", Denied, Kind::Properties, {}, "property", {}, {}, "properties"},
        {"serverId", Number, Kind::Number, ServerTable, "server", changed<&R::getServerId, &R::setServerId>,
         {"--server", "ID", "Id of the server to sign in to", true}},
    }};
}

TableShape products()
{
    using R = ProductConfiguration;
    return {ProductTable, "products", {
        {"id", Number, Kind::Number, {}, "id"},
        {"name", Name, Kind::Text, {}, "name", changed<&R::getName, &R::setName>,
         {"--name", "NAME", "Name to show", true}},
        {"consumerKey", Identifier, Kind::Text, {}, "consumer key", changed<&R::getConsumerKey, &R::setConsumerKey>,
         {"--consumer-key", "KEY", "The key that belongs to the secret", true}},
        {"consumerSecret", Denied, Kind::Secret, {}, "consumer secret", {}, {}, "secretStored"},
        {"serverId", Number, Kind::Number, ServerTable, "server", changed<&R::getServerId, &R::setServerId>,
         {"--server", "ID", "Id of the server that it is registered with", true}},
        {"nameValueProperties", Denied, Kind::Properties, {}, "property", {}, {}, "properties"},
    }};
}

TableShape folders()
{
    using R = FolderConfiguration;
    return {FolderTable, "folders", {
        {"id", Number, Kind::Number, {}, "id", shown<&R::getId>},
        {"authenticationId", Number, Kind::Number, SignInTable, "sign-in", changed<&R::getAuthenticationId, &R::setAuthenticationId>,
         {"--signin", "ID", "Id of the sign-in to synchronise with"}},
        {"name", Name, Kind::Text, {}, "name", changed<&R::getName, &R::setName>, NameOption},
        {"remoteShortKey", Identifier, Kind::Text, {}, "short key", changed<&R::getRemoteShortKey, &R::setRemoteShortKey>,
         {"--short-key", "KEY", "The server's short key"}},
        {"remoteLongKey", Identifier, Kind::Text, {}, "long key", changed<&R::getRemoteLongKey, &R::setRemoteLongKey>,
         {"--long-key", "KEY", "The server's long key"}},
        {"clientPath", Path, Kind::Text, {}, "client path", shown<&R::getClientPath>},
        {"serverPath", Path, Kind::ServerPath, {}, "server path", changed<&R::getServerPath, &R::setServerPath>,
         {"--server-path", "PATH", "Its path on the server", true}},
        {"syncStatus", Number, Kind::Status, {}, "status", changed<&R::getSyncStatus, &R::setSyncStatus>,
         StatusOption},
        {"nameValueProperties", Denied, Kind::Properties, {}, "property", shown<&R::getNameValueProperties>,
         {}, "properties"},
        {"parentId", Number, Kind::ParentFolder, FolderTable, "parent", shown<&R::getParentId>},
        {"lastOperationTime", Time, Kind::Time, {}, "last operation time", shown<&R::getLastOperationTime>},
        {"lastSyncTime", Time, Kind::Time, {}, "last sync time", shown<&R::getLastSyncTime>},
        {"folderOption", Number, Kind::FolderOption, {}, "option", changed<&R::getFolderOption, &R::setFolderOption>,
         {"--option", "OPTION", "top-level or subfolders"}},
        {"lastOperationType", Number, Kind::Number, {}, "last operation", shown<&R::getLastOperationType>},
        {"syncDriveType", Number, Kind::Number, {}, "drive type", changed<&R::getSyncDriveType, &R::setSyncDriveType>,
         {"--drive-type", "NUMBER", "Kind of drive, a number of the client"}},
        {"rootId", Number, Kind::Number, FolderTable, "root", shown<&R::getRootId>},
        {"syncOption", Number, Kind::Number, {}, "sync option", changed<&R::getSyncOption, &R::setSyncOption>,
         SyncOption},
        {"ownerId", Identifier, Kind::Text, {}, "owner", changed<&R::getOwnerId, &R::setOwnerId>,
         OwnerOption},
        {"privileges", Number, Kind::Privileges, {}, "privileges", changed<&R::getPrivileges, static_cast<void (R::*)(FolderPrivileges)>(&R::setPrivileges)>,
         PrivilegesOption},
        {"serverRoot", Path, Kind::Text, {}, "server root", changed<&R::getServerRoot, &R::setServerRoot>,
         {"--server-root", "PATH", "Root of the tree on the server"}},
        {"productConfigurationId", Number, Kind::Number, ProductTable, "product", changed<&R::getProductConfigurationId, &R::setProductConfigurationId>,
         ProductOption},
        {"serverFolderId", Identifier, Kind::Text, {}, "server folder id", changed<&R::getServerFolderId, &R::setServerFolderId>,
         {"--server-folder-id", "ID", "The server's id of the folder"}},
    }};
}

// A bundle only counts files, because there are too many to list. Only an ordinary file has no parent.
TableShape files(const QByteArray& name, const char* plural, const QByteArray& parentTable)
{
    using R = FileConfiguration;
    return {name, plural, {
        {"id", Denied, Kind::Number, {}, "id", shown<&R::getId>},
        {"folderConfigurationId", Denied, Kind::Number, FolderTable, "folder", shown<&R::getFolderConfigurationId>},
        {"name", Denied, Kind::Text, {}, "name", changed<&R::getName, &R::setName>, NameOption},
        {"clientPath", Denied, Kind::Text, {}, "client path", shown<&R::getClientPath>},
        {"serverPath", Denied, Kind::ServerPath, {}, "server path", changed<&R::getServerPath, &R::setServerPath>,
         {"--server-path", "PATH", "Its path on the server"}},
        {"checkSum", Denied, Kind::Text, {}, "checksum", changed<&R::getCheckSum, &R::setCheckSum>,
         {"--checksum", "HEX", "SHA-256 of the content"}},
        {"createdDateTime", Denied, Kind::Time, {}, "created", shown<&R::getCreatedDateTime>},
        {"lastModifiedDateTime", Denied, Kind::Time, {}, "modified", shown<&R::getLastModifiedDateTime>},
        {"syncStatus", Counted, Kind::Status, {}, "status", changed<&R::getSyncStatus, &R::setSyncStatus>,
         StatusOption},
        {"lastOperationType", Counted, Kind::Number, {}, "last operation", changed<&R::getLastOperationType, &R::setLastOperationType>,
         {"--operation", "NUMBER", "The last operation, a number of the client"}},
        {"size", Denied, Kind::Number, {}, "size", shown<&R::getSize>},
        {"nameValueProperties", Denied, Kind::Properties, {}, "property", shown<&R::getNameValueProperties>,
         {}, "properties"},
        {"lastOperationTime", Denied, Kind::Time, {}, "last operation time", shown<&R::getLastOperationTime>},
        {"rootFolderId", Counted, Kind::Number, FolderTable, "root", shown<&R::getRootFolderId>},
        {"syncOption", Counted, Kind::Number, {}, "sync option", changed<&R::getSyncOption, &R::setSyncOption>,
         SyncOption},
        {"parentFileId", Denied, Kind::Number, parentTable, "parent", changed<&R::getParentFileId, &R::setParentFileId>,
         {"--parent", "ID", "Id of the file that a generated file or base copy belongs to"}},
        {"fileType", Counted, Kind::FileType, {}, "type", shown<&R::getFileType>, {}, "type"},
        {"ownerId", Denied, Kind::Text, {}, "owner", changed<&R::getOwnerId, &R::setOwnerId>,
         OwnerOption},
        {"privileges", Counted, Kind::Privileges, {}, "privileges", changed<&R::getPrivileges, &R::setPrivileges>,
         PrivilegesOption},
        {"productConfigurationId", Counted, Kind::Number, ProductTable, "product", changed<&R::getProductConfigurationId, &R::setProductConfigurationId>,
         ProductOption},
        {"serverFileId", Denied, Kind::Text, {}, "server file id", changed<&R::getServerFileId, &R::setServerFileId>,
         {"--server-file-id", "ID", "The server's id of the file"}},
        {"serverFileVersionId", Denied, Kind::Text, {}, "server version id", changed<&R::getServerFileVersionId, &R::setServerFileVersionId>,
         {"--server-version-id", "ID", "The server's id of the version"}},
        {"checkSumMD5", Denied, Kind::Text, {}, "MD5", changed<&R::getCheckSumMD5, &R::setCheckSumMD5>,
         {"--md5", "HEX", "MD5 of the content"}},
        {"fileLinks", Denied, Kind::Number, {}, "links", shown<&R::getFileLinks>, {}, "links"},
    }};
}

TableShape schedules()
{
    using R = ScheduleEntry;
    return {"Schedules", "schedules", {
        {"id", Number, Kind::Number, {}, "id", shown<&R::getId>},
        {"folderConfigurationId", Number, Kind::DefaultFolder, FolderTable, "folder", shown<&R::getFolderConfigId>,
         {}, "folderConfigId"},
        {"startTime", Time, Kind::LocalTime, {}, "start", changed<&R::getStartTime, &R::setStartTime>,
         {"--start", "TIME", "Local time, or none"}},
        {"expireTime", Time, Kind::LocalTime, {}, "expire", changed<&R::getExpireTime, &R::setExpireTime>,
         {"--expire", "TIME", "Local time, or none"}},
        {"syncScheduleType", Number, Kind::Number, {}, "type", changed<&R::getSyncScheduleType, &R::setSyncScheduleType>,
         {"--type", "NUMBER", "Kind of schedule, a number of the client"}},
        {"syncInterval", Number, Kind::NotNegative, {}, "interval", changed<&R::getSyncInterval, &R::setSyncInterval>,
         {"--interval", "NUMBER", "Length of the interval"}},
    }};
}

// clang-format on

std::vector<TableShape> makeShapes()
{
    std::vector<TableShape> all{
        servers(),
        signIns(),
        products(),
        folders(),
        files(FileTable, "files", {}),
        files("GeneratedFileConfiguration", "generated files", FileTable),
        files("BaseFileConfiguration", "base copies", FileTable),
        schedules()};
    std::sort(all.begin(), all.end(), [](const TableShape& left, const TableShape& right) {
        return left.name < right.name;
    });
    return all;
}

} // namespace

size_t TableShape::indexOf(const QByteArray& column) const
{
    const auto found = std::find_if(columns.begin(), columns.end(), [&column](const Column& one) {
        return one.name == column;
    });
    return static_cast<size_t>(found - columns.begin());
}

const Column* TableShape::nameColumn() const
{
    for (const char* const known : {"clientPath", "userName", "alias", "name"}) {
        if (const size_t at = indexOf(known); at < columns.size())
            return &columns[at];
    }
    return nullptr;
}

const std::vector<TableShape>& tableShapes()
{
    static const std::vector<TableShape> all = makeShapes();
    return all;
}

std::vector<const TableShape*> allTables()
{
    std::vector<const TableShape*> tables;
    for (const TableShape& table : tableShapes())
        tables.push_back(&table);
    return tables;
}

const TableShape* findTable(const QByteArray& name)
{
    const auto& all = tableShapes();
    const auto found = std::find_if(
        all.begin(), all.end(), [&name](const TableShape& shape) { return shape.name == name; });
    return found == all.end() ? nullptr : &*found;
}

} // namespace velmioctl
