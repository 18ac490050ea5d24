#pragma once
#include <core/PosixSync.h>

#include <config/ConfigurationEnums.h>
#include <core/Export.h>

#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QString>

namespace sync::config {

/// One synchronised folder: where it is, how it is synchronised, and its place in the tree.
///
/// A value: a copy is a new object with the same fields and without a parent, the change flag
/// included. A new record has ids of -1, empty texts and null times. Only one thread at a
/// time may use a record.
class VELMIO_CONFIGURATION_EXPORT FolderConfiguration : public QObject
{
    Q_OBJECT
    // clang-format off
    /// For the meta-object: each property uses the accessors of its name. @{
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
    /// A record with the default of each field.
    FolderConfiguration();
    ~FolderConfiguration() override;

    /// Copies and moves every field and the change flag, but not the parent. Only assign to or
    /// destroy a record after it was moved from. @{
    FolderConfiguration(const FolderConfiguration& other);
    FolderConfiguration(FolderConfiguration&& other) noexcept;
    FolderConfiguration& operator=(const FolderConfiguration& other);
    FolderConfiguration& operator=(FolderConfiguration&& other) noexcept;
    ///@}

    /// -1 for a record that is not in the database.
    int getId() const { return members.id; }

    /// The sign-in for the synchronisation of the folder; -1 for none. @{
    int getAuthenticationId() const { return members.authenticationId; }
    void setAuthenticationId(int value) { members.authenticationId = value; }
    ///@}

    /// The product that added the folder; -1 for none. @{
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

    /// Sets the status and marks it as changed, even if the value is the same.
    void setSyncStatus(FolderSynchronizationStatus value);

    /// True if the status was set since the record was created or read. Writing the record then
    /// refreshes the native file viewer, and does not reset the mark.
    bool getSyncStatusChanged() const { return members.syncStatusChanged; }

    /// Marks the status as not changed.
    void resetSyncStatusChanged() { members.syncStatusChanged = false; }

    /// Path of the folder on the server, without a trailing "/". @{
    QString getServerPath() const { return members.serverPath; }
    void setServerPath(QString value) { members.serverPath = std::move(value); }
    ///@}

    /// The time of the client's last operation on the folder; null for none. UTC in a record from
    /// the database.
    QDateTime getLastOperationTime() const { return members.lastOperationTime; }

    /// Stores the time unchanged, with its time zone. The database stores the clock reading and
    /// reads it as UTC, so only a UTC time is the same when it is read again.
    void setLastOperationTime(QDateTime value) { members.lastOperationTime = std::move(value); }

    /// The parent folder; 0 for a root folder, -1 for none yet. @{
    int getParentId() const { return members.parentId; }
    void setParentId(int value) { members.parentId = value; }
    ///@}

    /// The end of the last synchronisation, in UTC; null for none.
    QDateTime getLastSyncTime() const { return members.lastSyncTime; }

    /// Labels the clock reading as UTC without converting it: local 10:00 becomes 10:00 UTC.
    void setLastSyncTime(QDateTime value);

    /// How much of a root folder is synchronised; TopLevelOnly in a new record. @{
    SynchronizationFolderOption getFolderOption() const { return members.folderOption; }
    void setFolderOption(SynchronizationFolderOption value) { members.folderOption = value; }
    ///@}

    /// The client's last operation on the folder. @{
    FolderOperationType getLastOperationType() const { return members.lastOperationType; }
    void setLastOperationType(FolderOperationType value) { members.lastOperationType = value; }
    ///@}

    /// The kind of drive that the folder is synchronised with. @{
    DriveType getSyncDriveType() const { return members.syncDriveType; }
    void setSyncDriveType(DriveType value) { members.syncDriveType = value; }
    ///@}

    /// The root folder of the tree; its own id for a root folder, -1 for none yet. @{
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

    /// Sets the rights from words that are separated by blanks: "view", "download", "update",
    /// "delete", "share". Ignores case and other words. Without any word it sets all rights except
    /// sharing.
    void setPrivileges(const QString& text);

    /// Root of the tree on the server. @{
    QString getServerRoot() const { return members.serverRoot; }
    void setServerRoot(QString value) { members.serverRoot = std::move(value); }
    ///@}

    /// The server's id of the folder. @{
    QString getServerFolderId() const { return members.serverFolderId; }
    void setServerFolderId(const QString& value) { members.serverFolderId = value; }
    ///@}

    /// Settings without a column of their own, by key, including the feature name. The setter
    /// stores any; call isStorable() before they are stored in the database. @{
    QMap<QString, QString> getNameValueProperties() const { return members.nameValueProperties; }
    void setNameValueProperties(QMap<QString, QString> value)
    {
        members.nameValueProperties = std::move(value);
    }
    ///@}

    /// True if the properties come back from the database exactly as they are. Otherwise Add() and
    /// Update() also return true, but properties are lost or, by injection, forged: see
    /// DatabaseConfigurationManager::ToNameValuePropertyString().
    bool isStorable() const;

    /// The feature name; empty without one. Stored in the name-value properties as "FeatureName".
    /// @{
    QString getFeatureName() const;
    void setFeatureName(const QString& value);
    ///@}

    /// Time of the last server synchronisation request, in UTC; null for none. Copied, but not
    /// stored in the database.
    QDateTime getLastServerSyncRequestTime() const { return members.lastServerSyncRequestTime; }

    /// Labels the clock reading as UTC without converting it.
    void setLastServerSyncRequestTime(QDateTime value);

    /// True if the parent id is 0. A new record has parent id -1 and is not a root.
    bool isRoot() const { return members.parentId == 0; }

private:
    friend class FolderConfigManager;

    /// All that a copy copies.
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
