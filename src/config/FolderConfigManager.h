#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/FolderConfiguration.h>
#include <core/TimedCache.h>
#include <interf/IFolderConfigManager.h>

#include <memory>

namespace sync::interf {
class IRefreshNativeFileViewer;
} // namespace sync::interf

namespace sync::config {

class Statement;

/// Stores the synchronised folders and maintains their tree.
///
/// The interface documents each operation. The manager caches the lists of GetAll() and
/// GetAllRootFolders() for less than two seconds. Each cache has its own lock; otherwise the
/// manager is as thread-safe as its factory. It throws nothing.
class VELMIO_CONFIGURATION_EXPORT FolderConfigManager : public interf::IFolderConfigManager,
                                                        public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    /// Keeps the services. The factory must not be null. Without a viewer the manager refreshes
    /// nothing. The manager has no parent.
    FolderConfigManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory,
        std::shared_ptr<interf::IRefreshNativeFileViewer> nativeFileViewer);
    ~FolderConfigManager() override;

    Q_INVOKABLE sync::config::FolderConfiguration GetFolderConfigurationById(
        int folderConfigurationId) override;
    FolderConfiguration GetFolderConfigurationByServerId(QString serverFolderId) override;
    Q_INVOKABLE sync::config::FolderConfiguration GetFolderConfigurationByClientPath(
        QString clientPath) override;
    Q_INVOKABLE sync::config::FolderConfiguration
    GetFolderConfigurationByClientPathAndAuthenticationId(
        QString clientPath, int authenticationId) override;
    QVector<FolderConfiguration> GetFolderConfigurationsByAuthenticationId(
        int authenticationId) override;
    QVector<FolderConfiguration> GetFolderConfigurationsOfNonExistingRootFolders() override;
    Q_INVOKABLE QVector<sync::config::FolderConfiguration> GetAll() override;
    Q_INVOKABLE bool Update(sync::config::FolderConfiguration folderConfiguration) override;
    Q_INVOKABLE bool Add(sync::config::FolderConfiguration& folderConfiguration) override;
    Q_INVOKABLE FolderConfiguration
    AddFolderAndParent(const QString& absolutePath, const FolderConfiguration& rootConfig) override;
    Q_INVOKABLE bool Remove(int folderConfigurationId) override;
    Q_INVOKABLE bool Clean(int folderConfigurationId) override;
    bool IsInExistingClientFolder(
        const QString& path, int authenticationId, bool applyFolderOption) override;
    Q_INVOKABLE bool AncestorOrDescendantOfServerFolderExists(
        const QString& serverPath, int authenticationId, QString& matchingServerFolder) override;
    Q_INVOKABLE QVector<sync::config::FolderConfiguration> GetAllRootFolders() override;
    Q_INVOKABLE QVector<sync::config::FolderConfiguration> GetFolderConfigurationByParentId(
        int folderConfigurationId) override;
    Q_INVOKABLE QVector<sync::config::FolderConfiguration> GetFolderConfigurationsByRootId(
        int rootFolderId) override;
    Q_INVOKABLE bool IsInExistingAuthentication(int authenticationId) override;
    Q_INVOKABLE bool IsAnyFolderConfigOutOfSync() override;
    Q_INVOKABLE int GetRootFolderConfigurationCount() override;
    Q_INVOKABLE void ClearCaches() override;
    Q_INVOKABLE bool CleanRootFolder(int folderConfigurationId) override;
    Q_INVOKABLE void RefreshNativeFileViewer() override;
    Q_INVOKABLE void RefreshNativeFileViewer(QString& clientPath) override;

private:
    void _PopulateFolderConfiguration(const RowReader& row, FolderConfiguration& folder) const;
    QVector<FolderConfiguration> _GetAll();
    QVector<FolderConfiguration> _GetAllRootFolders();
    void _BindFolderConfiguration(Statement& statement, const FolderConfiguration& folder);
    bool _Update(const FolderConfiguration& folder);
    bool _Insert(FolderConfiguration& folder);
    FolderConfiguration _NewFolder(
        const QString& clientPath, int parentId, const FolderConfiguration& root);
    bool _RemoveFileConfigurationsByRootId(int rootId);
    bool _RemoveFolderConfigurationsByRootId(int rootId);
    void _RefreshNativeFileViewerIfSyncStatusChanged(FolderConfiguration& folder);

    core::TimedCache<QVector<FolderConfiguration>> allFoldersCache;
    core::TimedCache<QVector<FolderConfiguration>> rootFoldersCache;
    const std::shared_ptr<interf::IRefreshNativeFileViewer> nativeFileViewer;
};

} // namespace sync::config
