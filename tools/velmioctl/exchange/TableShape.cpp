#include <velmioctl/exchange/TableShape.h>

#include <algorithm>

namespace velmioctl::exchange {

namespace {

const QByteArray ServerTable = "ServerConfiguration";
const QByteArray SignInTable = "AuthenticationConfiguration";
const QByteArray ProductTable = "ProductConfiguration";
const QByteArray FolderTable = "FolderConfiguration";
const QByteArray FileTable = "FileConfiguration";

Column plain(const char* name)
{
    return {.name = name};
}

Column reference(const char* name, const QByteArray& target)
{
    return {.name = name, .target = target};
}

Column secret(const char* name)
{
    return {.name = name, .isSecret = true};
}

// The three tables of files differ in what the parent is: an ordinary file has none.
TableShape files(const QByteArray& name, const QByteArray& parentTable)
{
    return {
        name,
        {plain("id"),
         reference("folderConfigurationId", FolderTable),
         plain("name"),
         plain("clientPath"),
         plain("serverPath"),
         plain("checkSum"),
         plain("createdDateTime"),
         plain("lastModifiedDateTime"),
         plain("syncStatus"),
         plain("lastOperationType"),
         plain("size"),
         plain("nameValueProperties"),
         plain("lastOperationTime"),
         reference("rootFolderId", FolderTable),
         plain("syncOption"),
         reference("parentFileId", parentTable),
         plain("fileType"),
         plain("ownerId"),
         plain("privileges"),
         reference("productConfigurationId", ProductTable),
         plain("serverFileId"),
         plain("serverFileVersionId"),
         plain("checkSumMD5"),
         plain("fileLinks")}};
}

TableShape folders()
{
    return {
        FolderTable,
        {plain("id"),
         reference("authenticationId", SignInTable),
         plain("name"),
         plain("remoteShortKey"),
         plain("remoteLongKey"),
         plain("clientPath"),
         plain("serverPath"),
         plain("syncStatus"),
         plain("nameValueProperties"),
         reference("parentId", FolderTable),
         plain("lastOperationTime"),
         plain("lastSyncTime"),
         plain("folderOption"),
         plain("lastOperationType"),
         plain("syncDriveType"),
         reference("rootId", FolderTable),
         plain("syncOption"),
         plain("ownerId"),
         plain("privileges"),
         plain("serverRoot"),
         reference("productConfigurationId", ProductTable),
         plain("serverFolderId")}};
}

std::vector<TableShape> makeShapes()
{
    std::vector<TableShape> all{
        {ServerTable,
         {plain("id"), plain("alias"), plain("davUrl"), plain("webServiceUrl"),
          plain("nameValueProperties"), plain("binaryDiffEncoder")}},
        {SignInTable,
         {plain("id"), plain("domain"), plain("domainId"), plain("userName"),
          secret("encryptedPassword"), plain("nameValueProperties"),
          reference("serverId", ServerTable)}},
        {ProductTable,
         {plain("id"), plain("name"), plain("consumerKey"), secret("consumerSecret"),
          reference("serverId", ServerTable), plain("nameValueProperties")}},
        folders(),
        files(FileTable, {}),
        files("GeneratedFileConfiguration", FileTable),
        files("BaseFileConfiguration", FileTable),
        {"Schedules",
         {plain("id"), reference("folderConfigurationId", FolderTable), plain("startTime"),
          plain("expireTime"), plain("syncScheduleType"), plain("syncInterval")}},
    };
    std::sort(all.begin(), all.end(), [](const TableShape& left, const TableShape& right) {
        return left.name < right.name;
    });
    return all;
}

} // namespace

const std::vector<TableShape>& tableShapes()
{
    static const std::vector<TableShape> all = makeShapes();
    return all;
}

const TableShape* findTable(const QByteArray& name)
{
    const auto& all = tableShapes();
    const auto found = std::find_if(
        all.begin(), all.end(), [&name](const TableShape& shape) { return shape.name == name; });
    return found == all.end() ? nullptr : &*found;
}

} // namespace velmioctl::exchange
