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
/// The three kinds have a table each, which a record's file type selects; where an operation does
/// not say, it means the ordinary files. Paths compare exactly as they are stored. Keeps no state
/// between calls: as thread-safe as the services it is given. Nothing is thrown: a lookup that
/// finds nothing or fails returns a record with id -1, a list an empty one.
class VELMIO_CONFIGURATION_EXPORT FileConfigManager : public DatabaseConfigurationManager,
                                                      public interf::IFileConfigManager
{
public:
    /// Without a viewer nothing is refreshed; the other services must not be null.
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

    /// Of several files with that path, the database's first.
    FileConfiguration GetFileConfigurationByClientPath(QString path) override;
    QVector<FileConfiguration> GetAllFileConfigurationsByClientPath(QString path) override;

    /// The files whose root folder has no row; every file when there is no root at all.
    QVector<FileConfiguration> GetFileConfigurationsOfNonExistingRootFolders() override;

    FileConfiguration GetGeneratedFileConfigurationByClientPath(QString path) override;

    /// The first file with that path whose folder belongs to the sign-in.
    FileConfiguration GetFileConfigurationByClientPathAndAuthenticationId(
        QString path, int authenticationId) override;
    FileConfiguration GetFileConfigurationByServerPathAndAuthenticationId(
        QString path, int authenticationId) override;

    /// An order that is none of the named ones sorts by id.
    QVector<FileConfiguration> GetFileConfigurationsByFolderId(
        int folderId, interf::FileConfigOrderByEnum order) override;
    QVector<FileConfiguration> GetFileConfigurationsByRootFolderId(
        int rootFolderId, interf::FileConfigOrderByEnum order) override;

    /// The files of any kind, in the database's order; none for an unknown type.
    QVector<FileConfiguration> GetFileConfigurationsByRootFolderId(
        int rootFolderId, FileConfigurationType type) override;

    QVector<FileConfiguration> GetGeneratedFileConfigurationsByRootFolderId(
        int rootFolderId, interf::FileConfigOrderByEnum order) override;

    /// Ordered by name.
    QVector<FileConfiguration> GetFileConfigurationsByFolderIdAndSyncStatus(
        int folderId, FileSynchronizationStatus status) override;

    /// Ordered by id.
    QVector<FileConfiguration> GetGeneratedFileConfigurationsByParentFileId(
        int parentFileId) override;

    QVector<FileConfiguration> GetAll() override;
    QVector<FileConfiguration> GetAll(FileConfigurationType type) override;

    /// Stores every field in the table of the record's type. Files that it links to are registered
    /// first. False for an unknown type and when the statement fails; true for an id that is not in
    /// the table, which changes nothing. Refreshes the viewer if the status was set.
    bool Update(FileConfiguration config) override;

    /// Stores a new file in the table of its type and sets its id; files that it links to are
    /// registered first, and the links receive their ids.
    ///
    /// When there is an ordinary file with the same client path in the same folder, the record
    /// receives the id of that file and becomes an Update(), whatever its type. False without a
    /// client path, for an unknown type, and when the statement fails. Refreshes the viewer if the
    /// status was set.
    bool Add(FileConfiguration& config) override;

    /// Removes an ordinary file with its base copy and generated files, these from the disk, too.
    /// The folder of the base copy goes with it when it is empty then. What cannot be removed from
    /// the disk stays; the result tells whether all rows are gone.
    bool RemoveFileConfigurationAndLinkedConfigurations(int id) override;

    /// Removes one row and no file; true also when there was none. So do the others that follow.
    bool RemoveBaseFileConfiguration(int id) override;
    bool RemoveGeneratedFileConfiguration(int id) override;
    bool RemoveByFolderConfigurationId(int folderConfigurationId) override;
    bool RemoveGeneratedFileConfigurationsByRootFolderId(int rootFolderId) override;

    /// Removes the rows whose parent is a generated file with that status, which itself stays.
    /// Always false.
    bool RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(
        int rootFolderId, FileSynchronizationStatus status) override;

    /// True when both the last modification and the creation of the file are less than two seconds
    /// from what the record holds. The time of the last metadata change stands in for the creation
    /// on a file system that does not know it. A time that is not known equals nothing.
    bool FileAndConfigTimestampsAreEqual(QFileInfo& file, FileConfiguration& config) override;

    /// True when times and checksum both differ from the record's. The file is only read when the
    /// times differ, and the size is not looked at.
    bool LocalFileHasChanged(QFileInfo& file, FileConfiguration& config) override;

    bool UpdateSyncStatusFromSyncingToNotSynced(int folderConfigurationId) override;

    /// Of several base copies, the one with the lowest id.
    FileConfiguration GetBaseFileConfigurationByParentFileId(int parentFileId) override;

    /// The file that a link leads to: the one with its id or else the one at its path, which is
    /// resolved against the folder of the file `basePath`.
    FileConfiguration GetFileConfiguration(FileLink link, const QString& basePath) override;

    bool transaction() override;
    bool commit() override;
    bool rollback() override;

    /// Removes all ordinary files below a root folder; rows only.
    virtual bool RemoveByRootFolderId(int rootFolderId);

    /// Empty for an unknown type.
    QString GetTableNameByFileType(FileConfigurationType type) const;

    /// The text of the column "fileLinks": an XML document, or empty without links and date. Links
    /// that lead nowhere are left out. Pure: any thread may call it.
    QString GetXmlStringFromFileLinkArray(
        const QList<FileLink>& links, const QDateTime& date) const;

    /// The links in a text of the column "fileLinks"; `date` receives their date, in UTC, and stays
    /// as it is for an empty text. Text that is no XML has no links and a null date. Pure: any
    /// thread may call it.
    QList<FileLink> GetFileLinkArrayFromXmlString(const QString& xml, QDateTime& date) const;

private:
    FileConfiguration _ReadOne(Statement statement);
    FileConfiguration _ReadOneById(const QString& sql, int id);
    FileConfiguration _ReadOneByClientPath(const QString& sql, const QString& path);
    QVector<FileConfiguration> _ReadAll(Statement statement);
    QVector<FileConfiguration> _GetFileConfigurationsByServerPath(QString path);
    FileConfiguration _FindByAuthenticationId(
        const QVector<FileConfiguration>& files, int authenticationId);
    void _PopulateFileConfiguration(const RowReader& row, FileConfiguration& file);
    void _PopulateFileConfigurations(const RowReader& row, QVector<FileConfiguration>& files);
    QString _GenerateOrderBy(interf::FileConfigOrderByEnum order) const;

    Statement _BindFileConfiguration(Statement statement, const FileConfiguration& config);
    bool _Remove(int id);
    bool _RemoveGeneratedFileConfigurationsByParentFileId(int parentFileId);
    bool _RemoveRows(const QString& sql, const QString& placeholder, int value);
    void _RefreshNativeFileViewer(FileConfiguration& config);
    void _RefreshNativeFileViewerIfSyncStatusChanged(FileConfiguration& config);

    /// Gives the links of a record the ids of the files that they lead to, and registers those that
    /// are not stored yet. True when that added at least one.
    bool AddFileLinks(FileConfiguration& config);
    bool _AddLinkedFile(
        FileLink& link, const QString& path, const FileConfiguration& config,
        const FolderConfiguration& root);

    const std::shared_ptr<interf::ICryptographicHash> cryptographicHash;
    const std::shared_ptr<interf::IRefreshNativeFileViewer> nativeFileViewer;
    const std::shared_ptr<interf::IFolderConfigManager> folderConfigManager;
};

} // namespace sync::config
