#include <velmioctl/records/FileListing.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/store/Names.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FileConfigurationType;

namespace velmioctl {

namespace {

// Only ids, of which one page is read as records: a table may have more rows than fit in memory.
std::vector<int> readIds(Session& session, const FileListOptions& options, const QString& table)
{
    QString condition;
    int folderId = -1;
    if (options.folder) {
        const auto folder = session.folder(*options.folder);
        folderId = folder.getId();
        condition = folder.isRoot() ? u" WHERE rootFolderId = :id"_s
                                    : u" WHERE folderConfigurationId = :id"_s;
    }
    const QString sql = u"SELECT id FROM "_s + table + condition + u" ORDER BY "_s +
                        fileOrderFrom(options.order) + u", id LIMIT "_s +
                        QString::number(options.limit) + u" OFFSET "_s +
                        QString::number(options.offset);
    const auto query = options.folder ? session.database().select(sql, {{u":id"_s, folderId}})
                                      : session.database().select(sql);
    std::vector<int> ids;
    while (query->next())
        ids.push_back(query->value(0).toInt());
    session.database().check();
    return ids;
}

} // namespace

FileConfiguration readFile(Session& session, int id, FileConfigurationType type)
{
    FileConfiguration file;
    switch (type) {
    case sync::config::GeneratedFile:
        file = session.files().GetGeneratedFileConfigurationById(id);
        break;
    case sync::config::BaseFile:
        file = session.files().GetBaseFileConfigurationById(id);
        break;
    default:
        file = session.files().GetFileConfigurationById(id);
        break;
    }
    session.database().check();
    return file;
}

void listFiles(Session& session, const FileListOptions& options)
{
    const FileConfigurationType type = fileTypeFrom(options.type);
    const auto ids = readIds(session, options, session.files().GetTableNameByFileType(type));
    QVector<FileConfiguration> files;
    for (const int id : ids) {
        FileConfiguration file = readFile(session, id, type);
        if (file.getId() != -1)
            files.append(std::move(file));
    }
    printFiles(session, files, u"No files match. 'velmioctl scan' registers files."_s);
}

void printFiles(Session& session, const QVector<FileConfiguration>& files, const QString& emptyNote)
{
    Table table({u"ID"_s, u"FOLDER"_s, u"STATUS"_s, u"SIZE"_s, u"MODIFIED"_s, u"CLIENT PATH"_s});
    table.alignRight(0).alignRight(1).alignRight(3);
    QJsonArray array;
    for (const FileConfiguration& file : files) {
        if (session.output.json()) {
            array.append(toJson(file));
            continue;
        }
        table.addRow(
            {QString::number(file.getId()), QString::number(file.getFolderConfigurationId()),
             syncStatusName(file.getSyncStatus()), QString::number(file.getSize()),
             file.getLastModifiedDateTime().toString(Qt::ISODate), file.getClientPath()});
    }
    session.output.printList(array, table, emptyNote);
}

} // namespace velmioctl
