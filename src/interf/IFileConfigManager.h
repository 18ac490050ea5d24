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
/// Each of the three kinds has its own table and ids. Unless an operation says otherwise, it means
/// the ordinary files. A lookup returns a record with id -1 if it finds nothing or fails; of
/// several matches it returns the first in the database's order. A list ends where its query fails,
/// so it may be empty; database::ErrorGuard distinguishes a failed read from an empty one. A write
/// returns false if the database fails, and true for an id that is not in the table, which changes
/// nothing. Paths and server ids compare exactly as they are stored.
class VELMIO_INTERFACES_EXPORT IFileConfigManager : public QObject
{
    Q_OBJECT

public:
    /// `parent` owns the manager, unless it is null.
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

    /// The file at this path on the client, in any folder.
    virtual config::FileConfiguration GetFileConfigurationByClientPath(QString path) = 0;

    /// All files at this path on the client, in any folder, in the database's order.
    virtual QVector<config::FileConfiguration> GetAllFileConfigurationsByClientPath(
        QString path) = 0;

    /// The files whose root folder has no row; every file if there is no root folder.
    ///
    /// The root folders are those of IFolderConfigManager::GetAllRootFolders(): if reading them
    /// failed, this returns every file. Does not access the disk.
    virtual QVector<config::FileConfiguration> GetFileConfigurationsOfNonExistingRootFolders() = 0;

    /// The generated file at this path on the client.
    virtual config::FileConfiguration GetGeneratedFileConfigurationByClientPath(QString path) = 0;

    /// The file at this path on the client whose folder belongs to the sign-in.
    virtual config::FileConfiguration GetFileConfigurationByClientPathAndAuthenticationId(
        QString path, int authenticationId) = 0;

    /// The file at this path on the server whose folder belongs to the sign-in.
    virtual config::FileConfiguration GetFileConfigurationByServerPathAndAuthenticationId(
        QString path, int authenticationId) = 0;

    /// The files directly in a folder. An unnamed order sorts by id.
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByFolderId(
        int folderId, FileConfigOrderByEnum order) = 0;

    /// The files of a root folder's whole tree. An unnamed order sorts by id.
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByRootFolderId(
        int rootFolderId, FileConfigOrderByEnum order) = 0;

    /// The files of this type of a root folder's whole tree, in the database's order; none for an
    /// unknown type.
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByRootFolderId(
        int rootFolderId, config::FileConfigurationType type) = 0;

    /// The generated files of a root folder's whole tree. An unnamed order sorts by id.
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

    /// Stores every field in the table of the record's type. First adds the linked files that are
    /// not stored yet, with status config::FileCreated.
    ///
    /// The linked files stay even if the record itself cannot be stored. A link gets id -1 if its
    /// path is not a file on the disk below the record's root folder.
    ///
    /// Also false for an unknown type. Refreshes the native file viewer at the file's folder if the
    /// status was set since the record was read.
    virtual bool Update(config::FileConfiguration config) = 0;

    /// Stores a new file in the table of its type and sets the record's id. First adds the linked
    /// files as Update() does, and sets their ids in the record's links.
    ///
    /// If an ordinary file with the same client path exists in the same folder, this sets the
    /// record's id to the id of that file and calls Update(), whatever the record's type; the
    /// record's links stay unchanged. Also false without a client path and for an unknown type. A
    /// failed insertion leaves the record's id unchanged. Refreshes the viewer as Update() does.
    virtual bool Add(config::FileConfiguration& config) = 0;

    /// Removes an ordinary file with its base copy and its generated files. Removes these also from
    /// the disk, but not the ordinary file itself.
    ///
    /// Of several base copies it removes the one with the lowest id, and the folder of that copy if
    /// it is empty then. Returns true if all these rows were removed, whatever happened on the
    /// disk. If a row cannot be removed, the others are removed all the same. Refreshes the viewer
    /// at the file's folder.
    virtual bool RemoveFileConfigurationAndLinkedConfigurations(int id) = 0;

    /// Removes the row of one base copy, and nothing from the disk.
    virtual bool RemoveBaseFileConfiguration(int id) = 0;

    /// Removes the row of one generated file, and nothing from the disk.
    virtual bool RemoveGeneratedFileConfiguration(int id) = 0;

    /// Removes the rows of all ordinary files directly in a folder, and nothing from the disk.
    virtual bool RemoveByFolderConfigurationId(int folderConfigurationId) = 0;

    /// Removes the rows of all generated files of a root folder's tree, and nothing from the disk.
    virtual bool RemoveGeneratedFileConfigurationsByRootFolderId(int rootFolderId) = 0;

    /// Removes the rows whose parent is a generated file with this status. The generated file
    /// itself stays. Always returns false.
    virtual bool RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(
        int rootFolderId, config::FileSynchronizationStatus status) = 0;

    /// True if the times of modification and creation of the file both differ by less than two
    /// seconds from those in the record.
    ///
    /// On a file system without creation times, the time of the last metadata change is used
    /// instead. An unknown time equals no other time. Changes neither argument.
    virtual bool FileAndConfigTimestampsAreEqual(
        QFileInfo& file, config::FileConfiguration& config) = 0;

    /// True if both the times and the checksum differ from those in the record.
    ///
    /// Reads the file only if the times differ. Does not compare the size. A file that cannot be
    /// read has changed, unless the record has no checksum. Changes neither argument.
    virtual bool LocalFileHasChanged(QFileInfo& file, config::FileConfiguration& config) = 0;

    /// Changes the status of the ordinary files directly in a folder from config::FileSyncing to
    /// config::FileNotSynced. Does not refresh the viewer.
    virtual bool UpdateSyncStatusFromSyncingToNotSynced(int folderConfigurationId) = 0;

    /// The base copy of an ordinary file; of several the one with the lowest id.
    virtual config::FileConfiguration GetBaseFileConfigurationByParentFileId(int parentFileId) = 0;

    /// The ordinary file that a link refers to: the file with its id, or else the file at its path.
    /// A relative path is relative to the folder of the file `basePath`.
    virtual config::FileConfiguration GetFileConfiguration(
        config::FileLink link, const QString& basePath) = 0;

    /// Begins a transaction on the connection of the calling thread; false if that fails or a
    /// transaction is already open.
    ///
    /// commit() then makes all writes of this thread durable, through any manager of the same
    /// factory, and rollback() undoes them.
    virtual bool transaction() = 0;

    /// Makes everything since transaction() durable; false if that fails or none is open.
    virtual bool commit() = 0;

    /// Undoes everything since transaction(); false if that fails or none is open. Files that
    /// were removed from the disk stay removed.
    virtual bool rollback() = 0;
};

} // namespace sync::interf
