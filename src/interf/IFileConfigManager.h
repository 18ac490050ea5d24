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
/// A lookup that finds nothing or fails returns a record with id -1, a list an empty one.
class VELMIO_INTERFACES_EXPORT IFileConfigManager : public QObject
{
    Q_OBJECT

public:
    explicit IFileConfigManager(QObject* parent = nullptr);
    ~IFileConfigManager() override;

    virtual config::FileConfiguration GetFileConfigurationById(int id) = 0;
    virtual config::FileConfiguration GetFileConfigurationByServerId(QString serverFileId) = 0;
    virtual config::FileConfiguration GetBaseFileConfigurationById(int id) = 0;
    virtual config::FileConfiguration GetGeneratedFileConfigurationById(int id) = 0;
    virtual config::FileConfiguration GetFileConfigurationByClientPath(QString path) = 0;
    virtual QVector<config::FileConfiguration> GetAllFileConfigurationsByClientPath(
        QString path) = 0;
    virtual QVector<config::FileConfiguration> GetFileConfigurationsOfNonExistingRootFolders() = 0;
    virtual config::FileConfiguration GetGeneratedFileConfigurationByClientPath(QString path) = 0;
    virtual config::FileConfiguration GetFileConfigurationByClientPathAndAuthenticationId(
        QString path, int authenticationId) = 0;
    virtual config::FileConfiguration GetFileConfigurationByServerPathAndAuthenticationId(
        QString path, int authenticationId) = 0;
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByFolderId(
        int folderId, FileConfigOrderByEnum order) = 0;
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByRootFolderId(
        int rootFolderId, FileConfigOrderByEnum order) = 0;
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByRootFolderId(
        int rootFolderId, config::FileConfigurationType type) = 0;
    virtual QVector<config::FileConfiguration> GetGeneratedFileConfigurationsByRootFolderId(
        int rootFolderId, FileConfigOrderByEnum order) = 0;
    virtual QVector<config::FileConfiguration> GetFileConfigurationsByFolderIdAndSyncStatus(
        int folderId, config::FileSynchronizationStatus status) = 0;
    virtual QVector<config::FileConfiguration> GetGeneratedFileConfigurationsByParentFileId(
        int parentFileId) = 0;
    virtual QVector<config::FileConfiguration> GetAll() = 0;
    virtual QVector<config::FileConfiguration> GetAll(config::FileConfigurationType type) = 0;
    virtual bool Update(config::FileConfiguration config) = 0;
    virtual bool Add(config::FileConfiguration& config) = 0;
    virtual bool RemoveFileConfigurationAndLinkedConfigurations(int id) = 0;
    virtual bool RemoveBaseFileConfiguration(int id) = 0;
    virtual bool RemoveGeneratedFileConfiguration(int id) = 0;
    virtual bool RemoveByFolderConfigurationId(int folderConfigurationId) = 0;
    virtual bool RemoveGeneratedFileConfigurationsByRootFolderId(int rootFolderId) = 0;
    virtual bool RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(
        int rootFolderId, config::FileSynchronizationStatus status) = 0;
    virtual bool FileAndConfigTimestampsAreEqual(
        QFileInfo& file, config::FileConfiguration& config) = 0;
    virtual bool LocalFileHasChanged(QFileInfo& file, config::FileConfiguration& config) = 0;
    virtual bool UpdateSyncStatusFromSyncingToNotSynced(int folderConfigurationId) = 0;
    virtual config::FileConfiguration GetBaseFileConfigurationByParentFileId(int parentFileId) = 0;
    virtual config::FileConfiguration GetFileConfiguration(
        config::FileLink link, const QString& basePath) = 0;
    virtual bool transaction() = 0;
    virtual bool commit() = 0;
    virtual bool rollback() = 0;
};

} // namespace sync::interf
