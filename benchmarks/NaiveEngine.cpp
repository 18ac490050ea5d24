#include "Engine.h"
#include "HostFactory.h"

#include <support/NameValueDom.h>

#include <QDomDocument>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FileLink;
using sync::config::FolderConfiguration;

namespace velmio::benchmarks {

namespace {

const QString FileColumns =
    u"folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime,"
    " lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties,"
    " lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges,"
    " productConfigurationId, serverFileId, serverFileVersionId, checkSumMD5, fileLinks"_s;

QString selectFiles(const QString& condition)
{
    return u"SELECT id, "_s + FileColumns + u" FROM FileConfiguration"_s + condition;
}

QDateTime utcTime(const QVariant& column)
{
    QDateTime time = column.toDateTime();
    time.setTimeSpec(Qt::UTC);
    return time;
}

QList<FileLink> readLinks(const QString& xml, QDateTime& date)
{
    QList<FileLink> links;
    QDomDocument document;
    document.setContent(xml);
    const QDomElement root = document.documentElement();
    date = QDateTime::fromString(root.attribute(u"FileDate"_s), Qt::ISODate);
    date.setTimeSpec(Qt::UTC);
    for (auto child = root.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement()) {
        FileLink link;
        link.FileId = child.attribute(u"FileId"_s).toInt();
        link.RefId = child.attribute(u"RefId"_s);
        link.ServerFileId = child.attribute(u"ServerFileId"_s);
        link.Path = child.attribute(u"Path"_s);
        links.append(link);
    }
    return links;
}

QString writeLinks(const QList<FileLink>& links, const QDateTime& date)
{
    if (links.isEmpty() && !date.isValid())
        return u""_s;
    QDomDocument document;
    QDomElement root = document.createElement(u"FileLinks"_s);
    document.appendChild(root);
    root.setAttribute(u"FileDate"_s, date.toString(Qt::ISODate));
    for (const FileLink& link : links) {
        QDomElement child = document.createElement(u"FileLink"_s);
        child.setAttribute(u"FileId"_s, link.FileId);
        child.setAttribute(u"RefId"_s, link.RefId);
        child.setAttribute(u"ServerFileId"_s, link.ServerFileId);
        child.setAttribute(u"Path"_s, link.Path);
        root.appendChild(child);
    }
    return document.toString(1);
}

FileConfiguration readFile(const QSqlQuery& row)
{
    FileConfiguration file;
    file.setId(row.value(0).toInt());
    file.setFolderConfigurationId(row.value(1).toInt());
    file.setName(row.value(2).toString());
    file.setClientPath(row.value(3).toString());
    file.setServerPath(row.value(4).toString());
    file.setCheckSum(row.value(5).toString());
    file.setCreatedDateTime(utcTime(row.value(6)));
    file.setLastModifiedDateTime(utcTime(row.value(7)));
    file.setSyncStatus(static_cast<sync::config::FileSynchronizationStatus>(row.value(8).toInt()));
    file.resetSyncStatusChanged();
    file.setLastOperationType(row.value(9).toInt());
    file.setSize(row.value(10).toLongLong());
    file.setNameValueProperties(sync::test::readNameValueDom(row.value(11).toString()));
    file.setLastOperationTime(utcTime(row.value(12)));
    file.setRootFolderId(row.value(13).toInt());
    file.setSyncOption(row.value(14).toInt());
    file.setParentFileId(row.value(15).toInt());
    file.setFileType(static_cast<sync::config::FileConfigurationType>(row.value(16).toInt()));
    file.setOwnerId(row.value(17).toString());
    file.setPrivileges(row.value(18).toInt());
    file.setProductConfigurationId(row.value(19).toInt());
    file.setServerFileId(row.value(20).toString());
    file.setServerFileVersionId(row.value(21).toString());
    file.setCheckSumMD5(row.value(22).toString());
    const QString links = row.value(23).toString();
    if (!links.isEmpty()) {
        QDateTime date;
        file.setFileLinks(readLinks(links, date));
        file.setFileLinksDate(date);
    }
    return file;
}

void bindFile(QSqlQuery& query, const FileConfiguration& file)
{
    query.bindValue(u":folderConfigurationId"_s, file.getFolderConfigurationId());
    query.bindValue(u":name"_s, file.getName());
    query.bindValue(u":clientPath"_s, file.getClientPath());
    query.bindValue(u":serverPath"_s, file.getServerPath());
    query.bindValue(u":checkSum"_s, file.getCheckSum());
    query.bindValue(u":createdDateTime"_s, file.getCreatedDateTime());
    query.bindValue(u":lastModifiedDateTime"_s, file.getLastModifiedDateTime());
    query.bindValue(u":syncStatus"_s, int(file.getSyncStatus()));
    query.bindValue(u":lastOperationType"_s, file.getLastOperationType());
    query.bindValue(u":size"_s, file.getSize());
    query.bindValue(
        u":nameValueProperties"_s, sync::test::writeNameValueDom(file.getNameValueProperties()));
    query.bindValue(u":lastOperationTime"_s, file.getLastOperationTime());
    query.bindValue(u":rootFolderId"_s, file.getRootFolderId());
    query.bindValue(u":syncOption"_s, file.getSyncOption());
    query.bindValue(u":parentFileId"_s, file.getParentFileId());
    query.bindValue(u":fileType"_s, int(file.getFileType()));
    query.bindValue(u":ownerId"_s, file.getOwnerId());
    query.bindValue(u":privileges"_s, file.getPrivileges());
    query.bindValue(u":productConfigurationId"_s, file.getProductConfigurationId());
    query.bindValue(u":serverFileId"_s, file.getServerFileId());
    query.bindValue(u":serverFileVersionId"_s, file.getServerFileVersionId());
    query.bindValue(u":checkSumMD5"_s, file.getCheckSumMD5());
    query.bindValue(u":fileLinks"_s, writeLinks(file.getFileLinks(), file.getFileLinksDate()));
}

// Repeats the pattern for each column, with "%" replaced by the column name.
QString columnwise(const QString& pattern)
{
    QStringList texts;
    const QStringList columns = FileColumns.split(u", "_s);
    for (const QString& column : columns)
        texts.append(QString(pattern).replace(u'%', column));
    return texts.join(u", "_s);
}

/// The code that a program without this library might start with. Supports files only.
class NaiveEngine : public Engine
{
public:
    explicit NaiveEngine(const QString& path)
        : database(openQtSql(path))
    {
    }

