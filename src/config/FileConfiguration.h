#pragma once
#include <core/PosixSync.h>

#include <config/ConfigurationEnums.h>
#include <config/FileLink.h>
#include <core/Export.h>

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>

namespace sync::config {

/// One synchronised file, generated file or base copy.
///
/// A value that is cheap to move. Every setter stores its value unchanged; only setSyncStatus()
/// does more. A new record has ids of -1, empty texts and null times. A time in a record from the
/// database is the stored clock reading, labelled as UTC and not converted, so only a UTC time is
/// the same when it is read again. Only one thread at a time may use a record.
class VELMIO_CONFIGURATION_EXPORT FileConfiguration
{
public:
    /// A record with the default of each field.
    FileConfiguration();
    virtual ~FileConfiguration();

    /// Copies and moves every field and the change flag. Only assign to or destroy a record after
    /// it was moved from. @{
    FileConfiguration(const FileConfiguration& other) = default;
    FileConfiguration(FileConfiguration&& other) noexcept = default;
    FileConfiguration& operator=(const FileConfiguration& other) = default;
    FileConfiguration& operator=(FileConfiguration&& other) noexcept = default;
    ///@}

    /// -1 for a record that is not in the database. Each type of file has ids of its own. @{
    int getId() const { return id; }
    void setId(int value) { id = value; }
    ///@}

    /// The folder that holds the file. @{
    int getFolderConfigurationId() const { return folderConfigurationId; }
    void setFolderConfigurationId(int value) { folderConfigurationId = value; }
    ///@}

    /// The product that added the file; -1 for none. @{
    int getProductConfigurationId() const { return productConfigurationId; }
    void setProductConfigurationId(int value) { productConfigurationId = value; }
    ///@}

    /// File name without its path. @{
    QString getName() const { return name; }
    void setName(QString value) { name = std::move(value); }
    ///@}

    /// Absolute path of the local file. @{
    QString getClientPath() const { return clientPath; }
    void setClientPath(QString value) { clientPath = std::move(value); }
    ///@}

    /// Path of the file on the server. @{
    QString getServerPath() const { return serverPath; }
    void setServerPath(QString value) { serverPath = std::move(value); }
    ///@}

    /// Checksum of the content, from the hash service. @{
    QString getCheckSum() const { return checkSum; }
    void setCheckSum(QString value) { checkSum = std::move(value); }
    ///@}

    /// MD5 checksum of the content, for the client; the library does not compute or compare it. @{
    QString getCheckSumMD5() const { return checkSumMD5; }
    void setCheckSumMD5(QString value) { checkSumMD5 = std::move(value); }
    ///@}

    /// Creation time of the local file. @{
    QDateTime getCreatedDateTime() const { return createdDateTime; }
    void setCreatedDateTime(QDateTime value) { createdDateTime = std::move(value); }
    ///@}

    /// Last modification of the local file. @{
    QDateTime getLastModifiedDateTime() const { return lastModifiedDateTime; }
    void setLastModifiedDateTime(QDateTime value) { lastModifiedDateTime = std::move(value); }
    ///@}

    /// Size of the file in bytes; 0 in a new record. @{
    qint64 getSize() const { return size; }
    void setSize(qint64 value) { size = value; }
    ///@}

    /// The client's last operation on the file, a value of the client; 0 in a new record. @{
    int getLastOperationType() const { return lastOperationType; }
    void setLastOperationType(int value) { lastOperationType = value; }
    ///@}

    /// Settings without a column of their own, by key. The setter stores any; call isStorable()
    /// before they are stored in the database. @{
    QMap<QString, QString> getNameValueProperties() const { return nameValueProperties; }
    void setNameValueProperties(QMap<QString, QString> value)
    {
        nameValueProperties = std::move(value);
    }
    ///@}

    /// True if the properties and the links come back from the database exactly as they are; empty
    /// links are never stored. Otherwise Add() and Update() also return true, but properties are
    /// lost or, by injection, forged (see
    /// DatabaseConfigurationManager::ToNameValuePropertyString()), and a link that is not storable
    /// is lost or changed together with all links after it (see FileLink::isStorable()).
    bool isStorable() const;

