#pragma once
#include <core/PosixSync.h>

#include <config/ConfigurationEnums.h>
#include <core/Export.h>

#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QString>

namespace sync::config {

/// One synchronised folder: where it lies, how it is synchronised, and its place in the tree.
///
/// A value: copies are new objects without parent that hold the same fields, the change flag
/// included. A new record has ids of -1, empty texts and null times. One record is used by one
/// thread at a time.
class VELMIO_CONFIGURATION_EXPORT FolderConfiguration : public QObject
{
    Q_OBJECT
    // clang-format off
    /// For the meta-object: each stands for the accessors of its name. @{
    Q_PROPERTY(int                                       Id                     READ getId)
    Q_PROPERTY(int                                       AuthenticationId       READ getAuthenticationId       WRITE setAuthenticationId)
    Q_PROPERTY(int                                       ProductConfigurationId READ getProductConfigurationId WRITE setProductConfigurationId)
    Q_PROPERTY(QString                                   Name                   READ getName                   WRITE setName)
    Q_PROPERTY(QString                                   RemoteShortKey         READ getRemoteShortKey         WRITE setRemoteShortKey)
    Q_PROPERTY(QString                                   RemoteLongKey          READ getRemoteLongKey          WRITE setRemoteLongKey)
    Q_PROPERTY(QString                                   ClientPath             READ getClientPath             WRITE setClientPath)
    Q_PROPERTY(sync::config::FolderSynchronizationStatus SyncStatus             READ getSyncStatus             WRITE setSyncStatus)
    Q_PROPERTY(QString                                   ServerPath             READ getServerPath             WRITE setServerPath)
    Q_PROPERTY(QDateTime                                 LastOperationTime      READ getLastOperationTime      WRITE setLastOperationTime)
    Q_PROPERTY(int                                       ParentId               READ getParentId               WRITE setParentId)
    Q_PROPERTY(QDateTime                                 LastSyncTime           READ getLastSyncTime           WRITE setLastSyncTime)
    Q_PROPERTY(sync::config::SynchronizationFolderOption FolderOption           READ getFolderOption           WRITE setFolderOption)
    Q_PROPERTY(sync::config::FolderOperationType         LastOperationType      READ getLastOperationType      WRITE setLastOperationType)
    Q_PROPERTY(sync::config::DriveType                   SyncDriveType          READ getSyncDriveType          WRITE setSyncDriveType)
    Q_PROPERTY(int                                       RootId                 READ getRootId                 WRITE setRootId)
    Q_PROPERTY(sync::config::FolderSyncOption            SyncOption             READ getSyncOption             WRITE setSyncOption)
    Q_PROPERTY(QString                                   OwnerId                READ getOwnerId                WRITE setOwnerId)
    Q_PROPERTY(sync::config::FolderPrivileges            Privileges             READ getPrivileges             WRITE setPrivileges)
    Q_PROPERTY(QString                                   ServerRoot             READ getServerRoot             WRITE setServerRoot)
    Q_PROPERTY(QString                                   ServerFolderId         READ getServerFolderId         WRITE setServerFolderId)
    ///@}
    // clang-format on

public:
    /// A record with the defaults that the getters name.
    FolderConfiguration();
    ~FolderConfiguration() override;

    /// Takes along every field and the change flag, but no parent. A record that was moved from is
    /// to be assigned or destroyed only. @{
    FolderConfiguration(const FolderConfiguration& other);
    FolderConfiguration(FolderConfiguration&& other) noexcept;
    FolderConfiguration& operator=(const FolderConfiguration& other);
    FolderConfiguration& operator=(FolderConfiguration&& other) noexcept;
    ///@}

    /// -1 for a record that is not in the database.
    int getId() const { return members.id; }

    /// The sign-in that the folder is synchronised with; -1 for none. @{
    int getAuthenticationId() const { return members.authenticationId; }
    void setAuthenticationId(int value) { members.authenticationId = value; }
    ///@}

    /// The product that brought the folder; -1 for none. @{
    int getProductConfigurationId() const { return members.productConfigurationId; }
    void setProductConfigurationId(int value) { members.productConfigurationId = value; }
    ///@}

    /// The name to show. @{
    QString getName() const { return members.name; }
    void setName(QString value) { members.name = std::move(value); }
    ///@}

    /// The server's short key of the tree. @{
    QString getRemoteShortKey() const { return members.remoteShortKey; }
    void setRemoteShortKey(QString value) { members.remoteShortKey = std::move(value); }
    ///@}

    /// The server's long key of the folder; its server path in a folder that the library added. @{
    QString getRemoteLongKey() const { return members.remoteLongKey; }
    void setRemoteLongKey(QString value) { members.remoteLongKey = std::move(value); }
    ///@}

    /// Absolute path of the folder on the client, without a trailing "/". @{
    QString getClientPath() const { return members.clientPath; }
    void setClientPath(QString value) { members.clientPath = std::move(value); }
    ///@}

    /// State against the server; FolderSyncing in a new record.
    FolderSynchronizationStatus getSyncStatus() const { return members.syncStatus; }

    /// Sets the status and marks it as changed, also when the value is the one it had.
    void setSyncStatus(FolderSynchronizationStatus value);

    /// True when the status was set since the record was made or read: writing the record then
    /// refreshes the native file viewer. A write does not reset it.
    bool getSyncStatusChanged() const { return members.syncStatusChanged; }

