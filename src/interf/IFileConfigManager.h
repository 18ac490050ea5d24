#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <interf/FileConfigOrderByEnum.h>

#include <QObject>
#include <QString>
#include <QVector>

class QFileInfo;

namespace sync::config {
class FileConfiguration;
class FileLink;
enum FileConfigurationType : int;
enum FileSynchronizationStatus : int;
} // namespace sync::config

namespace sync::interf {

/// Reads and writes the state of synchronised files, of their generated files and base copies.
///
/// The three kinds have a table and ids of their own; where an operation does not say, it means the
/// ordinary files. A lookup that finds nothing or fails returns a record with id -1; of several
/// matches it returns the first in the database's order. A list ends where its query fails, so it
/// may be empty; over the embedded engine, database::ErrorGuard tells a failed read from an empty
/// one. A write returns false when the database fails, and true for an id that is not in the table,
/// which changes nothing. Paths and server ids compare exactly as they are stored.
class VELMIO_INTERFACES_EXPORT IFileConfigManager : public QObject
{
    Q_OBJECT

public:
    /// Owned by `parent` when there is one.
    explicit IFileConfigManager(QObject* parent = nullptr);
    ~IFileConfigManager() override;

    /// The ordinary file with this id.
    virtual config::FileConfiguration GetFileConfigurationById(int id) = 0;

    /// The file that the server knows by this id.
    virtual config::FileConfiguration GetFileConfigurationByServerId(QString serverFileId) = 0;

    /// The base copy with this id.
    virtual config::FileConfiguration GetBaseFileConfigurationById(int id) = 0;

    /// The generated file with this id.
    virtual config::FileConfiguration GetGeneratedFileConfigurationById(int id) = 0;

    /// The file at this path on the client, of whatever folder.
    virtual config::FileConfiguration GetFileConfigurationByClientPath(QString path) = 0;

    /// All files at this path on the client, of whatever folder, in the database's order.
    virtual QVector<config::FileConfiguration> GetAllFileConfigurationsByClientPath(
        QString path) = 0;

    /// The files whose root folder has no row; every file when there is no root at all.
    ///
    /// The roots are those of IFolderConfigManager::GetAllRootFolders(): after a failed read of
    /// them every file is returned, too. The disk is not asked.
    virtual QVector<config::FileConfiguration> GetFileConfigurationsOfNonExistingRootFolders() = 0;

    /// The generated file at this path on the client.
    virtual config::FileConfiguration GetGeneratedFileConfigurationByClientPath(QString path) = 0;

    /// The file at this path on the client whose folder belongs to the sign-in.
    virtual config::FileConfiguration GetFileConfigurationByClientPathAndAuthenticationId(
        QString path, int authenticationId) = 0;

    /// The file at this path on the server whose folder belongs to the sign-in.
    virtual config::FileConfiguration GetFileConfigurationByServerPathAndAuthenticationId(
        QString path, int authenticationId) = 0;

    /// The files directly in a folder. An order that is none of the named ones sorts by id.
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByFolderId(
        int folderId, FileConfigOrderByEnum order) = 0;

    /// The files of a root folder's whole tree. An order that is none of the named ones sorts by
    /// id.
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByRootFolderId(
        int rootFolderId, FileConfigOrderByEnum order) = 0;

    /// The files of this type of a root folder's whole tree, in the database's order; none for an
    /// unknown type.
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByRootFolderId(
        int rootFolderId, config::FileConfigurationType type) = 0;

    /// The generated files of a root folder's whole tree. An order that is none of the named ones
    /// sorts by id.
    virtual QVector<config::FileConfiguration> GetGeneratedFileConfigurationsByRootFolderId(
        int rootFolderId, FileConfigOrderByEnum order) = 0;

    /// The files directly in a folder that have this status, ordered by name.
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByFolderIdAndSyncStatus(
        int folderId, config::FileSynchronizationStatus status) = 0;

    /// The generated files that belong to an ordinary file, ordered by id.
    virtual QVector<config::FileConfiguration> GetGeneratedFileConfigurationsByParentFileId(
        int parentFileId) = 0;

    /// All ordinary files in the database's order.
    virtual QVector<config::FileConfiguration> GetAll() = 0;

