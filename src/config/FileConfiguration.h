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
/// A value that is cheap to move. Every setter stores what it is given; only setSyncStatus() does
/// more than that. A new record has ids of -1, empty texts and null times. A time in a record from
/// the database is the clock reading that was stored, labelled as UTC and not converted: only UTC
/// times come back as they were. One record is used by one thread at a time.
class VELMIO_CONFIGURATION_EXPORT FileConfiguration
{
public:
    /// A record with the defaults that the getters name.
    FileConfiguration();
    virtual ~FileConfiguration();

    /// Takes along every field and the change flag. A record that was moved from is to be assigned
    /// or destroyed only. @{
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

    /// The product that brought the file; -1 for none. @{
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

    /// Checksum of the content, as the hash service gives it. @{
    QString getCheckSum() const { return checkSum; }
    void setCheckSum(QString value) { checkSum = std::move(value); }
    ///@}

    /// MD5 checksum of the content, for the client; nothing here computes or compares it. @{
    QString getCheckSumMD5() const { return checkSumMD5; }
    void setCheckSumMD5(QString value) { checkSumMD5 = std::move(value); }
    ///@}

    /// When the local file was created. @{
    QDateTime getCreatedDateTime() const { return createdDateTime; }
    void setCreatedDateTime(QDateTime value) { createdDateTime = std::move(value); }
    ///@}

    /// When the local file was last modified. @{
    QDateTime getLastModifiedDateTime() const { return lastModifiedDateTime; }
    void setLastModifiedDateTime(QDateTime value) { lastModifiedDateTime = std::move(value); }
    ///@}

    /// Size of the file in bytes; 0 in a new record. @{
    qint64 getSize() const { return size; }
    void setSize(qint64 value) { size = value; }
    ///@}

    /// The operation that the client last carried out on the file, a value of the client; 0 in a
    /// new record. @{
    int getLastOperationType() const { return lastOperationType; }
    void setLastOperationType(int value) { lastOperationType = value; }
    ///@}

    /// Settings that have no column of their own, by key. A key has to be an XML name; see
    /// DatabaseConfigurationManager::ToNameValuePropertyString(). @{
    QMap<QString, QString> getNameValueProperties() const { return nameValueProperties; }
    void setNameValueProperties(QMap<QString, QString> value)
    {
        nameValueProperties = std::move(value);
    }
    ///@}

    /// When the client last carried out an operation on the file. @{
    QDateTime getLastOperationTime() const { return lastOperationTime; }
    void setLastOperationTime(QDateTime value) { lastOperationTime = std::move(value); }
    ///@}

    /// The root of the folder tree that the file lies in. @{
    int getRootFolderId() const { return rootFolderId; }
    void setRootFolderId(int value) { rootFolderId = value; }
    ///@}

    /// How the file is synchronised, a value of the client; 0 in a new record. @{
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

    /// The table in which the record is kept; OrdinaryFile in a new record. @{
    FileConfigurationType getFileType() const { return fileType; }
    void setFileType(FileConfigurationType value) { fileType = value; }
    ///@}

    /// The server's id of the file. @{
    QString getServerFileId() const { return serverFileId; }
    void setServerFileId(QString value) { serverFileId = std::move(value); }
    ///@}

    /// The server's id of the version last seen. @{
    QString getServerFileVersionId() const { return serverFileVersionId; }
    void setServerFileVersionId(QString value) { serverFileVersionId = std::move(value); }
    ///@}

    /// The files that this one links to. @{
    QList<FileLink> getFileLinks() const { return fileLinks; }
    void setFileLinks(QList<FileLink> value) { fileLinks = std::move(value); }
    ///@}

    /// The state of the file that the links were taken from, stored in whole seconds. Null, but
    /// UTC, in a new record. @{
    QDateTime getFileLinksDate() const { return fileLinksDate; }
    void setFileLinksDate(QDateTime value) { fileLinksDate = std::move(value); }
    ///@}

    /// State against the server; FileNotSynced in a new record.
    FileSynchronizationStatus getSyncStatus() const { return syncStatus; }

    /// Sets the status and marks it as changed, also when the value is the one it had.
    void setSyncStatus(FileSynchronizationStatus value)
    {
        syncStatus = value;
        syncStatusChanged = true;
    }

    /// True when the status was set since the record was made or read: writing the record then
    /// refreshes the native file viewer. A write does not reset it.
    bool getSyncStatusChanged() const { return syncStatusChanged; }

    /// Marks the status as not changed.
    void resetSyncStatusChanged() { syncStatusChanged = false; }

    /// A number that the client keeps with the record: copied along, never stored or interpreted; 0
    /// in a new record. @{
    int getClientTag() const { return clientTag; }
    void setClientTag(int value) { clientTag = value; }
    ///@}

private:
    // The wide members first, so that no space is lost between them: lists hold many records.
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
