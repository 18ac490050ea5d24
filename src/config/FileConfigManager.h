#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/FileConfiguration.h>
#include <interf/IFileConfigManager.h>

#include <memory>

namespace sync::interf {
class ICryptographicHash;
class IFolderConfigManager;
class IRefreshNativeFileViewer;
} // namespace sync::interf

namespace sync::config {

class FolderConfiguration;

/// Stores the state of synchronised files, of their generated files and of their base copies.
///
/// The interface documents each operation. The manager keeps no state between calls, so it is as
/// thread-safe as its services. It throws nothing.
class VELMIO_CONFIGURATION_EXPORT FileConfigManager : public DatabaseConfigurationManager,
                                                      public interf::IFileConfigManager
{
public:
    /// Keeps the services. Without a viewer the manager refreshes nothing; the other services must
    /// not be null. The manager has no parent.
    FileConfigManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory,
        std::shared_ptr<interf::ICryptographicHash> cryptographicHash,
        std::shared_ptr<interf::IRefreshNativeFileViewer> nativeFileViewer,
        std::shared_ptr<interf::IFolderConfigManager> folderConfigManager);
    ~FileConfigManager() override;

    FileConfiguration GetFileConfigurationById(int id) override;
    FileConfiguration GetFileConfigurationByServerId(QString serverFileId) override;
    FileConfiguration GetBaseFileConfigurationById(int id) override;
    FileConfiguration GetGeneratedFileConfigurationById(int id) override;
    FileConfiguration GetFileConfigurationByClientPath(QString path) override;
    QVector<FileConfiguration> GetAllFileConfigurationsByClientPath(QString path) override;
    QVector<FileConfiguration> GetFileConfigurationsOfNonExistingRootFolders() override;
    FileConfiguration GetGeneratedFileConfigurationByClientPath(QString path) override;
    FileConfiguration GetFileConfigurationByClientPathAndAuthenticationId(
        QString path, int authenticationId) override;
    FileConfiguration GetFileConfigurationByServerPathAndAuthenticationId(
        QString path, int authenticationId) override;
    QVector<FileConfiguration> GetFileConfigurationsByFolderId(
        int folderId, interf::FileConfigOrderByEnum order) override;
    QVector<FileConfiguration> GetFileConfigurationsByRootFolderId(
        int rootFolderId, interf::FileConfigOrderByEnum order) override;
    QVector<FileConfiguration> GetFileConfigurationsByRootFolderId(
        int rootFolderId, FileConfigurationType type) override;
    QVector<FileConfiguration> GetGeneratedFileConfigurationsByRootFolderId(
        int rootFolderId, interf::FileConfigOrderByEnum order) override;
    QVector<FileConfiguration> GetFileConfigurationsByFolderIdAndSyncStatus(
        int folderId, FileSynchronizationStatus status) override;
    QVector<FileConfiguration> GetGeneratedFileConfigurationsByParentFileId(
        int parentFileId) override;
    QVector<FileConfiguration> GetAll() override;
    QVector<FileConfiguration> GetAll(FileConfigurationType type) override;
    bool Update(FileConfiguration config) override;
    bool Add(FileConfiguration& config) override;
    bool RemoveFileConfigurationAndLinkedConfigurations(int id) override;
    bool RemoveBaseFileConfiguration(int id) override;
    bool RemoveGeneratedFileConfiguration(int id) override;
    bool RemoveByFolderConfigurationId(int folderConfigurationId) override;
    bool RemoveGeneratedFileConfigurationsByRootFolderId(int rootFolderId) override;
    bool RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(
        int rootFolderId, FileSynchronizationStatus status) override;
    bool FileAndConfigTimestampsAreEqual(QFileInfo& file, FileConfiguration& config) override;
    bool LocalFileHasChanged(QFileInfo& file, FileConfiguration& config) override;
    bool UpdateSyncStatusFromSyncingToNotSynced(int folderConfigurationId) override;
    FileConfiguration GetBaseFileConfigurationByParentFileId(int parentFileId) override;
    FileConfiguration GetFileConfiguration(FileLink link, const QString& basePath) override;
    bool transaction() override;
    bool commit() override;
    bool rollback() override;

    /// Removes the rows of all ordinary files of a root folder's tree, and nothing from the disk.
    /// True also if there are none; false if the database fails.
    virtual bool RemoveByRootFolderId(int rootFolderId);

    /// The name of the table that holds the records of a type; empty for an unknown type.
    QString GetTableNameByFileType(FileConfigurationType type) const;

    /// The text of the column "fileLinks": an XML document, or empty without links and date. Omits
    /// links without a target. Pure: any thread may call it.
    QString GetXmlStringFromFileLinkArray(
        const QList<FileLink>& links, const QDateTime& date) const;

    /// The links in a text of the column "fileLinks". Sets `date` to their date in UTC, but leaves
    /// it unchanged for an empty text. Text that is not XML has no links and a null date. Pure: any
    /// thread may call it.
    QList<FileLink> GetFileLinkArrayFromXmlString(const QString& xml, QDateTime& date) const;

private:
    friend class FileBatch;

    FileConfiguration _ReadOne(const Statement& statement);
    QVector<FileConfiguration> _ReadAll(const Statement& statement);
    FileConfiguration _FindByAuthenticationId(
        const QVector<FileConfiguration>& files, int authenticationId);
    void _PopulateFileConfiguration(const RowReader& row, FileConfiguration& file) const;
    QString _GenerateOrderBy(interf::FileConfigOrderByEnum order) const;

    Statement _BindFileConfiguration(Statement statement, const FileConfiguration& config);
    bool _Insert(FileConfiguration& config);
    bool _Remove(int id);
    bool _RemoveGeneratedFileConfigurationsByParentFileId(int parentFileId);
    bool _RemoveRows(const QString& sql, const QString& placeholder, int value);
    void _RefreshNativeFileViewer(FileConfiguration& config);
    void _RefreshNativeFileViewerIfSyncStatusChanged(FileConfiguration& config);

    /// Sets the file ids in a record's links, and adds the linked files that are not stored yet.
    /// True if it added at least one.
    bool AddFileLinks(FileConfiguration& config);
    bool _AddLinkedFile(
        FileLink& link, const QString& path, const FileConfiguration& config,
        const FolderConfiguration& root);

    const std::shared_ptr<interf::ICryptographicHash> cryptographicHash;
    const std::shared_ptr<interf::IRefreshNativeFileViewer> nativeFileViewer;
    const std::shared_ptr<interf::IFolderConfigManager> folderConfigManager;
};

} // namespace sync::config
