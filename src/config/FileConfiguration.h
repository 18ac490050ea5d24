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
/// more than that.
class VELMIO_CONFIGURATION_EXPORT FileConfiguration
{
public:
    FileConfiguration();
    virtual ~FileConfiguration();
    FileConfiguration(const FileConfiguration& other) = default;
    FileConfiguration(FileConfiguration&& other) noexcept = default;
    FileConfiguration& operator=(const FileConfiguration& other) = default;
    FileConfiguration& operator=(FileConfiguration&& other) noexcept = default;

    /// -1 for a record that is not in the database.
    int getId() const { return id; }
    void setId(int value) { id = value; }

    int getFolderConfigurationId() const { return folderConfigurationId; }
    void setFolderConfigurationId(int value) { folderConfigurationId = value; }

    int getProductConfigurationId() const { return productConfigurationId; }
    void setProductConfigurationId(int value) { productConfigurationId = value; }

    QString getName() const { return name; }
    void setName(QString value) { name = std::move(value); }

    /// The absolute path of the local file.
    QString getClientPath() const { return clientPath; }
    void setClientPath(QString value) { clientPath = std::move(value); }

    QString getServerPath() const { return serverPath; }
    void setServerPath(QString value) { serverPath = std::move(value); }

    /// The checksum of the content, as the hash service gives it.
    QString getCheckSum() const { return checkSum; }
    void setCheckSum(QString value) { checkSum = std::move(value); }

    QString getCheckSumMD5() const { return checkSumMD5; }
    void setCheckSumMD5(QString value) { checkSumMD5 = std::move(value); }

    /// When the local file was created. Times that were read from the database are UTC.
    QDateTime getCreatedDateTime() const { return createdDateTime; }
    void setCreatedDateTime(QDateTime value) { createdDateTime = std::move(value); }

    QDateTime getLastModifiedDateTime() const { return lastModifiedDateTime; }
    void setLastModifiedDateTime(QDateTime value) { lastModifiedDateTime = std::move(value); }

    /// Bytes.
    qint64 getSize() const { return size; }
    void setSize(qint64 value) { size = value; }

    /// A value of the client.
    int getLastOperationType() const { return lastOperationType; }
    void setLastOperationType(int value) { lastOperationType = value; }

    /// Settings that have no column of their own.
    QMap<QString, QString> getNameValueProperties() const { return nameValueProperties; }
    void setNameValueProperties(QMap<QString, QString> value)
    {
        nameValueProperties = std::move(value);
    }

    QDateTime getLastOperationTime() const { return lastOperationTime; }
    void setLastOperationTime(QDateTime value) { lastOperationTime = std::move(value); }

    /// The root of the folder tree that the file lies in.
    int getRootFolderId() const { return rootFolderId; }
    void setRootFolderId(int value) { rootFolderId = value; }

    /// A value of the client.
    int getSyncOption() const { return syncOption; }
    void setSyncOption(int value) { syncOption = value; }

    /// The ordinary file that a generated file or base copy belongs to.
    int getParentFileId() const { return parentFileId; }
    void setParentFileId(int value) { parentFileId = value; }

    QString getOwnerId() const { return ownerId; }
    void setOwnerId(QString value) { ownerId = std::move(value); }

    /// The user's rights on the file, as a sum of FolderPrivileges.
    int getPrivileges() const { return privileges; }
    void setPrivileges(int value) { privileges = value; }

    /// The table in which the record is kept.
    FileConfigurationType getFileType() const { return fileType; }
    void setFileType(FileConfigurationType value) { fileType = value; }

    QString getServerFileId() const { return serverFileId; }
    void setServerFileId(QString value) { serverFileId = std::move(value); }

    QString getServerFileVersionId() const { return serverFileVersionId; }
    void setServerFileVersionId(QString value) { serverFileVersionId = std::move(value); }

    /// The files that this one links to.
    QList<FileLink> getFileLinks() const { return fileLinks; }
    void setFileLinks(QList<FileLink> value) { fileLinks = std::move(value); }

    /// The state of the file that the links were taken from. Null, but UTC, in a new record.
    QDateTime getFileLinksDate() const { return fileLinksDate; }
    void setFileLinksDate(QDateTime value) { fileLinksDate = std::move(value); }

    FileSynchronizationStatus getSyncStatus() const { return syncStatus; }

    /// Also marks the status as changed, even if it is the same.
    void setSyncStatus(FileSynchronizationStatus value)
    {
        syncStatus = value;
        syncStatusChanged = true;
    }

    /// True when the status was set since the record was made or read: writing the record then
    /// refreshes the native file viewer. A write does not reset it.
    bool getSyncStatusChanged() const { return syncStatusChanged; }
    void resetSyncStatusChanged() { syncStatusChanged = false; }

    /// A number that the client keeps with the record: copied along, never stored or interpreted.
    int getClientTag() const { return clientTag; }
    void setClientTag(int value) { clientTag = value; }

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
