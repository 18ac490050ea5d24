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
/// Nothing is thrown: a lookup that finds nothing or fails returns a record with id -1, a list an
/// empty one. The two lists of GetAll() and GetAllRootFolders() are kept for about a second, each
/// behind its own lock; apart from that the manager is as thread-safe as the factory it is given.
class VELMIO_CONFIGURATION_EXPORT FolderConfigManager : public interf::IFolderConfigManager,
                                                        public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    /// Without a viewer nothing is refreshed.
    FolderConfigManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory,
        std::shared_ptr<interf::IRefreshNativeFileViewer> nativeFileViewer);
    ~FolderConfigManager() override;

    Q_INVOKABLE sync::config::FolderConfiguration GetFolderConfigurationById(
        int folderConfigurationId) override;

    FolderConfiguration GetFolderConfigurationByServerId(QString serverFolderId) override;

    /// Paths compare exactly as they are stored. Of several matches, the database's first.
    Q_INVOKABLE sync::config::FolderConfiguration GetFolderConfigurationByClientPath(
        QString clientPath) override;
    Q_INVOKABLE sync::config::FolderConfiguration
    GetFolderConfigurationByClientPathAndAuthenticationId(
        QString clientPath, int authenticationId) override;

    QVector<FolderConfiguration> GetFolderConfigurationsByAuthenticationId(
        int authenticationId) override;

    /// The folders whose root folder has no row; every folder when there is no root at all. The
    /// roots are those of GetAllRootFolders().
    QVector<FolderConfiguration> GetFolderConfigurationsOfNonExistingRootFolders() override;

    /// All folders in the database's order, up to about a second old; see ClearCaches().
    Q_INVOKABLE QVector<sync::config::FolderConfiguration> GetAll() override;

    /// Stores every field; false when that fails. True for an id that is not in the table, which
    /// changes nothing. GetAll() and GetAllRootFolders() may give the old values for a second.
    Q_INVOKABLE bool Update(sync::config::FolderConfiguration folderConfiguration) override;

    /// Stores a new folder and sets its id; a root folder (parent id 0) without a root id becomes
    /// its own root. False, with the record unchanged, when the parent id is -1, when a folder
    /// that is no root has no root id, or when the database fails.
    Q_INVOKABLE bool Add(sync::config::FolderConfiguration& folderConfiguration) override;

    /// The folder with this client path, created with all its missing ancestors below the root
    /// folder when it is not stored yet. Id -1 when the path lies in no stored folder or the
    /// database fails.
    Q_INVOKABLE FolderConfiguration
    AddFolderAndParent(const QString& absolutePath, const FolderConfiguration& rootConfig) override;

    /// Removes one row, not its subfolders or files; true also when there was none.
    Q_INVOKABLE bool Remove(int folderConfigurationId) override;

    /// Removes a folder with its subfolders, deepest first, and the rows of their files. False at
    /// the first failure; what was removed until then stays removed.
    Q_INVOKABLE bool Clean(int folderConfigurationId) override;

    /// True when the path is, or lies in, a root folder of the sign-in; any sign-in when the id is
    /// negative. Letters compare without regard to case; a path through the scratch folder is never
    /// inside. With `applyFolderOption`, a root that is synchronised at top level only holds
    /// nothing but its direct files.
    bool IsInExistingClientFolder(
        const QString& path, int authenticationId, bool applyFolderOption) override;

    /// True when a root folder of this sign-in is, contains or lies in the server path, without
    /// regard to case; then `matchingServerFolder` is its server path, and null otherwise.
    Q_INVOKABLE bool AncestorOrDescendantOfServerFolderExists(
        const QString& serverPath, int authenticationId, QString& matchingServerFolder) override;

    /// The folders with parent id 0, up to about a second old; see ClearCaches().
    Q_INVOKABLE QVector<sync::config::FolderConfiguration> GetAllRootFolders() override;

    /// The folders directly below this one, ordered by name; the root folders for 0.
    Q_INVOKABLE QVector<sync::config::FolderConfiguration> GetFolderConfigurationByParentId(
        int folderConfigurationId) override;

    /// All folders of a tree, its root folder among them.
    Q_INVOKABLE QVector<sync::config::FolderConfiguration> GetFolderConfigurationsByRootId(
        int rootFolderId) override;

    /// Whether any folder uses this sign-in; true also when the query fails.
    Q_INVOKABLE bool IsInExistingAuthentication(int authenticationId) override;

    /// Whether any folder's status is "out of sync"; true also when the query fails.
    Q_INVOKABLE bool IsAnyFolderConfigOutOfSync() override;

    /// -1 when the query fails.
    Q_INVOKABLE int GetRootFolderConfigurationCount() override;

    /// Has the next GetAll() and GetAllRootFolders() read the database.
    Q_INVOKABLE void ClearCaches() override;

    /// Removes a root folder with all folders and files of its tree, in one transaction. False at
    /// the first failure; what was removed until then stays removed. False, too, when the engine
    /// could not commit it, and then nothing is removed.
    Q_INVOKABLE bool CleanRootFolder(int folderConfigurationId) override;

    /// Refreshes the native file viewer at every root folder, as read from the database just now.
    Q_INVOKABLE void RefreshNativeFileViewer() override;
    Q_INVOKABLE void RefreshNativeFileViewer(QString& clientPath) override;

private:
    void _PopulateFolderConfiguration(const RowReader& row, FolderConfiguration& folder);
    void _PopulateFolderConfigurations(const RowReader& row, QVector<FolderConfiguration>& folders);
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