    /// All files of this type in the database's order; none for an unknown type.
    virtual QVector<config::FileConfiguration> GetAll(config::FileConfigurationType type) = 0;

    /// Stores every field in the table of the record's type. Files that it links to and that are
    /// not stored yet are added first, with status config::FileCreated.
    ///
    /// These stay when the record then cannot be stored. A link whose path leads to no file on the
    /// disk below the record's root folder gets id -1.
    ///
    /// Also false for an unknown type. Refreshes the native file viewer at the file's folder if its
    /// status was set since the record was read.
    virtual bool Update(config::FileConfiguration config) = 0;

    /// Stores a new file in the table of its type and sets the record's id; files that it links to
    /// are added first as by Update(), and the record's links receive their ids.
    ///
    /// When there is an ordinary file with the same client path in the same folder, the record
    /// receives the id of that file and becomes an Update(), whatever its type; its links stay as
    /// they are then. Also false without a client path and for an unknown type. A failed insertion
    /// leaves the record's id as it is. Refreshes the viewer as Update() does.
    virtual bool Add(config::FileConfiguration& config) = 0;

    /// Removes an ordinary file with its base copy and generated files, these from the disk, too.
    ///
    /// Of several base copies the one with the lowest id goes, and its folder when that is empty
    /// then; the ordinary file itself stays on the disk. What cannot be removed from the disk
    /// stays: the result tells whether all these rows are gone. A row that cannot be removed does
    /// not keep the others. Refreshes the viewer at the file's folder.
    virtual bool RemoveFileConfigurationAndLinkedConfigurations(int id) = 0;

    /// Removes the row of one base copy, and nothing from the disk.
    virtual bool RemoveBaseFileConfiguration(int id) = 0;

    /// Removes the row of one generated file, and nothing from the disk.
    virtual bool RemoveGeneratedFileConfiguration(int id) = 0;

    /// Removes the rows of all ordinary files directly in a folder, and nothing from the disk.
    virtual bool RemoveByFolderConfigurationId(int folderConfigurationId) = 0;

    /// Removes the rows of all generated files of a root folder's tree, and nothing from the disk.
    virtual bool RemoveGeneratedFileConfigurationsByRootFolderId(int rootFolderId) = 0;

    /// Removes the rows whose parent is a generated file with that status, which itself stays.
    /// Always false.
    virtual bool RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(
        int rootFolderId, config::FileSynchronizationStatus status) = 0;

    /// True when both the last modification and the creation of the file are less than two seconds
    /// from what the record holds.
    ///
    /// The time of the last metadata change stands in for the creation on a file system that does
    /// not know it. A time that is not known equals nothing. Changes neither argument.
    virtual bool FileAndConfigTimestampsAreEqual(
        QFileInfo& file, config::FileConfiguration& config) = 0;

    /// True when times and checksum both differ from the record's.
    ///
    /// The file is read only when the times differ, and its size is not looked at. A file that
    /// cannot be read has changed, unless the record has no checksum. Changes neither argument.
    virtual bool LocalFileHasChanged(QFileInfo& file, config::FileConfiguration& config) = 0;

    /// Gives the ordinary files directly in a folder that have status config::FileSyncing status
    /// config::FileNotSynced. The viewer is not refreshed.
    virtual bool UpdateSyncStatusFromSyncingToNotSynced(int folderConfigurationId) = 0;

    /// The base copy of an ordinary file; of several the one with the lowest id.
    virtual config::FileConfiguration GetBaseFileConfigurationByParentFileId(int parentFileId) = 0;

    /// The ordinary file that a link leads to: the one with its id or else the one at its path,
    /// which is resolved against the folder of the file `basePath`.
    virtual config::FileConfiguration GetFileConfiguration(
        config::FileLink link, const QString& basePath) = 0;

    /// Begins a transaction on the connection that the calling thread uses; false when that fails
    /// or one is open already.
    ///
    /// The writes of this thread, through any manager over the same factory, then become durable
    /// with commit() and are undone by rollback().
    virtual bool transaction() = 0;

    /// Makes everything since transaction() durable; false when that fails or none is open.
    virtual bool commit() = 0;

    /// Undoes everything since transaction(); false when that fails or none is open. What was
    /// removed from the disk stays removed.
    virtual bool rollback() = 0;
};

} // namespace sync::interf
