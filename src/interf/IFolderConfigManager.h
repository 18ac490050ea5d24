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
/// A lookup returns a record with id -1 if it finds nothing or fails; of several matches it returns
/// the first in the database's order. A list ends where its query fails, so it may be empty;
/// database::ErrorGuard distinguishes a failed read from an empty one. A write returns false if the
/// database fails, and true for an id that is not in the table, which changes nothing. Paths and
/// server ids compare exactly as they are stored, unless an operation says otherwise.
///
/// Writes refresh the host's native file viewer, if it has one, at the folders that they change.
class VELMIO_INTERFACES_EXPORT IFolderConfigManager : public QObject
{
    Q_OBJECT

public:
    /// `parent` owns the manager, unless it is null.
    explicit IFolderConfigManager(QObject* parent = nullptr);
    ~IFolderConfigManager() override;

    /// The folder with this id.
    virtual config::FolderConfiguration GetFolderConfigurationById(int folderConfigurationId) = 0;

    /// The folder that the server knows by this id.
    virtual config::FolderConfiguration GetFolderConfigurationByServerId(
        QString serverFolderId) = 0;

    /// The folder at this path on the client, of any sign-in.
    virtual config::FolderConfiguration GetFolderConfigurationByClientPath(QString clientPath) = 0;

    /// The folder at this path on the client that belongs to the sign-in.
    virtual config::FolderConfiguration GetFolderConfigurationByClientPathAndAuthenticationId(
        QString clientPath, int authenticationId) = 0;

    /// All folders that are synchronised with the sign-in, in the database's order.
    virtual QVector<config::FolderConfiguration> GetFolderConfigurationsByAuthenticationId(
        int authenticationId) = 0;

    /// All folders of a tree, including its root folder, in the database's order.
    virtual QVector<config::FolderConfiguration> GetFolderConfigurationsByRootId(
        int rootFolderId) = 0;

    /// The folders whose root folder has no row; every folder if there is no root folder.
    ///
    /// The root folders are those of GetAllRootFolders(): if reading them failed, this returns
    /// every folder. Does not access the disk.
    virtual QVector<config::FolderConfiguration>
    GetFolderConfigurationsOfNonExistingRootFolders() = 0;

    /// All folders in the database's order, less than two seconds old; see ClearCaches(). After a
    /// failed read the list stays empty for that time.
    virtual QVector<config::FolderConfiguration> GetAll() = 0;

    /// Stores every field under the record's id. GetAll() and GetAllRootFolders() may return the
    /// old values for up to two seconds.
    ///
    /// Refreshes the viewer at the folder if the status was set since the record was read.
    virtual bool Update(config::FolderConfiguration folderConfiguration) = 0;

    /// Stores a new folder and sets the record's id; a root folder (parent id 0) without a root id
    /// becomes its own root.
    ///
    /// Returns false and leaves the record unchanged if the parent id is -1, if the folder is not a
    /// root and has no root id, or if the database fails. Refreshes the viewer as Update() does.
    virtual bool Add(config::FolderConfiguration& folderConfiguration) = 0;

    /// The folder with this client path. If it is not stored yet, this adds it, with all its
    /// missing ancestors below the nearest stored one.
    ///
    /// An added folder gets the sign-in, product, root id and short key of `rootConfig`, and status
    /// config::FolderCreated. The record has id -1 if the path is empty, if it is not inside a
    /// stored folder, or if the database fails; ancestors that were already added stay. Does not
    /// access the disk.
    virtual config::FolderConfiguration AddFolderAndParent(
        const QString& absolutePath, const config::FolderConfiguration& rootConfig) = 0;

    /// Removes one row and refreshes the viewer at the folder. Its subfolders and files stay.
    virtual bool Remove(int folderConfigurationId) = 0;

    /// Removes a folder with its subfolders, deepest first, and the rows of their ordinary files.
    ///
    /// Stops at the first failure and returns false; what was already removed stays removed. Does
    /// not change the disk, or the rows of generated files and base copies.
    virtual bool Clean(int folderConfigurationId) = 0;

    /// True if the path is a root folder of the sign-in or is inside one; of any sign-in if the id
    /// is negative.
    ///
    /// Ignores case. A path through the scratch folder (core::consts::TEMP_FOLDER_NAME) is never
    /// inside. With `applyFolderOption`, a root folder that is synchronised at top level only
    /// contains itself and its direct files; the disk decides whether the path is a directory. A
    /// relative path is relative to the working directory. Uses the root folders of
    /// GetAllRootFolders().
    virtual bool IsInExistingClientFolder(
        const QString& path, int authenticationId, bool applyFolderOption) = 0;

    /// True if a root folder of this sign-in is the server path, contains it or is inside it;
    /// ignores case. Sets `matchingServerFolder` to the server path of that root folder, or to
    /// null.
    ///
    /// False for an empty path. Uses the root folders of GetAllRootFolders().
    virtual bool AncestorOrDescendantOfServerFolderExists(
        const QString& serverPath, int authenticationId, QString& matchingServerFolder) = 0;

    /// The folders with parent id 0, less than two seconds old; see ClearCaches(). After a
    /// failed read the list stays empty for that time.
    virtual QVector<config::FolderConfiguration> GetAllRootFolders() = 0;

    /// The folders directly below this one, ordered by name; the root folders for 0.
    virtual QVector<config::FolderConfiguration> GetFolderConfigurationByParentId(
        int folderConfigurationId) = 0;

    /// True if any folder uses this sign-in, and also if the query fails.
    virtual bool IsInExistingAuthentication(int authenticationId) = 0;

    /// True if any folder has status config::FolderNotSynced, and also if the query fails.
    virtual bool IsAnyFolderConfigOutOfSync() = 0;

    /// The number of root folders; -1 if the query fails.
    virtual int GetRootFolderConfigurationCount() = 0;

    /// Makes the next GetAll() and GetAllRootFolders() read the database. Adding and removing
    /// folders through this manager does the same. Changes by others are visible within two
    /// seconds.
    virtual void ClearCaches() = 0;

    /// Removes a root folder with all folders and ordinary files of its tree, in one transaction.
    ///
    /// Stops at the first failure and returns false; what was already removed stays removed. Also
    /// returns false if the commit fails, and then nothing is removed. Does not change the disk, or
    /// the rows of generated files and base copies.
    virtual bool CleanRootFolder(int folderConfigurationId) = 0;

    /// Refreshes the viewer at every root folder. Reads them from the database, not from the cache.
    virtual void RefreshNativeFileViewer() = 0;

    /// Refreshes the viewer at a folder; does not change the path.
    virtual void RefreshNativeFileViewer(QString& clientPath) = 0;
};

} // namespace sync::interf