    /// Marks the status as not changed.
    void resetSyncStatusChanged() { members.syncStatusChanged = false; }

    /// Path of the folder on the server, without a trailing "/". @{
    QString getServerPath() const { return members.serverPath; }
    void setServerPath(QString value) { members.serverPath = std::move(value); }
    ///@}

    /// When the client last carried out an operation on the folder. UTC in a record from the
    /// database, null when there was none.
    QDateTime getLastOperationTime() const { return members.lastOperationTime; }

    /// Keeps the time as it is given, with its time zone. Only a UTC time comes back from the
    /// database as it was: the clock reading is stored, and read as UTC.
    void setLastOperationTime(QDateTime value) { members.lastOperationTime = std::move(value); }

    /// The folder above; 0 for a root folder, -1 for none yet. @{
    int getParentId() const { return members.parentId; }
    void setParentId(int value) { members.parentId = value; }
    ///@}

    /// When the last synchronisation ended, in UTC; null when there was none.
    QDateTime getLastSyncTime() const { return members.lastSyncTime; }

    /// Labels the clock reading as UTC without converting it: local 10:00 becomes 10:00 UTC.
    void setLastSyncTime(QDateTime value);

    /// How much of a root folder is synchronised; TopLevelOnly in a new record. @{
    SynchronizationFolderOption getFolderOption() const { return members.folderOption; }
    void setFolderOption(SynchronizationFolderOption value) { members.folderOption = value; }
    ///@}

    /// The operation that the client last carried out on the folder. @{
    FolderOperationType getLastOperationType() const { return members.lastOperationType; }
    void setLastOperationType(FolderOperationType value) { members.lastOperationType = value; }
    ///@}

    /// The kind of drive that the folder is synchronised with. @{
    DriveType getSyncDriveType() const { return members.syncDriveType; }
    void setSyncDriveType(DriveType value) { members.syncDriveType = value; }
    ///@}

    /// The root folder of the tree, for a root folder itself; -1 for none yet. @{
    int getRootId() const { return members.rootId; }
    void setRootId(int value) { members.rootId = value; }
    ///@}

    /// How the folder is synchronised. @{
    FolderSyncOption getSyncOption() const { return members.syncOption; }
    void setSyncOption(FolderSyncOption value) { members.syncOption = value; }
    ///@}

    /// The server's id of the owner. @{
    QString getOwnerId() const { return members.ownerId; }
    void setOwnerId(QString value) { members.ownerId = std::move(value); }
    ///@}

    /// The user's rights on the folder; AllPrivileges in a new record. @{
    FolderPrivileges getPrivileges() const { return members.privileges; }
    void setPrivileges(FolderPrivileges value) { members.privileges = value; }
    ///@}

    /// Takes the rights from words between blanks, in any case of letters: "view", "download",
    /// "update", "delete", "share". Other words count for nothing; without any word the rights are
    /// all but sharing.
    void setPrivileges(const QString& text);

    /// Root of the tree on the server. @{
    QString getServerRoot() const { return members.serverRoot; }
    void setServerRoot(QString value) { members.serverRoot = std::move(value); }
    ///@}

    /// The server's id of the folder. @{
    QString getServerFolderId() const { return members.serverFolderId; }
    void setServerFolderId(const QString& value) { members.serverFolderId = value; }
    ///@}

    /// Settings that have no column of their own, by key, the feature name among them. A key has to
    /// be an XML name; see DatabaseConfigurationManager::ToNameValuePropertyString(). @{
    QMap<QString, QString> getNameValueProperties() const { return members.nameValueProperties; }
    void setNameValueProperties(QMap<QString, QString> value)
    {
        members.nameValueProperties = std::move(value);
    }
    ///@}

    /// The feature name; empty without one. Kept among the name-value properties, as "FeatureName".
    /// @{
    QString getFeatureName() const;
    void setFeatureName(const QString& value);
    ///@}

    /// Time of the last server synchronisation request, in UTC; null for none. Lives in memory
    /// only, and in copies; the database does not hold it.
    QDateTime getLastServerSyncRequestTime() const { return members.lastServerSyncRequestTime; }

    /// Labels the clock reading as UTC without converting it.
    void setLastServerSyncRequestTime(QDateTime value);

    /// True when the parent id is 0. A new record, whose parent id is -1, is no root.
    bool isRoot() const { return members.parentId == 0; }

private:
    friend class FolderConfigManager;

    /// All that a copy takes along.
    struct Members
    {
        int id = -1;
        int authenticationId = -1;
        int productConfigurationId = -1;
        QString name;
        QString remoteShortKey;
        QString remoteLongKey;
        QString clientPath;
        FolderSynchronizationStatus syncStatus = FolderSyncing;
        QString serverPath;
        QDateTime lastOperationTime;
        int parentId = -1;
        QDateTime lastSyncTime;
        SynchronizationFolderOption folderOption = TopLevelOnly;
        FolderOperationType lastOperationType = NoFolderOperation;
        DriveType syncDriveType = DefaultDrive;
        int rootId = -1;
        FolderSyncOption syncOption = DefaultSyncOption;
        QString ownerId;
        FolderPrivileges privileges = AllPrivileges;
        QString serverRoot;
        QString serverFolderId;
        QMap<QString, QString> nameValueProperties;
        QDateTime lastServerSyncRequestTime;
        bool syncStatusChanged = false;
    };

    void _CopyMembers(const FolderConfiguration& other) { members = other.members; }

    Members members;
};

} // namespace sync::config
