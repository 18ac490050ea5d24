#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>
#include <QString>
#include <QVector>

namespace sync::config {
class FolderConfiguration;
}

namespace sync::interf {

/// Reads, writes and maintains the tree of synchronised folders.
///
/// A lookup that finds nothing or fails returns a record with id -1; of several matches it returns
/// the first in the database's order. A list ends where its query fails, so it may be empty; over
/// the embedded engine, database::ErrorGuard tells a failed read from an empty one. A write returns
/// false when the database fails, and true for an id that is not in the table, which changes
/// nothing. Paths and server ids compare exactly as they are stored, where an operation does not
/// say otherwise.
///
/// Writes refresh the host's native file viewer, where there is one, at the folders concerned.
class VELMIO_INTERFACES_EXPORT IFolderConfigManager : public QObject
{
    Q_OBJECT

public:
    /// Owned by `parent` when there is one.
    explicit IFolderConfigManager(QObject* parent = nullptr);
    ~IFolderConfigManager() override;

    /// The folder with this id.
    virtual config::FolderConfiguration GetFolderConfigurationById(int folderConfigurationId) = 0;

    /// The folder that the server knows by this id.
    virtual config::FolderConfiguration GetFolderConfigurationByServerId(
        QString serverFolderId) = 0;

    /// The folder at this path on the client, of whatever sign-in.
    virtual config::FolderConfiguration GetFolderConfigurationByClientPath(QString clientPath) = 0;

    /// The folder at this path on the client that belongs to the sign-in.
    virtual config::FolderConfiguration GetFolderConfigurationByClientPathAndAuthenticationId(
        QString clientPath, int authenticationId) = 0;

    /// All folders that are synchronised with the sign-in, in the database's order.
    virtual QVector<config::FolderConfiguration> GetFolderConfigurationsByAuthenticationId(
        int authenticationId) = 0;

    /// All folders of a tree in the database's order, its root folder among them.
    virtual QVector<config::FolderConfiguration> GetFolderConfigurationsByRootId(
        int rootFolderId) = 0;

    /// The folders whose root folder has no row; every folder when there is no root at all.
    ///
    /// The roots are those of GetAllRootFolders(): after a failed read of them every folder is
    /// returned, too. The disk is not asked.
    virtual QVector<config::FolderConfiguration>
    GetFolderConfigurationsOfNonExistingRootFolders() = 0;

    /// All folders in the database's order, less than two seconds old; see ClearCaches(). A failed
    /// read stays an empty list for as long.
    virtual QVector<config::FolderConfiguration> GetAll() = 0;

    /// Stores every field under the record's id. GetAll() and GetAllRootFolders() may give the old
    /// values for up to two seconds.
    ///
    /// Refreshes the viewer at the folder if its status was set since the record was read.
    virtual bool Update(config::FolderConfiguration folderConfiguration) = 0;

    /// Stores a new folder and sets the record's id; a root folder (parent id 0) without a root id
    /// becomes its own root.
    ///
    /// False, with the record unchanged, when the parent id is -1, when a folder that is no root
    /// has no root id, or when the database fails. Refreshes the viewer as Update() does.
    virtual bool Add(config::FolderConfiguration& folderConfiguration) = 0;

    /// The folder with this client path. When it is not stored yet, it is added with all its
    /// missing ancestors up to a stored one.
    ///
    /// What is added takes the sign-in, product, root id and short key of `rootConfig`, and status
    /// config::FolderCreated. Id -1 for an empty path, when the path lies in no stored folder, or
    /// when the database fails; ancestors that were added until then stay. The disk is not asked.
    virtual config::FolderConfiguration AddFolderAndParent(
        const QString& absolutePath, const config::FolderConfiguration& rootConfig) = 0;

    /// Removes one row and refreshes the viewer at the folder. Its subfolders and files stay.
    virtual bool Remove(int folderConfigurationId) = 0;

    /// Removes a folder with its subfolders, deepest first, and the rows of their ordinary files.
    ///
    /// False at the first failure; what was removed until then stays removed. The disk is not
    /// touched, nor are the rows of generated files and base copies.
    virtual bool Clean(int folderConfigurationId) = 0;

    /// True when the path is, or lies in, a root folder of the sign-in; of any sign-in when the id
    /// is negative.
    ///
    /// Letters compare without regard to case. A path through the scratch folder, see
    /// core::consts::TEMP_FOLDER_NAME, is never inside. With `applyFolderOption`, a root folder
    /// that is synchronised at top level only holds nothing but itself and its direct files; the
    /// disk is asked whether the path is a directory. A relative path is resolved against the
    /// working directory. Looks at the roots of GetAllRootFolders().
    virtual bool IsInExistingClientFolder(
        const QString& path, int authenticationId, bool applyFolderOption) = 0;

    /// True when a root folder of this sign-in is, contains or lies in the server path, without
    /// regard to case; then `matchingServerFolder` is its server path, and null otherwise.
    ///
    /// False for an empty path. Looks at the roots of GetAllRootFolders().
    virtual bool AncestorOrDescendantOfServerFolderExists(
        const QString& serverPath, int authenticationId, QString& matchingServerFolder) = 0;

    /// The folders with parent id 0, less than two seconds old; see ClearCaches(). A failed read
    /// stays an empty list for as long.
    virtual QVector<config::FolderConfiguration> GetAllRootFolders() = 0;

    /// The folders directly below this one, ordered by name; the root folders for 0.
    virtual QVector<config::FolderConfiguration> GetFolderConfigurationByParentId(
        int folderConfigurationId) = 0;

    /// Whether any folder uses this sign-in; true also when the query fails.
    virtual bool IsInExistingAuthentication(int authenticationId) = 0;

    /// Whether any folder has status config::FolderNotSynced; true also when the query fails.
    virtual bool IsAnyFolderConfigOutOfSync() = 0;

    /// How many root folders there are; -1 when the query fails.
    virtual int GetRootFolderConfigurationCount() = 0;

    /// Has the next GetAll() and GetAllRootFolders() read the database. Adding and removing folders
    /// through this manager does so, too; what others write is seen within two seconds.
    virtual void ClearCaches() = 0;

    /// Removes a root folder with all folders and ordinary files of its tree, in one transaction.
    ///
    /// False at the first failure; what was removed until then stays removed. False, too, when the
    /// engine could not commit it, and then nothing is removed. The disk is not touched, nor are
    /// the rows of generated files and base copies.
    virtual bool CleanRootFolder(int folderConfigurationId) = 0;

    /// Refreshes the viewer at every root folder, as read from the database just now.
    virtual void RefreshNativeFileViewer() = 0;

    /// Refreshes the viewer at a folder; the path is not changed.
    virtual void RefreshNativeFileViewer(QString& clientPath) = 0;
};

} // namespace sync::interf