    FileConfiguration fileByClientPath(const QString& path) override
    {
        return readAll(u" WHERE clientPath = :value"_s, path).value(0);
    }

    QVector<FileConfiguration> filesOfFolder(int folderId) override
    {
        return readAll(u" WHERE folderConfigurationId = :value ORDER BY Name"_s, folderId);
    }

    QVector<FileConfiguration> allFiles() override { return readAll({}, {}); }

    bool addFile(FileConfiguration& file) override
    {
        const auto samePath = readAll(u" WHERE clientPath = :value"_s, file.getClientPath());
        for (const FileConfiguration& stored : samePath) {
            if (stored.getFolderConfigurationId() == file.getFolderConfigurationId()) {
                file.setId(stored.getId());
                return updateFile(file);
            }
        }
        QSqlQuery query(database);
        query.prepare(insertText);
        bindFile(query, file);
        if (!query.exec())
            return false;
        file.setId(query.lastInsertId().toInt());
        return true;
    }

    bool updateFile(const FileConfiguration& file) override
    {
        QSqlQuery query(database);
        query.prepare(updateText);
        bindFile(query, file);
        query.bindValue(u":id"_s, file.getId());
        return query.exec();
    }

    QVector<FolderConfiguration> allFolders() override { return {}; }
    bool cleanRootFolder(int) override { return false; }
    bool cleanFolder(int) override { return false; }
    bool begin() override { return database.transaction(); }
    bool commit() override { return database.commit(); }

private:
    QVector<FileConfiguration> readAll(const QString& condition, const QVariant& value)
    {
        QSqlQuery query(database);
        query.setForwardOnly(true);
        query.prepare(selectFiles(condition));
        if (value.isValid())
            query.bindValue(u":value"_s, value);
        QVector<FileConfiguration> files;
        query.exec();
        while (query.next())
            files.append(readFile(query));
        return files;
    }

    QSqlDatabase database;
    const QString insertText = u"INSERT INTO FileConfiguration ("_s + FileColumns +
                               u") VALUES ("_s + columnwise(u":%"_s) + u")"_s;
    const QString updateText =
        u"UPDATE FileConfiguration SET "_s + columnwise(u"% = :%"_s) + u" WHERE id = :id"_s;
};

} // namespace

std::unique_ptr<Engine> openNaive(const QString& path)
{
    return std::make_unique<NaiveEngine>(path);
}

} // namespace velmio::benchmarks
