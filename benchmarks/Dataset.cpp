#include "Dataset.h"

#include <QStringList>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FileLink;
using sync::config::FolderConfiguration;

namespace velmio::benchmarks {

namespace {

constexpr qint64 FirstTimeMs = 1'600'000'000'000;
constexpr int FoldersPerFolder = 8;

// Hashes a number (the finalizer of SplitMix64, by Sebastiano Vigna).
quint64 mixed(quint64 number)
{
    number += 0x9E3779B97F4A7C15;
    number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9;
    number = (number ^ (number >> 27)) * 0x94D049BB133111EB;
    return number ^ (number >> 31);
}

QString hexText(quint64 seed, int digits)
{
    QString text(digits, Qt::Uninitialized);
    quint64 block = 0;
    for (int place = 0; place < digits; ++place) {
        if (place % 16 == 0)
            block = mixed(seed * 31 + quint64(place / 16));
        text[place] = QLatin1Char("0123456789abcdef"[block >> 60]);
        block <<= 4;
    }
    return text;
}

QDateTime timeOf(int number, int offsetSeconds)
{
    return QDateTime::fromMSecsSinceEpoch(
        FirstTimeMs + number * 97'777LL + offsetSeconds * 1000, Qt::UTC);
}

QString folderName(int number)
{
    return u"project %1"_s.arg(number);
}

QString fileName(int number)
{
    return u"report %1.odt"_s.arg(number);
}

// The path of a folder below a base path; folder 0 is the base itself.
QString pathBelow(const QString& base, int folder)
{
    return folder == 0 ? base : base + u'/' + folderName(folder);
}

QString clientFolder(int number)
{
    return pathBelow(u"/home/somebody/Documents/Synched"_s, number);
}

QString serverFolder(int number)
{
    return pathBelow(u"/Shared projects"_s, number);
}

QMap<QString, QString> sampleProperties(int number)
{
    if (number % 10 != 3)
        return {};
    return {{u"ContentType"_s, u"text/plain"_s}, {u"Origin"_s, u"upload %1"_s.arg(number)}};
}

QList<FileLink> sampleLinks(int number)
{
    QList<FileLink> links;
    if (number % 20 != 7)
        return links;
    for (int position = 0; position < 2; ++position) {
        FileLink link;
        link.Path = u"../%1/%2"_s.arg(folderName(position), fileName(number + position));
        link.RefId = u"reference-%1"_s.arg(position);
        link.ServerFileId = hexText(quint64(number + position), 32);
        links.append(link);
    }
    return links;
}

bool sameLink(const FileLink& left, const FileLink& right)
{
    return left.FileId == right.FileId && left.Path == right.Path && left.RefId == right.RefId &&
           left.ServerFileId == right.ServerFileId;
}

} // namespace

FolderConfiguration sampleFolder(int number)
{
    FolderConfiguration folder;
    folder.setAuthenticationId(3);
    folder.setProductConfigurationId(5);
    folder.setName(folderName(number));
    folder.setRemoteShortKey(u"short-17"_s);
    folder.setRemoteLongKey(serverFolder(number));
    folder.setClientPath(clientFolder(number));
    folder.setServerPath(serverFolder(number));
    folder.setSyncStatus(sync::config::FolderSyncing);
    folder.resetSyncStatusChanged();
    folder.setLastOperationTime(timeOf(number, 1));
    folder.setLastSyncTime(timeOf(number, 2));
    folder.setParentId(number == 0 ? 0 : 1 + (number - 1) / FoldersPerFolder);
    folder.setRootId(RootFolderId);
    folder.setOwnerId(hexText(7, 32));
    folder.setServerRoot(u"/Shared projects"_s);
    folder.setServerFolderId(hexText(quint64(number) + 1'000'000'007, 32));
    folder.setNameValueProperties(sampleProperties(number));
    return folder;
}

QString clientPathOfFile(int number, int filesPerFolder)
{
    return clientFolder(number / filesPerFolder) + u'/' + fileName(number);
}

FileConfiguration sampleFile(int number, int filesPerFolder)
{
    FileConfiguration file;
    file.setFolderConfigurationId(1 + number / filesPerFolder);
    file.setRootFolderId(RootFolderId);
    file.setProductConfigurationId(5);
    file.setName(fileName(number));
    file.setClientPath(clientPathOfFile(number, filesPerFolder));
    file.setServerPath(serverFolder(number / filesPerFolder) + u'/' + fileName(number));
    file.setOwnerId(hexText(quint64(number % 3), 32));
    file.setServerFileId(hexText(quint64(number) + 2'000'000'011, 32));
    file.setNameValueProperties(sampleProperties(number));
    file.setFileLinks(sampleLinks(number));
    if (!file.getFileLinks().isEmpty())
        file.setFileLinksDate(timeOf(number, 3).addMSecs(-timeOf(number, 3).time().msec()));
    file.setCreatedDateTime(timeOf(number, 0));
    file.setSyncStatus(sync::config::FileSyncing);
    file.resetSyncStatusChanged();
    changeContent(file, number);
    return file;
}

void changeContent(FileConfiguration& file, int version)
{
    file.setCheckSum(hexText(quint64(version) + 3'000'000'019, 64));
    file.setCheckSumMD5(hexText(quint64(version) + 4'000'000'007, 32));
    file.setLastModifiedDateTime(timeOf(version, 60));
    file.setLastOperationTime(timeOf(version, 120));
    file.setSize(version * 37LL);
    file.setServerFileVersionId(hexText(quint64(version) + 5'000'000'029, 16));
}

bool sameFile(const FileConfiguration& left, const FileConfiguration& right)
{
    const auto leftLinks = left.getFileLinks();
    const auto rightLinks = right.getFileLinks();
    return left.getFolderConfigurationId() == right.getFolderConfigurationId() &&
           left.getRootFolderId() == right.getRootFolderId() &&
           left.getProductConfigurationId() == right.getProductConfigurationId() &&
           left.getParentFileId() == right.getParentFileId() && left.getName() == right.getName() &&
           left.getClientPath() == right.getClientPath() &&
           left.getServerPath() == right.getServerPath() &&
           left.getCheckSum() == right.getCheckSum() &&
           left.getCheckSumMD5() == right.getCheckSumMD5() &&
           left.getCreatedDateTime() == right.getCreatedDateTime() &&
           left.getLastModifiedDateTime() == right.getLastModifiedDateTime() &&
           left.getLastOperationTime() == right.getLastOperationTime() &&
           left.getSyncStatus() == right.getSyncStatus() &&
           left.getSyncStatusChanged() == right.getSyncStatusChanged() &&
           left.getLastOperationType() == right.getLastOperationType() &&
           left.getSize() == right.getSize() && left.getSyncOption() == right.getSyncOption() &&
           left.getFileType() == right.getFileType() && left.getOwnerId() == right.getOwnerId() &&
           left.getPrivileges() == right.getPrivileges() &&
           left.getServerFileId() == right.getServerFileId() &&
           left.getServerFileVersionId() == right.getServerFileVersionId() &&
           left.getNameValueProperties() == right.getNameValueProperties() &&
           left.getFileLinksDate() == right.getFileLinksDate() &&
           std::equal(
               leftLinks.begin(), leftLinks.end(), rightLinks.begin(), rightLinks.end(), sameLink);
}

bool sameFolder(const FolderConfiguration& left, const FolderConfiguration& right)
{
    return left.getAuthenticationId() == right.getAuthenticationId() &&
           left.getProductConfigurationId() == right.getProductConfigurationId() &&
           left.getName() == right.getName() &&
           left.getRemoteShortKey() == right.getRemoteShortKey() &&
           left.getRemoteLongKey() == right.getRemoteLongKey() &&
           left.getClientPath() == right.getClientPath() &&
           left.getServerPath() == right.getServerPath() &&
           left.getSyncStatus() == right.getSyncStatus() &&
           left.getSyncStatusChanged() == right.getSyncStatusChanged() &&
           left.getLastOperationTime() == right.getLastOperationTime() &&
           left.getLastSyncTime() == right.getLastSyncTime() &&
           left.getParentId() == right.getParentId() && left.getRootId() == right.getRootId() &&
           left.getOwnerId() == right.getOwnerId() &&
           left.getServerRoot() == right.getServerRoot() &&
           left.getServerFolderId() == right.getServerFolderId() &&
           left.getNameValueProperties() == right.getNameValueProperties();
}

} // namespace velmio::benchmarks
