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
/// A lookup that finds nothing or fails returns a record with id -1, a list an empty one.
class VELMIO_INTERFACES_EXPORT IFolderConfigManager : public QObject
{
    Q_OBJECT

public:
    explicit IFolderConfigManager(QObject* parent = nullptr);
    ~IFolderConfigManager() override;

    virtual config::FolderConfiguration GetFolderConfigurationById(int folderConfigurationId) = 0;
    virtual config::FolderConfiguration GetFolderConfigurationByServerId(
        QString serverFolderId) = 0;
    virtual config::FolderConfiguration GetFolderConfigurationByClientPath(QString clientPath) = 0;
    virtual config::FolderConfiguration GetFolderConfigurationByClientPathAndAuthenticationId(
        QString clientPath, int authenticationId) = 0;
    virtual QVector<config::FolderConfiguration> GetFolderConfigurationsByAuthenticationId(
        int authenticationId) = 0;
    virtual QVector<config::FolderConfiguration> GetFolderConfigurationsByRootId(
        int rootFolderId) = 0;
    virtual QVector<config::FolderConfiguration>
    GetFolderConfigurationsOfNonExistingRootFolders() = 0;
    virtual QVector<config::FolderConfiguration> GetAll() = 0;
    virtual bool Update(config::FolderConfiguration folderConfiguration) = 0;
    virtual bool Add(config::FolderConfiguration& folderConfiguration) = 0;
    virtual config::FolderConfiguration AddFolderAndParent(
        const QString& absolutePath, const config::FolderConfiguration& rootConfig) = 0;
    virtual bool Remove(int folderConfigurationId) = 0;
    virtual bool Clean(int folderConfigurationId) = 0;
    virtual bool IsInExistingClientFolder(
        const QString& path, int authenticationId, bool applyFolderOption) = 0;
    virtual bool AncestorOrDescendantOfServerFolderExists(
        const QString& serverPath, int authenticationId, QString& matchingServerFolder) = 0;
    virtual QVector<config::FolderConfiguration> GetAllRootFolders() = 0;
    virtual QVector<config::FolderConfiguration> GetFolderConfigurationByParentId(
        int folderConfigurationId) = 0;
    virtual bool IsInExistingAuthentication(int authenticationId) = 0;
    virtual bool IsAnyFolderConfigOutOfSync() = 0;
    virtual int GetRootFolderConfigurationCount() = 0;
    virtual void ClearCaches() = 0;
    virtual bool CleanRootFolder(int folderConfigurationId) = 0;
    virtual void RefreshNativeFileViewer() = 0;
    virtual void RefreshNativeFileViewer(QString& clientPath) = 0;
};

} // namespace sync::interf
