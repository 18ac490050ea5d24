#include <config/FolderConfigManager.h>

#include <config/statement/RowReader.h>
#include <config/statement/SqlText.h>
#include <config/statement/Statement.h>
#include <core/Constants.h>
#include <core/PathHelpers.h>
#include <database/TransactionalScope.h>
#include <interf/IRefreshNativeFileViewer.h>

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;
using sync::database::TransactionalScope;

namespace sync::config {

namespace {

// In the order in which _PopulateFolderConfiguration reads them.
constexpr SqlText Columns(
    u"id, authenticationId, name, remoteShortKey, remoteLongKey, clientPath, serverPath,"
    u" syncStatus, nameValueProperties, parentId, lastOperationTime, lastSyncTime, folderOption,"
    u" lastOperationType, syncDriveType, rootId, syncOption, ownerId, privileges, serverRoot,"
    u" productConfigurationId, serverFolderId");

constexpr auto SelectAll = u"SELECT " + Columns + u" FROM FolderConfiguration";
constexpr auto SelectById = SelectAll + u" WHERE id = :id";
constexpr auto SelectByServerId = SelectAll + u" WHERE serverFolderId = :serverFolderId";
constexpr auto SelectByClientPath = SelectAll + u" WHERE clientPath = :clientPath";
constexpr auto SelectByClientPathAndAuthenticationId =
    SelectByClientPath + u" AND authenticationId = :authenticationId";
constexpr auto SelectByParentId = SelectAll + u" WHERE parentId = :parentId ORDER BY name";
constexpr auto SelectByAuthenticationId =
    SelectAll + u" WHERE authenticationId = :authenticationId";
constexpr auto SelectByRootId = SelectAll + u" WHERE rootId = :rootId";
constexpr auto SelectByMissingRoots = SelectAll + u" WHERE rootId NOT IN (%1)";
constexpr auto SelectRootFolders = SelectAll + u" WHERE parentId = '0'";

constexpr SqlText CountByAuthenticationId(
    u"SELECT count(*) FROM FolderConfiguration WHERE authenticationId = :authenticationId");
constexpr SqlText CountOutOfSync(u"SELECT count(*) FROM FolderConfiguration WHERE syncStatus = 2;");
constexpr SqlText CountRootFolders(u"SELECT count(*) from FolderConfiguration WHERE parentId=0;");

constexpr SqlText Insert(
    u"INSERT INTO FolderConfiguration (authenticationId, name, remoteShortKey, remoteLongKey,"
    u" clientPath, serverPath, syncStatus, nameValueProperties, parentId, lastOperationTime,"
    u" lastSyncTime, folderOption, lastOperationType, syncDriveType, rootId, syncOption, ownerId,"
    u" privileges, serverRoot, productConfigurationId, serverFolderId)"
    u" VALUES (:authenticationId, :name, :remoteShortKey, :remoteLongKey, :clientPath,"
    u" :serverPath, :syncStatus, :nameValueProperties, :parentId, :lastOperationTime,"
    u" :lastSyncTime, :folderOption, :lastOperationType, :syncDriveType, :rootId, :syncOption,"
    u" :ownerId, :privileges, :serverRoot, :productConfigurationId, :serverFolderId);");
constexpr SqlText UpdateById(
    u"UPDATE FolderConfiguration SET authenticationId = :authenticationId, name = :name,"
    u" remoteShortKey = :remoteShortKey, remoteLongKey = :remoteLongKey, clientPath = :clientPath,"
    u" serverPath = :serverPath, syncStatus = :syncStatus,"
    u" nameValueProperties = :nameValueProperties, parentId = :parentId,"
    u" lastOperationTime = :lastOperationTime, lastSyncTime = :lastSyncTime,"
    u" folderOption = :folderOption, lastOperationType = :lastOperationType,"
    u" syncDriveType = :syncDriveType, rootId = :rootId, syncOption = :syncOption,"
    u" ownerId = :ownerId, privileges = :privileges, serverRoot = :serverRoot,"
    u" productConfigurationId = :productConfigurationId, serverFolderId = :serverFolderId"
    u" WHERE id = :id");
constexpr SqlText Delete(u"DELETE FROM FolderConfiguration WHERE Id = :id;");
// The placeholder is named after the folder in both, not after the column.
constexpr SqlText DeleteByRootId(
    u"DELETE FROM FolderConfiguration WHERE rootId = :folderConfigurationId;");
constexpr SqlText DeleteFilesByRootId(
    u"DELETE FROM FileConfiguration WHERE rootFolderId = :folderConfigurationId;");
constexpr SqlText DeleteFilesByFolderId(
    u"DELETE FROM FileConfiguration WHERE folderConfigurationId = :folderConfigurationId;");

constexpr int NoId = -1;
constexpr int ListLifetimeMs = 1000;

// Intentional: a failed count reads as "there is one", so that nobody acts on an absence that
// nobody has seen.
constexpr int CountWhenFailed = 1;

// True if `path` is the folder or is inside it; ignores case. A folder that ends with "/" contains
// everything that begins with it.
bool isSameOrBelow(const QString& path, const QString& folder)
{
    if (!path.startsWith(folder, Qt::CaseInsensitive))
        return false;
    return path.size() == folder.size() || folder.endsWith(u'/') || path.at(folder.size()) == u'/';
}

// True if `path` is a direct file of a root folder that is synchronised at top level only, or the
// root itself. Intentional: a directory gets a trailing "/" and keeps it for the next roots.
bool isDirectFile(QString& path, const QString& rootPath)
{
    if (QFileInfo(path).isDir())
        path.append(u'/');
    return path.lastIndexOf(u'/') <= rootPath.size();
}

bool isSameOrNested(const QString& left, const QString& right)
{
    return left.size() < right.size() ? isSameOrBelow(right, left) : isSameOrBelow(left, right);
}

} // namespace

FolderConfigManager::FolderConfigManager(
    std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory,
    std::shared_ptr<interf::IRefreshNativeFileViewer> nativeFileViewer)
    : DatabaseConfigurationManager(std::move(databaseFactory))
    , allFoldersCache(ListLifetimeMs, std::bind(&FolderConfigManager::_GetAll, this))
    , rootFoldersCache(ListLifetimeMs, std::bind(&FolderConfigManager::_GetAllRootFolders, this))
    , nativeFileViewer(std::move(nativeFileViewer))
{
}

FolderConfigManager::~FolderConfigManager() = default;

FolderConfiguration FolderConfigManager::GetFolderConfigurationById(int folderConfigurationId)
{
    return _Prepare(SelectById)
        .bind(u":id"_s, folderConfigurationId)
        .readOne(this, &FolderConfigManager::_PopulateFolderConfiguration);
}

FolderConfiguration FolderConfigManager::GetFolderConfigurationByServerId(QString serverFolderId)
{
    return _Prepare(SelectByServerId)
        .bind(u":serverFolderId"_s, serverFolderId)
        .readOneIfAny(this, &FolderConfigManager::_PopulateFolderConfiguration);
}

FolderConfiguration FolderConfigManager::GetFolderConfigurationByClientPath(QString clientPath)
{
    return _Prepare(SelectByClientPath)
        .bind(u":clientPath"_s, clientPath)
        .readOne(this, &FolderConfigManager::_PopulateFolderConfiguration);
}

FolderConfiguration FolderConfigManager::GetFolderConfigurationByClientPathAndAuthenticationId(
    QString clientPath, int authenticationId)
{
    return _Prepare(SelectByClientPathAndAuthenticationId)
        .bind(u":clientPath"_s, clientPath)
        .bind(u":authenticationId"_s, authenticationId)
        .readOne(this, &FolderConfigManager::_PopulateFolderConfiguration);
}

QVector<FolderConfiguration> FolderConfigManager::GetFolderConfigurationsByAuthenticationId(
    int authenticationId)
{
    return _Prepare(SelectByAuthenticationId)
        .bind(u":authenticationId"_s, authenticationId)
        .readAll(this, &FolderConfigManager::_PopulateFolderConfiguration);
}

QVector<FolderConfiguration> FolderConfigManager::GetFolderConfigurationsOfNonExistingRootFolders()
{
    QStringList rootIds;
    const QVector<FolderConfiguration> roots = GetAllRootFolders();
    for (const FolderConfiguration& root : roots)
        rootIds.append(QString::number(root.getId()));

    // Intentional: without roots the parentheses stay empty, and every row matches.
    return _Prepare(QString(SelectByMissingRoots).arg(rootIds.join(u',')))
        .readAll(this, &FolderConfigManager::_PopulateFolderConfiguration);
}

QVector<FolderConfiguration> FolderConfigManager::GetAll()
{
    return allFoldersCache.Result();
}

// Intentional: keeps the cached lists, where Add and the removals clear them.
bool FolderConfigManager::Update(FolderConfiguration folderConfiguration)
{
    TransactionalScope scope;
    if (!_Update(folderConfiguration))
        return false;

    _RefreshNativeFileViewerIfSyncStatusChanged(folderConfiguration);
    return true;
}

bool FolderConfigManager::Add(FolderConfiguration& folderConfiguration)
{
    auto& members = folderConfiguration.members;
    if (!folderConfiguration.isRoot() && members.rootId == NoId)
        return false;
    if (members.parentId == NoId)
        return false;

    TransactionalScope scope;
    if (!_Insert(folderConfiguration))
        return false;
    if (members.rootId == NoId) {
        members.rootId = members.id;
        // Intentional: ignores the result, because the row is stored even if this fails.
        Update(folderConfiguration);
    }
    ClearCaches();
    _RefreshNativeFileViewerIfSyncStatusChanged(folderConfiguration);
    return true;
}

FolderConfiguration FolderConfigManager::AddFolderAndParent(
    const QString& absolutePath, const FolderConfiguration& rootConfig)
{
    if (absolutePath.isEmpty())
        return {};
    const QString path = QDir::cleanPath(absolutePath);
    FolderConfiguration folder = GetFolderConfigurationByClientPath(path);
    if (folder.getId() != NoId)
        return folder;
    const QString parentPath = QDir::cleanPath(QFileInfo(path).absolutePath());
    if (parentPath.compare(path, Qt::CaseInsensitive) == 0)
        return folder;

    const FolderConfiguration parent = AddFolderAndParent(parentPath, rootConfig);
    FolderConfiguration added = _NewFolder(path, parent.getId(), rootConfig);
    // If an ancestor could not be added, Add refuses the parent id -1 and the record keeps id -1.
    Add(added);
    return added;
}

bool FolderConfigManager::Remove(int folderConfigurationId)
{
    QString clientPath = GetFolderConfigurationById(folderConfigurationId).getClientPath();

    TransactionalScope scope;
    if (!_Prepare(Delete).bind(u":id"_s, folderConfigurationId).exec())
        return false;
    ClearCaches();
    RefreshNativeFileViewer(clientPath);
    return true;
}

bool FolderConfigManager::Clean(int folderConfigurationId)
{
    const QVector<FolderConfiguration> children =
        GetFolderConfigurationByParentId(folderConfigurationId);
    for (const FolderConfiguration& child : children) {
        if (!Clean(child.getId()))
            return false;
    }
    if (!Remove(folderConfigurationId))
        return false;

    // Intentional: removes the rows of the files after the row of their folder.
    TransactionalScope scope;
    return _Prepare(DeleteFilesByFolderId)
        .bind(u":folderConfigurationId"_s, folderConfigurationId)
        .exec();
}

bool FolderConfigManager::IsInExistingClientFolder(
    const QString& path, int authenticationId, bool applyFolderOption)
{
    QString absolutePath = QDir(path).absolutePath();
    if (absolutePath.contains(core::consts::TEMP_FOLDER_NAME, Qt::CaseInsensitive))
        return false;

    const QVector<FolderConfiguration> roots = GetAllRootFolders();
    for (const FolderConfiguration& root : roots) {
        if (authenticationId >= 0 && root.members.authenticationId != authenticationId)
            continue;
        const QString& rootPath = root.members.clientPath;
        if (!isSameOrBelow(absolutePath, rootPath))
            continue;
        const bool directFilesOnly = applyFolderOption &&
                                     root.members.folderOption == TopLevelOnly &&
                                     !rootPath.endsWith(u'/');
        if (!directFilesOnly || isDirectFile(absolutePath, rootPath))
            return true;
    }
    return false;
}

bool FolderConfigManager::AncestorOrDescendantOfServerFolderExists(
    const QString& serverPath, int authenticationId, QString& matchingServerFolder)
{
    matchingServerFolder = QString();
    if (serverPath.isEmpty())
        return false;

    const QString path = QDir::cleanPath(serverPath);
    const QVector<FolderConfiguration> roots = GetAllRootFolders();
    for (const FolderConfiguration& root : roots) {
        if (root.members.authenticationId != authenticationId)
            continue;
        if (isSameOrNested(path, root.members.serverPath)) {
            matchingServerFolder = root.members.serverPath;
            return true;
        }
    }
    return false;
}

QVector<FolderConfiguration> FolderConfigManager::GetAllRootFolders()
{
    return rootFoldersCache.Result();
}

QVector<FolderConfiguration> FolderConfigManager::GetFolderConfigurationByParentId(
    int folderConfigurationId)
{
    return _Prepare(SelectByParentId)
        .bind(u":parentId"_s, folderConfigurationId)
        .readAll(this, &FolderConfigManager::_PopulateFolderConfiguration);
}

QVector<FolderConfiguration> FolderConfigManager::GetFolderConfigurationsByRootId(int rootFolderId)
{
    return _Prepare(SelectByRootId)
        .bind(u":rootId"_s, rootFolderId)
        .readAll(this, &FolderConfigManager::_PopulateFolderConfiguration);
}

bool FolderConfigManager::IsInExistingAuthentication(int authenticationId)
{
    return _Prepare(CountByAuthenticationId)
               .bind(u":authenticationId"_s, authenticationId)
               .execNumber(CountWhenFailed) > 0;
}

bool FolderConfigManager::IsAnyFolderConfigOutOfSync()
{
    return _Prepare(CountOutOfSync).execNumber(CountWhenFailed) > 0;
}

int FolderConfigManager::GetRootFolderConfigurationCount()
{
    return _Prepare(CountRootFolders).execNumber(-1);
}

void FolderConfigManager::ClearCaches()
{
    allFoldersCache.Clear();
    rootFoldersCache.Clear();
}

bool FolderConfigManager::CleanRootFolder(int folderConfigurationId)
{
    TransactionalScope scope;
    const bool removed = Remove(folderConfigurationId) &&
                         _RemoveFileConfigurationsByRootId(folderConfigurationId) &&
                         _RemoveFolderConfigurationsByRootId(folderConfigurationId);
    // Also after a failed step, so that what is already removed stays removed.
    scope.commit();
    return removed && !scope.commitFailed();
}

void FolderConfigManager::RefreshNativeFileViewer()
{
    const QVector<FolderConfiguration> roots = _GetAllRootFolders();
    for (const FolderConfiguration& root : roots) {
        QString clientPath = root.getClientPath();
        RefreshNativeFileViewer(clientPath);
    }
}

void FolderConfigManager::RefreshNativeFileViewer(QString& clientPath)
{
    if (nativeFileViewer)
        nativeFileViewer->Refresh(clientPath);
}

void FolderConfigManager::_PopulateFolderConfiguration(
    const RowReader& row, FolderConfiguration& folder) const
{
    if (!row.isValid())
        return;

    auto& members = folder.members;
    members.id = row.integer(0);
    members.authenticationId = row.integer(1);
    members.name = row.text(2);
    members.remoteShortKey = row.text(3);
    members.remoteLongKey = row.text(4);
    members.clientPath = row.text(5);
    members.serverPath = row.text(6);
    folder.setSyncStatus(static_cast<FolderSynchronizationStatus>(row.integer(7)));
    folder.resetSyncStatusChanged();
    members.nameValueProperties = _NameValueProperties(row, 8);
    members.parentId = row.integer(9);
    members.lastOperationTime = row.utcTime(10);
    folder.setLastSyncTime(row.utcTime(11));
    members.folderOption = static_cast<SynchronizationFolderOption>(row.integer(12));
    members.lastOperationType = static_cast<FolderOperationType>(row.integer(13));
    members.syncDriveType = static_cast<DriveType>(row.integer(14));
    members.rootId = row.integer(15);
    members.syncOption = static_cast<FolderSyncOption>(row.integer(16));
    members.ownerId = row.text(17);
    members.privileges = static_cast<FolderPrivileges>(row.integer(18));
    members.serverRoot = row.text(19);
    members.productConfigurationId = row.integer(20);
    folder.setServerFolderId(row.text(21));
}

QVector<FolderConfiguration> FolderConfigManager::_GetAll()
{
    return _Prepare(SelectAll).readAll(this, &FolderConfigManager::_PopulateFolderConfiguration);
}

QVector<FolderConfiguration> FolderConfigManager::_GetAllRootFolders()
{
    return _Prepare(SelectRootFolders)
        .readAll(this, &FolderConfigManager::_PopulateFolderConfiguration);
}

void FolderConfigManager::_BindFolderConfiguration(
    Statement& statement, const FolderConfiguration& folder)
{
    const auto& members = folder.members;
    statement.bind(u":authenticationId"_s, members.authenticationId)
        .bind(u":name"_s, members.name)
        .bind(u":remoteShortKey"_s, members.remoteShortKey)
        .bind(u":remoteLongKey"_s, members.remoteLongKey)
        .bind(u":clientPath"_s, members.clientPath)
        .bind(u":serverPath"_s, members.serverPath)
        .bind(u":syncStatus"_s, int(members.syncStatus))
        .bind(u":nameValueProperties"_s, ToNameValuePropertyString(members.nameValueProperties))
        .bind(u":parentId"_s, members.parentId)
        .bind(u":lastOperationTime"_s, members.lastOperationTime)
        .bind(u":lastSyncTime"_s, members.lastSyncTime)
        .bind(u":folderOption"_s, int(members.folderOption))
        .bind(u":lastOperationType"_s, int(members.lastOperationType))
        .bind(u":syncDriveType"_s, int(members.syncDriveType))
        .bind(u":rootId"_s, members.rootId)
        .bind(u":syncOption"_s, int(members.syncOption))
        .bind(u":ownerId"_s, members.ownerId)
        .bind(u":privileges"_s, int(members.privileges))
        .bind(u":serverRoot"_s, members.serverRoot)
        .bind(u":productConfigurationId"_s, members.productConfigurationId)
        .bind(u":serverFolderId"_s, members.serverFolderId);
}

bool FolderConfigManager::_Update(const FolderConfiguration& folder)
{
    Statement statement = _Prepare(UpdateById);
    statement.bind(u":id"_s, folder.members.id);
    _BindFolderConfiguration(statement, folder);
    return statement.exec();
}

bool FolderConfigManager::_Insert(FolderConfiguration& folder)
{
    Statement statement = _Prepare(Insert);
    _BindFolderConfiguration(statement, folder);
    return statement.execInsert(folder.members.id);
}

FolderConfiguration FolderConfigManager::_NewFolder(
    const QString& clientPath, int parentId, const FolderConfiguration& root)
{
    const QString serverPath =
        core::GetServerPath(clientPath, root.getClientPath(), root.getServerPath());
    FolderConfiguration folder;
    folder.setAuthenticationId(root.getAuthenticationId());
    folder.setProductConfigurationId(root.getProductConfigurationId());
    folder.setRootId(root.getId());
    folder.setName(QFileInfo(clientPath).fileName());
    folder.setRemoteShortKey(root.getRemoteShortKey());
    // Intentional: the server path, not the root's long key.
    folder.setRemoteLongKey(serverPath);
    folder.setClientPath(clientPath);
    folder.setServerPath(serverPath);
    folder.setParentId(parentId);
    folder.setSyncStatus(FolderCreated);
    return folder;
}

bool FolderConfigManager::_RemoveFileConfigurationsByRootId(int rootId)
{
    TransactionalScope scope;
    return _Prepare(DeleteFilesByRootId).bind(u":folderConfigurationId"_s, rootId).exec();
}

bool FolderConfigManager::_RemoveFolderConfigurationsByRootId(int rootId)
{
    // Read before they are removed, to refresh the viewer afterwards.
    const QVector<FolderConfiguration> folders = GetFolderConfigurationsByRootId(rootId);

    TransactionalScope scope;
    if (!_Prepare(DeleteByRootId).bind(u":folderConfigurationId"_s, rootId).exec())
        return false;
    ClearCaches();
    for (const FolderConfiguration& folder : folders) {
        QString clientPath = folder.getClientPath();
        RefreshNativeFileViewer(clientPath);
    }
    return true;
}

// Does not reset the flag: saving the same record twice refreshes the viewer twice.
void FolderConfigManager::_RefreshNativeFileViewerIfSyncStatusChanged(FolderConfiguration& folder)
{
    if (nativeFileViewer && folder.getSyncStatusChanged())
        nativeFileViewer->Refresh(folder.getClientPath());
}

} // namespace sync::config