    /// The time of the client's last operation on the file. @{
    QDateTime getLastOperationTime() const { return lastOperationTime; }
    void setLastOperationTime(QDateTime value) { lastOperationTime = std::move(value); }
    ///@}

    /// The root folder of the tree that contains the file. @{
    int getRootFolderId() const { return rootFolderId; }
    void setRootFolderId(int value) { rootFolderId = value; }
    ///@}

    /// How the client synchronises the file, a value of the client; 0 in a new record. @{
    int getSyncOption() const { return syncOption; }
    void setSyncOption(int value) { syncOption = value; }
    ///@}

    /// The ordinary file that a generated file or base copy belongs to; -1 for none. @{
    int getParentFileId() const { return parentFileId; }
    void setParentFileId(int value) { parentFileId = value; }
    ///@}

    /// The server's id of the owner. @{
    QString getOwnerId() const { return ownerId; }
    void setOwnerId(QString value) { ownerId = std::move(value); }
    ///@}

    /// The user's rights on the file, as a sum of FolderPrivileges; AllPrivileges in a new record.
    /// @{
    int getPrivileges() const { return privileges; }
    void setPrivileges(int value) { privileges = value; }
    ///@}

    /// The type, which chooses the table of the record; OrdinaryFile in a new record. @{
    FileConfigurationType getFileType() const { return fileType; }
    void setFileType(FileConfigurationType value) { fileType = value; }
    ///@}

    /// The server's id of the file. @{
    QString getServerFileId() const { return serverFileId; }
    void setServerFileId(QString value) { serverFileId = std::move(value); }
    ///@}

    /// The server's id of the last known version. @{
    QString getServerFileVersionId() const { return serverFileVersionId; }
    void setServerFileVersionId(QString value) { serverFileVersionId = std::move(value); }
    ///@}

    /// The files that this one links to. @{
    QList<FileLink> getFileLinks() const { return fileLinks; }
    void setFileLinks(QList<FileLink> value) { fileLinks = std::move(value); }
    ///@}

    /// The date of the file content that the links come from, stored in whole seconds. A null UTC
    /// time in a new record. @{
    QDateTime getFileLinksDate() const { return fileLinksDate; }
    void setFileLinksDate(QDateTime value) { fileLinksDate = std::move(value); }
    ///@}

    /// State against the server; FileNotSynced in a new record.
    FileSynchronizationStatus getSyncStatus() const { return syncStatus; }

    /// Sets the status and marks it as changed, even if the value is the same.
    void setSyncStatus(FileSynchronizationStatus value)
    {
        syncStatus = value;
        syncStatusChanged = true;
    }

    /// True if the status was set since the record was created or read. Writing the record then
    /// refreshes the native file viewer, and does not reset the mark.
    bool getSyncStatusChanged() const { return syncStatusChanged; }

    /// Marks the status as not changed.
    void resetSyncStatusChanged() { syncStatusChanged = false; }

    /// A number of the client. It is copied, but never stored or interpreted; 0 in a new record. @{
    int getClientTag() const { return clientTag; }
    void setClientTag(int value) { clientTag = value; }
    ///@}

private:
    // The wide members first, so that there is no padding between them: lists hold many records.
    QString name;
    QString clientPath;
    QString serverPath;
    QString checkSum;
    QString checkSumMD5;
    QString ownerId;
    QString serverFileId;
    QString serverFileVersionId;
    QList<FileLink> fileLinks;
    QMap<QString, QString> nameValueProperties;
    QDateTime createdDateTime;
    QDateTime lastModifiedDateTime;
    QDateTime lastOperationTime;
    QDateTime fileLinksDate;
    qint64 size = 0;
    int id = -1;
    int folderConfigurationId = -1;
    int productConfigurationId = -1;
    int rootFolderId = -1;
    int parentFileId = -1;
    int lastOperationType = 0;
    int syncOption = 0;
    int privileges = AllPrivileges;
    FileConfigurationType fileType = OrdinaryFile;
    FileSynchronizationStatus syncStatus = FileNotSynced;
    int clientTag = 0;
    bool syncStatusChanged = false;
};

} // namespace sync::config

Q_DECLARE_TYPEINFO(sync::config::FileConfiguration, Q_RELOCATABLE_TYPE);
