#include <config/FileConfigManager.h>

#include <config/FolderConfiguration.h>
#include <config/statement/RowReader.h>
#include <config/statement/SqlText.h>
#include <config/statement/Statement.h>
#include <config/xml/FileLinksXml.h>
#include <core/PathHelpers.h>
#include <database/TransactionalScope.h>
#include <interf/ICryptographicHash.h>
#include <interf/IDatabaseFactory.h>
#include <interf/IFolderConfigManager.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IRefreshNativeFileViewer.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <iterator>

using namespace Qt::StringLiterals;
using sync::database::TransactionalScope;
using sync::interf::FileConfigOrderByEnum;

namespace sync::config {

namespace {

// In the order in which _PopulateFileConfiguration reads them.
constexpr SqlText Select(
    u"SELECT id, folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime,"
    u" lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties,"
    u" lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges,"
    u" productConfigurationId, serverFileId,  serverFileVersionId, checkSumMD5, fileLinks");

constexpr auto SelectAll = Select + u" FROM FileConfiguration";
constexpr auto SelectById = SelectAll + u" WHERE id = :id";
constexpr auto SelectByClientPath = SelectAll + u" WHERE clientPath = :clientPath";
constexpr auto SelectByServerPath = SelectAll + u" WHERE serverPath = :serverPath";
constexpr auto SelectByServerId = SelectAll + u" WHERE serverFileId = :serverFileId";
constexpr auto SelectByMissingRoots = SelectAll + u" WHERE rootFolderId NOT IN (%1)";
// An ORDER BY clause can follow these, hence the blank at their end.
constexpr auto SelectByFolderId =
    SelectAll + u" WHERE folderConfigurationId = :folderConfigurationId ";
constexpr auto SelectByRootFolderId = SelectAll + u" WHERE rootFolderId = :rootFolderId ";
constexpr auto SelectByFolderIdAndSyncStatus =
    SelectByFolderId + u" AND syncStatus = :syncStatus ORDER BY name";

constexpr auto SelectGenerated = Select + u" FROM GeneratedFileConfiguration";
constexpr auto SelectGeneratedById = SelectGenerated + u" WHERE id = :id";
constexpr auto SelectGeneratedByClientPath = SelectGenerated + u" WHERE clientPath = :clientPath";
constexpr auto SelectGeneratedByParent =
    SelectGenerated + u" WHERE parentFileId = :parentFileId ORDER BY id";
constexpr auto SelectGeneratedByRootFolderId =
    SelectGenerated + u" WHERE rootFolderId = :rootFolderId ";

constexpr auto SelectBase = Select + u" FROM BaseFileConfiguration";
constexpr auto SelectBaseById = SelectBase + u" WHERE id = :id";
constexpr auto SelectBaseByParent = SelectBase + u" WHERE parentFileId = :parentFileId ORDER BY id";
constexpr auto SelectBaseByRootFolderId = SelectBase + u" WHERE rootFolderId = :rootFolderId ";

constexpr auto SelectFromNoTable = Select + u" FROM ";
constexpr auto SelectFromNoTableByRootFolderId =
    SelectFromNoTable + u" WHERE rootFolderId = :rootFolderId ";

// By the value of FileConfigOrderByEnum. Intentional: the capitals differ from those of the
// columns.
constexpr QStringView OrderClauses[] = {
    u"Id",
    u"Id DESC",
    u"Name",
    u"Name DESC",
    u"FolderConfigurationId",
    u"FolderConfigurationId DESC",
    u"ClientPath",
    u"ClientPath DESC",
    u"ServerPath",
    u"ServerPath DESC",
    u"CheckSum",
    u"CheckSum DESC",
    u"CreatedDateTime",
    u"CreatedDateTime DESC",
    u"LastModifiedDateTime",
    u"LastModifiedDateTime DESC",
    u"SyncStatus",
    u"SyncStatus DESC",
    u"LastOperationType",
    u"LastOperationType DESC",
    u"Size",
    u"Size DESC"};

constexpr SqlText InsertValues(
    u" (folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime,"
    u" lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties,"
    u" lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId,"
    u" privileges, productConfigurationId, serverFileId, serverFileVersionId, checkSumMD5,"
    u" fileLinks) VALUES (:folderConfigurationId, :name, :clientPath, :serverPath, :checkSum,"
    u" :createdDateTime, :lastModifiedDateTime, :syncStatus, :lastOperationType, :size,"
    u" :nameValueProperties, :lastOperationTime, :rootFolderId, :syncOption, :parentFileId,"
    u" :fileType, :ownerId, :privileges, :productConfigurationId, :serverFileId,"
    u" :serverFileVersionId, :checkSumMD5, :fileLinks);");
constexpr auto Insert = u"INSERT INTO FileConfiguration" + InsertValues;
constexpr auto InsertGenerated = u"INSERT INTO GeneratedFileConfiguration" + InsertValues;
constexpr auto InsertBase = u"INSERT INTO BaseFileConfiguration" + InsertValues;

constexpr SqlText UpdateValues(
    u" SET folderConfigurationId = :folderConfigurationId, name = :name,"
    u" clientPath = :clientPath, serverPath = :serverPath, checkSum = :checkSum,"
    u" createdDateTime = :createdDateTime, lastModifiedDateTime = :lastModifiedDateTime,"
    u" syncStatus = :syncStatus, lastOperationType = :lastOperationType, size = :size,"
    u" nameValueProperties = :nameValueProperties,  lastOperationTime = :lastOperationTime, "
    u" rootFolderId = :rootFolderId,  syncOption = :syncOption, "
    u" parentFileId = :parentFileId,  fileType = :fileType,  ownerId = :ownerId, "
    u" privileges = :privileges,  productConfigurationId = :productConfigurationId, "
    u" serverFileId = :serverFileId,  serverFileVersionId = :serverFileVersionId, "
    u" checkSumMD5 = :checkSumMD5,  fileLinks = :fileLinks  WHERE id = :id");
constexpr auto Update = u"UPDATE FileConfiguration" + UpdateValues;
constexpr auto UpdateGenerated = u"UPDATE GeneratedFileConfiguration" + UpdateValues;
constexpr auto UpdateBase = u"UPDATE BaseFileConfiguration" + UpdateValues;

/// A table, and the statements for which a record's type chooses it.
struct Table
{
    QString name;
    QString selectAll;
    QString selectByRootFolderId;
    QString insert;
    QString update;
};

const Table& tableOf(FileConfigurationType type)
{
    static const Table ordinary{
        u"FileConfiguration"_s, SelectAll, SelectByRootFolderId, Insert, Update};
    static const Table generated{
        u"GeneratedFileConfiguration"_s, SelectGenerated, SelectGeneratedByRootFolderId,
        InsertGenerated, UpdateGenerated};
    static const Table base{
        u"BaseFileConfiguration"_s, SelectBase, SelectBaseByRootFolderId, InsertBase, UpdateBase};
    // Reads of an unknown type fail in the database.
    static const Table none{{}, SelectFromNoTable, SelectFromNoTableByRootFolderId, {}, {}};
    switch (type) {
    case OrdinaryFile:
        return ordinary;
    case GeneratedFile:
        return generated;
    case BaseFile:
        return base;
    }
    return none;
}

constexpr SqlText Delete(u"DELETE FROM FileConfiguration WHERE Id = :id;");
constexpr SqlText DeleteGenerated(u"DELETE FROM GeneratedFileConfiguration WHERE Id = :id;");
constexpr SqlText DeleteBase(u"DELETE FROM BaseFileConfiguration WHERE Id = :id;");
constexpr SqlText DeleteByFolder(
    u"DELETE FROM FileConfiguration WHERE folderConfigurationId = :folderConfigurationId;");
constexpr SqlText DeleteByRootFolder(
    u"DELETE FROM FileConfiguration WHERE rootFolderId = :rootFolderId;");
constexpr SqlText DeleteGeneratedByRootFolder(
    u"DELETE FROM GeneratedFileConfiguration WHERE rootFolderId = :rootFolderId;");
constexpr SqlText DeleteGeneratedByParent(
    u"DELETE FROM GeneratedFileConfiguration WHERE parentFileId = :parentFileId;");

constexpr SqlText ResetSyncStatus(u"UPDATE FileConfiguration SET syncStatus = :syncStatusNotSynced"
                                  u" WHERE folderConfigurationId = :folderConfigurationId"
                                  u" AND syncStatus = :syncStatusSyncing;");

constexpr qint64 TimestampToleranceSeconds = 2;

// Not by secsTo() alone, which returns 0 for an unknown time.
bool areNear(const QDateTime& fileTime, const QDateTime& storedTime)
{
    return fileTime.isValid() && storedTime.isValid() &&
           qAbs(fileTime.secsTo(storedTime)) < TimestampToleranceSeconds;
}

// Best effort, like all removals from the disk: what cannot be removed stays.
void removeBaseCopyFromDisk(const QString& path)
{
    // QDir takes an empty path for the working directory.
    if (path.isEmpty())
        return;
    if (QFile::exists(path))
        QFile::remove(path);
    const QDir directory(QFileInfo(path).absolutePath());
    if (directory.exists())
        directory.rmdir(directory.absolutePath());
}

} // namespace

FileConfigManager::FileConfigManager(
    std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory,
    std::shared_ptr<interf::ICryptographicHash> cryptographicHash,
    std::shared_ptr<interf::IRefreshNativeFileViewer> nativeFileViewer,
    std::shared_ptr<interf::IFolderConfigManager> folderConfigManager)
    : DatabaseConfigurationManager(std::move(databaseFactory))
    , cryptographicHash(std::move(cryptographicHash))
    , nativeFileViewer(std::move(nativeFileViewer))
    , folderConfigManager(std::move(folderConfigManager))
{
}

FileConfigManager::~FileConfigManager() = default;

FileConfiguration FileConfigManager::GetFileConfigurationById(int id)
{
    return _ReadOne(_Prepare(SelectById).bind(u":id"_s, id));
}

FileConfiguration FileConfigManager::GetFileConfigurationByServerId(QString serverFileId)
{
    return _ReadOne(_Prepare(SelectByServerId).bind(u":serverFileId"_s, serverFileId));
}

FileConfiguration FileConfigManager::GetBaseFileConfigurationById(int id)
{
    return _ReadOne(_Prepare(SelectBaseById).bind(u":id"_s, id));
}

FileConfiguration FileConfigManager::GetGeneratedFileConfigurationById(int id)
{
    return _ReadOne(_Prepare(SelectGeneratedById).bind(u":id"_s, id));
}

FileConfiguration FileConfigManager::GetFileConfigurationByClientPath(QString path)
{
    return _ReadOne(_Prepare(SelectByClientPath).bind(u":clientPath"_s, path));
}

QVector<FileConfiguration> FileConfigManager::GetAllFileConfigurationsByClientPath(QString path)
{
    return _ReadAll(_Prepare(SelectByClientPath).bind(u":clientPath"_s, path));
}

QVector<FileConfiguration> FileConfigManager::GetFileConfigurationsOfNonExistingRootFolders()
{
    QStringList rootIds;
    const auto roots = folderConfigManager->GetAllRootFolders();
    for (const FolderConfiguration& root : roots)
        rootIds.append(QString::number(root.getId()));
    return _ReadAll(_Prepare(QString(SelectByMissingRoots).arg(rootIds.join(u','))));
}

FileConfiguration FileConfigManager::GetGeneratedFileConfigurationByClientPath(QString path)
{
    return _ReadOne(_Prepare(SelectGeneratedByClientPath).bind(u":clientPath"_s, path));
}

FileConfiguration FileConfigManager::GetFileConfigurationByClientPathAndAuthenticationId(
    QString path, int authenticationId)
{
    return _FindByAuthenticationId(
        GetAllFileConfigurationsByClientPath(std::move(path)), authenticationId);
}

FileConfiguration FileConfigManager::GetFileConfigurationByServerPathAndAuthenticationId(
    QString path, int authenticationId)
{
    const auto files = _ReadAll(_Prepare(SelectByServerPath).bind(u":serverPath"_s, path));
    return _FindByAuthenticationId(files, authenticationId);
}

QVector<FileConfiguration> FileConfigManager::GetFileConfigurationsByFolderId(
    int folderId, FileConfigOrderByEnum order)
{
    return _ReadAll(_Prepare(QString(SelectByFolderId) + _GenerateOrderBy(order))
                        .bind(u":folderConfigurationId"_s, folderId));
}

QVector<FileConfiguration> FileConfigManager::GetFileConfigurationsByRootFolderId(
    int rootFolderId, FileConfigOrderByEnum order)
{
    return _ReadAll(_Prepare(QString(SelectByRootFolderId) + _GenerateOrderBy(order))
                        .bind(u":rootFolderId"_s, rootFolderId));
}

QVector<FileConfiguration> FileConfigManager::GetFileConfigurationsByRootFolderId(
    int rootFolderId, FileConfigurationType type)
{
    return _ReadAll(
        _Prepare(tableOf(type).selectByRootFolderId).bind(u":rootFolderId"_s, rootFolderId));
}

QVector<FileConfiguration> FileConfigManager::GetGeneratedFileConfigurationsByRootFolderId(
    int rootFolderId, FileConfigOrderByEnum order)
{
    return _ReadAll(_Prepare(QString(SelectGeneratedByRootFolderId) + _GenerateOrderBy(order))
                        .bind(u":rootFolderId"_s, rootFolderId));
}

QVector<FileConfiguration> FileConfigManager::GetFileConfigurationsByFolderIdAndSyncStatus(
    int folderId, FileSynchronizationStatus status)
{
    return _ReadAll(_Prepare(SelectByFolderIdAndSyncStatus)
                        .bind(u":folderConfigurationId"_s, folderId)
                        .bind(u":syncStatus"_s, int(status)));
}

QVector<FileConfiguration> FileConfigManager::GetGeneratedFileConfigurationsByParentFileId(
    int parentFileId)
{
    return _ReadAll(_Prepare(SelectGeneratedByParent).bind(u":parentFileId"_s, parentFileId));
}

QVector<FileConfiguration> FileConfigManager::GetAll()
{
    return _ReadAll(_Prepare(SelectAll));
}

QVector<FileConfiguration> FileConfigManager::GetAll(FileConfigurationType type)
{
    return _ReadAll(_Prepare(tableOf(type).selectAll));
}

bool FileConfigManager::Update(FileConfiguration config)
{
    const Table& table = tableOf(config.getFileType());
    if (table.name.isEmpty())
        return false;
    if (!config.getFileLinks().isEmpty())
        AddFileLinks(config);

    TransactionalScope scope;
    const bool updated =
        _BindFileConfiguration(_Prepare(table.update).bind(u":id"_s, config.getId()), config)
            .exec();
    if (!updated)
        return false;
    _RefreshNativeFileViewerIfSyncStatusChanged(config);
    return true;
}

bool FileConfigManager::Add(FileConfiguration& config)
{
    if (config.getClientPath().isEmpty())
        return false;

    // Intentional: only among the ordinary files, whatever the record's own type.
    const auto namesakes = GetAllFileConfigurationsByClientPath(config.getClientPath());
    for (const FileConfiguration& namesake : namesakes) {
        if (namesake.getFolderConfigurationId() == config.getFolderConfigurationId()) {
            config.setId(namesake.getId());
            return Update(config);
        }
    }
    return _Insert(config);
}

bool FileConfigManager::RemoveFileConfigurationAndLinkedConfigurations(int id)
{
    bool dependantsRemoved = true;
    const FileConfiguration base = GetBaseFileConfigurationByParentFileId(id);
    if (base.getId() != -1) {
        removeBaseCopyFromDisk(base.getClientPath());
        dependantsRemoved = RemoveBaseFileConfiguration(base.getId());
    }

    const auto generated = GetGeneratedFileConfigurationsByParentFileId(id);
    for (const FileConfiguration& file : generated) {
        if (!file.getClientPath().isEmpty())
            QFile::remove(file.getClientPath());
    }
    // Also if the base copy's row could not be removed.
    if (!generated.isEmpty() && !_RemoveGeneratedFileConfigurationsByParentFileId(id))
        dependantsRemoved = false;

    const bool removed = _Remove(id);
    return removed && dependantsRemoved;
}

bool FileConfigManager::RemoveBaseFileConfiguration(int id)
{
    // Intentional, although nothing uses the result.
    GetBaseFileConfigurationById(id);
    return _RemoveRows(DeleteBase, u":id"_s, id);
}

bool FileConfigManager::RemoveGeneratedFileConfiguration(int id)
{
    // Intentional, although nothing uses the result.
    GetGeneratedFileConfigurationById(id);
    return _RemoveRows(DeleteGenerated, u":id"_s, id);
}

bool FileConfigManager::RemoveByFolderConfigurationId(int folderConfigurationId)
{
    return _RemoveRows(DeleteByFolder, u":folderConfigurationId"_s, folderConfigurationId);
}

bool FileConfigManager::RemoveGeneratedFileConfigurationsByRootFolderId(int rootFolderId)
{
    return _RemoveRows(DeleteGeneratedByRootFolder, u":rootFolderId"_s, rootFolderId);
}

bool FileConfigManager::RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(
    int rootFolderId, FileSynchronizationStatus status)
{
    const auto generated =
        GetGeneratedFileConfigurationsByRootFolderId(rootFolderId, interf::OrderById);
    for (const FileConfiguration& file : generated) {
        // Intentional: the file's own id instead of its parent's, and false whatever happened.
        if (file.getSyncStatus() == status)
            _RemoveGeneratedFileConfigurationsByParentFileId(file.getId());
    }
    return false;
}

bool FileConfigManager::FileAndConfigTimestampsAreEqual(QFileInfo& file, FileConfiguration& config)
{
    if (!areNear(file.lastModified(), config.getLastModifiedDateTime()))
        return false;
    const QDateTime birth = file.birthTime();
    const QDateTime created = birth.isValid() ? birth : file.metadataChangeTime();
    return areNear(created, config.getCreatedDateTime());
}

bool FileConfigManager::LocalFileHasChanged(QFileInfo& file, FileConfiguration& config)
{
    if (FileAndConfigTimestampsAreEqual(file, config))
        return false;
    return cryptographicHash->GetFileHash(file.absoluteFilePath()) != config.getCheckSum();
}

bool FileConfigManager::UpdateSyncStatusFromSyncingToNotSynced(int folderConfigurationId)
{
    TransactionalScope scope;
    return _Prepare(ResetSyncStatus)
        .bind(u":syncStatusNotSynced"_s, int(FileNotSynced))
        .bind(u":folderConfigurationId"_s, folderConfigurationId)
        .bind(u":syncStatusSyncing"_s, int(FileSyncing))
        .exec();
}

FileConfiguration FileConfigManager::GetBaseFileConfigurationByParentFileId(int parentFileId)
{
    return _ReadOne(_Prepare(SelectBaseByParent).bind(u":parentFileId"_s, parentFileId));
}

FileConfiguration FileConfigManager::GetFileConfiguration(FileLink link, const QString& basePath)
{
    FileConfiguration file;
    if (link.FileId != -1)
        file = GetFileConfigurationById(link.FileId);
    if (file.getId() == -1)
        file = GetFileConfigurationByClientPath(
            core::RelativeToAbsolutePath(link.Path, basePath, true));
    return file;
}

bool FileConfigManager::transaction()
{
    return databaseFactory->GetDatabase()->transaction();
}

bool FileConfigManager::commit()
{
    return databaseFactory->GetDatabase()->commit();
}

bool FileConfigManager::rollback()
{
    return databaseFactory->GetDatabase()->rollback();
}

bool FileConfigManager::RemoveByRootFolderId(int rootFolderId)
{
    return _RemoveRows(DeleteByRootFolder, u":rootFolderId"_s, rootFolderId);
}

QString FileConfigManager::GetTableNameByFileType(FileConfigurationType type) const
{
    return tableOf(type).name;
}

QString FileConfigManager::GetXmlStringFromFileLinkArray(
    const QList<FileLink>& links, const QDateTime& date) const
{
    return writeFileLinksXml(links, date);
}

QList<FileLink> FileConfigManager::GetFileLinkArrayFromXmlString(
    const QString& xml, QDateTime& date) const
{
    return readFileLinksXml(xml, date);
}

FileConfiguration FileConfigManager::_ReadOne(const Statement& statement)
{
    return statement.readOneIfAny(this, &FileConfigManager::_PopulateFileConfiguration);
}

QVector<FileConfiguration> FileConfigManager::_ReadAll(const Statement& statement)
{
    return statement.readAll(this, &FileConfigManager::_PopulateFileConfiguration);
}

FileConfiguration FileConfigManager::_FindByAuthenticationId(
    const QVector<FileConfiguration>& files, int authenticationId)
{
    for (const FileConfiguration& file : files) {
        const FolderConfiguration folder =
            folderConfigManager->GetFolderConfigurationById(file.getFolderConfigurationId());
        if (folder.getAuthenticationId() == authenticationId)
            return file;
    }
    return {};
}

void FileConfigManager::_PopulateFileConfiguration(
    const RowReader& row, FileConfiguration& file) const
{
    if (!row.isValid())
        return;

    file.setId(row.integer(0));
    file.setFolderConfigurationId(row.integer(1));
    file.setName(row.text(2));
    file.setClientPath(row.text(3));
    file.setServerPath(row.text(4));
    file.setCheckSum(row.text(5));
    file.setCreatedDateTime(row.utcTime(6));
    file.setLastModifiedDateTime(row.utcTime(7));
    file.setSyncStatus(static_cast<FileSynchronizationStatus>(row.integer(8)));
    file.resetSyncStatusChanged();
    file.setLastOperationType(row.integer(9));
    file.setSize(row.longInteger(10));
    file.setNameValueProperties(_NameValueProperties(row, 11));
    file.setLastOperationTime(row.utcTime(12));
    file.setRootFolderId(row.integer(13));
    file.setSyncOption(row.integer(14));
    file.setParentFileId(row.integer(15));
    file.setFileType(static_cast<FileConfigurationType>(row.integer(16)));
    file.setOwnerId(row.text(17));
    file.setPrivileges(row.integer(18));
    file.setProductConfigurationId(row.integer(19));
    file.setServerFileId(row.text(20));
    file.setServerFileVersionId(row.text(21));
    file.setCheckSumMD5(row.text(22));
    QDateTime linksDate = file.getFileLinksDate();
    file.setFileLinks(GetFileLinkArrayFromXmlString(row.text(23), linksDate));
    file.setFileLinksDate(linksDate);
}

QString FileConfigManager::_GenerateOrderBy(FileConfigOrderByEnum order) const
{
    const int value = order;
    const bool isKnown = value >= 0 && value < int(std::size(OrderClauses));
    return u"ORDER BY "_s + OrderClauses[isKnown ? value : interf::OrderById].toString();
}

Statement FileConfigManager::_BindFileConfiguration(
    Statement statement, const FileConfiguration& config)
{
    statement.bind(u":folderConfigurationId"_s, config.getFolderConfigurationId())
        .bind(u":name"_s, config.getName())
        .bind(u":clientPath"_s, config.getClientPath())
        .bind(u":serverPath"_s, config.getServerPath())
        .bind(u":checkSum"_s, config.getCheckSum())
        .bind(u":createdDateTime"_s, config.getCreatedDateTime())
        .bind(u":lastModifiedDateTime"_s, config.getLastModifiedDateTime())
        .bind(u":syncStatus"_s, int(config.getSyncStatus()))
        .bind(u":lastOperationType"_s, config.getLastOperationType())
        .bind(u":size"_s, config.getSize())
        .bind(u":nameValueProperties"_s, ToNameValuePropertyString(config.getNameValueProperties()))
        .bind(u":lastOperationTime"_s, config.getLastOperationTime())
        .bind(u":rootFolderId"_s, config.getRootFolderId())
        .bind(u":syncOption"_s, config.getSyncOption())
        .bind(u":parentFileId"_s, config.getParentFileId())
        .bind(u":fileType"_s, int(config.getFileType()))
        .bind(u":ownerId"_s, config.getOwnerId())
        .bind(u":privileges"_s, config.getPrivileges())
        .bind(u":productConfigurationId"_s, config.getProductConfigurationId())
        .bind(u":serverFileId"_s, config.getServerFileId())
        .bind(u":serverFileVersionId"_s, config.getServerFileVersionId())
        .bind(u":checkSumMD5"_s, config.getCheckSumMD5())
        .bind(
            u":fileLinks"_s,
            GetXmlStringFromFileLinkArray(config.getFileLinks(), config.getFileLinksDate()));
    return statement;
}

bool FileConfigManager::_Insert(FileConfiguration& config)
{
    const Table& table = tableOf(config.getFileType());
    if (table.name.isEmpty())
        return false;
    if (!config.getFileLinks().isEmpty())
        AddFileLinks(config);

    TransactionalScope scope;
    int id = config.getId();
    if (!_BindFileConfiguration(_Prepare(table.insert), config).execInsert(id))
        return false;
    config.setId(id);
    _RefreshNativeFileViewerIfSyncStatusChanged(config);
    return true;
}

bool FileConfigManager::_Remove(int id)
{
    FileConfiguration file = GetFileConfigurationById(id);
    TransactionalScope scope;
    if (!_Prepare(Delete).bind(u":id"_s, id).exec())
        return false;
    _RefreshNativeFileViewer(file);
    return true;
}

bool FileConfigManager::_RemoveGeneratedFileConfigurationsByParentFileId(int parentFileId)
{
    return _RemoveRows(DeleteGeneratedByParent, u":parentFileId"_s, parentFileId);
}

bool FileConfigManager::_RemoveRows(const QString& sql, const QString& placeholder, int value)
{
    TransactionalScope scope;
    return _Prepare(sql).bind(placeholder, value).exec();
}

void FileConfigManager::_RefreshNativeFileViewer(FileConfiguration& config)
{
    if (nativeFileViewer)
        nativeFileViewer->Refresh(QFileInfo(config.getClientPath()).absolutePath());
}

void FileConfigManager::_RefreshNativeFileViewerIfSyncStatusChanged(FileConfiguration& config)
{
    // Does not reset the flag: writing the same record again refreshes the viewer again.
    if (config.getSyncStatusChanged())
        _RefreshNativeFileViewer(config);
}

bool FileConfigManager::AddFileLinks(FileConfiguration& config)
{
    const FolderConfiguration root =
        folderConfigManager->GetFolderConfigurationById(config.getRootFolderId());
    bool added = false;
    auto links = config.getFileLinks();
    for (FileLink& link : links) {
        const QString path = core::RelativeToAbsolutePath(link.Path, config.getClientPath(), true);
        if (!core::IsParentPath(root.getClientPath(), path) || !QFileInfo(path).isFile()) {
            link.FileId = -1;
            continue;
        }
        const FileConfiguration linked = GetFileConfiguration(link, config.getClientPath());
        if (linked.getId() != -1) {
            link.FileId = linked.getId();
            link.ServerFileId = linked.getServerFileId();
        } else if (_AddLinkedFile(link, path, config, root)) {
            added = true;
        }
    }
    config.setFileLinks(std::move(links));
    return added;
}

bool FileConfigManager::_AddLinkedFile(
    FileLink& link, const QString& path, const FileConfiguration& config,
    const FolderConfiguration& root)
{
    const QFileInfo file(path);
    // Has no links of its own, so files that link to each other in a circle end here.
    FileConfiguration linked;
    linked.setServerFileId(link.ServerFileId);
    linked.setName(file.fileName());
    linked.setServerPath(
        core::GetMappedPath(path, root.getClientPath(), root.getServerPath(), true));
    linked.setSyncStatus(FileCreated);
    linked.setLastOperationType(0);
    linked.setRootFolderId(config.getRootFolderId());
    linked.setFolderConfigurationId(
        folderConfigManager->AddFolderAndParent(file.absolutePath(), root).getId());
    linked.setFileType(OrdinaryFile);
    linked.setProductConfigurationId(config.getProductConfigurationId());
    linked.setClientPath(path);
    const bool added = Add(linked);
    link.FileId = linked.getId();
    return added;
}

} // namespace sync::config
