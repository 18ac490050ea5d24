#pragma once

#include <config/FileConfiguration.h>
#include <config/FolderConfiguration.h>
#include <config/xml/FileLinksXml.h>
#include <config/xml/NameValueXml.h>

#include <QDateTime>
#include <QMap>
#include <QString>

#include <chrono>
#include <cstring>
#include <string>

/// \file
/// How the floors make records of rows and bind them, over any library: the shortest way.

namespace velmio::benchmarks {

using sync::config::FileConfiguration;
using sync::config::FolderConfiguration;

inline const std::string FileColumns =
    "folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime,"
    " lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties,"
    " lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges,"
    " productConfigurationId, serverFileId, serverFileVersionId, checkSumMD5, fileLinks";
inline const std::string SelectFiles = "SELECT id, " + FileColumns + " FROM FileConfiguration";
inline const std::string SelectFolders =
    "SELECT id, authenticationId, name, remoteShortKey, remoteLongKey, clientPath, serverPath,"
    " syncStatus, nameValueProperties, parentId, lastOperationTime, lastSyncTime, folderOption,"
    " lastOperationType, syncDriveType, rootId, syncOption, ownerId, privileges, serverRoot,"
    " productConfigurationId, serverFolderId FROM FolderConfiguration";

inline constexpr char NoProperties[] = "<!DOCTYPE NameValueXml>\n<NameValueXml/>\n";

// Reads "yyyy-MM-ddTHH:mm:ss.zzzZ", the only format in these databases.
inline QDateTime readTime(const char* text)
{
    using namespace std::chrono;
    const auto number = [text](int from, int count) {
        int value = 0;
        for (int index = from; index < from + count; ++index)
            value = value * 10 + (text[index] - '0');
        return value;
    };
    const year_month_day date{
        year(number(0, 4)), month(unsigned(number(5, 2))), day(unsigned(number(8, 2)))};
    const auto time = sys_days(date) + hours(number(11, 2)) + minutes(number(14, 2)) +
                      seconds(number(17, 2)) + milliseconds(number(20, 3));
    return QDateTime::fromMSecsSinceEpoch(time.time_since_epoch().count(), Qt::UTC);
}

struct TimeText
{
    char characters[25] = "yyyy-MM-ddTHH:mm:ss.zzzZ";
};

inline TimeText timeText(const QDateTime& time)
{
    using namespace std::chrono;
    const milliseconds sinceEpoch(time.toMSecsSinceEpoch());
    const auto day = floor<days>(sinceEpoch);
    const year_month_day date{sys_days(day)};
    const hh_mm_ss clock(sinceEpoch - day);
    TimeText text;
    const auto write = [&text](int at, int count, int value) {
        for (int index = at + count - 1; index >= at; --index, value /= 10)
            text.characters[index] = static_cast<char>('0' + value % 10);
    };
    write(0, 4, int(date.year()));
    write(5, 2, int(unsigned(date.month())));
    write(8, 2, int(unsigned(date.day())));
    write(11, 2, int(clock.hours().count()));
    write(14, 2, int(clock.minutes().count()));
    write(17, 2, int(clock.seconds().count()));
    write(20, 3, int(clock.subseconds().count()));
    return text;
}

template <typename Row>
void readFile(const Row& row, FileConfiguration& file)
{
    file.setId(row.integer(0));
    file.setFolderConfigurationId(row.integer(1));
    file.setName(row.text(2));
    file.setClientPath(row.text(3));
    file.setServerPath(row.text(4));
    file.setCheckSum(row.text(5));
    file.setCreatedDateTime(row.time(6));
    file.setLastModifiedDateTime(row.time(7));
    file.setSyncStatus(static_cast<sync::config::FileSynchronizationStatus>(row.integer(8)));
    file.resetSyncStatusChanged();
    file.setLastOperationType(row.integer(9));
    file.setSize(row.longInteger(10));
    file.setNameValueProperties(row.properties(11));
    file.setLastOperationTime(row.time(12));
    file.setRootFolderId(row.integer(13));
    file.setSyncOption(row.integer(14));
    file.setParentFileId(row.integer(15));
    file.setFileType(static_cast<sync::config::FileConfigurationType>(row.integer(16)));
    file.setOwnerId(row.text(17));
    file.setPrivileges(row.integer(18));
    file.setProductConfigurationId(row.integer(19));
    file.setServerFileId(row.text(20));
    file.setServerFileVersionId(row.text(21));
    file.setCheckSumMD5(row.text(22));
    if (*row.bytes(23) != '\0') {
        QDateTime date;
        file.setFileLinks(sync::config::readFileLinksXml(row.text(23), date));
        file.setFileLinksDate(date);
    }
}

// Reads all fields except the id, which only a manager can set on a folder.
template <typename Row>
void readFolder(const Row& row, FolderConfiguration& folder)
{
    folder.setAuthenticationId(row.integer(1));
    folder.setName(row.text(2));
    folder.setRemoteShortKey(row.text(3));
    folder.setRemoteLongKey(row.text(4));
    folder.setClientPath(row.text(5));
    folder.setServerPath(row.text(6));
    folder.setSyncStatus(static_cast<sync::config::FolderSynchronizationStatus>(row.integer(7)));
    folder.resetSyncStatusChanged();
    folder.setNameValueProperties(row.properties(8));
    folder.setParentId(row.integer(9));
    folder.setLastOperationTime(row.time(10));
    folder.setLastSyncTime(row.time(11));
    folder.setFolderOption(static_cast<sync::config::SynchronizationFolderOption>(row.integer(12)));
    folder.setLastOperationType(static_cast<sync::config::FolderOperationType>(row.integer(13)));
    folder.setSyncDriveType(static_cast<sync::config::DriveType>(row.integer(14)));
    folder.setRootId(row.integer(15));
    folder.setSyncOption(static_cast<sync::config::FolderSyncOption>(row.integer(16)));
    folder.setOwnerId(row.text(17));
    folder.setPrivileges(static_cast<sync::config::FolderPrivileges>(row.integer(18)));
    folder.setServerRoot(row.text(19));
    folder.setProductConfigurationId(row.integer(20));
    folder.setServerFolderId(row.text(21));
}

template <typename Statement>
void bindFile(Statement& statement, const FileConfiguration& file)
{
    statement.bind(file.getFolderConfigurationId());
    statement.bind(file.getName());
    statement.bind(file.getClientPath());
    statement.bind(file.getServerPath());
    statement.bind(file.getCheckSum());
    statement.bind(file.getCreatedDateTime());
    statement.bind(file.getLastModifiedDateTime());
    statement.bind(file.getSyncStatus());
    statement.bind(file.getLastOperationType());
    statement.bind(file.getSize());
    const auto properties = file.getNameValueProperties();
    if (properties.isEmpty())
        statement.bindStatic(NoProperties, sizeof NoProperties - 1);
    else
        statement.bind(sync::config::writeNameValueXml(properties));
    statement.bind(file.getLastOperationTime());
    statement.bind(file.getRootFolderId());
    statement.bind(file.getSyncOption());
    statement.bind(file.getParentFileId());
    statement.bind(file.getFileType());
    statement.bind(file.getOwnerId());
    statement.bind(file.getPrivileges());
    statement.bind(file.getProductConfigurationId());
    statement.bind(file.getServerFileId());
    statement.bind(file.getServerFileVersionId());
    statement.bind(file.getCheckSumMD5());
    const auto links = file.getFileLinks();
    if (links.isEmpty() && !file.getFileLinksDate().isValid())
        statement.bindStatic("", 0);
    else
        statement.bind(sync::config::writeFileLinksXml(links, file.getFileLinksDate()));
}

} // namespace velmio::benchmarks
