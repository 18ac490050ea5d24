#include <tree/store/FileLinkPaths.h>

#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <tree/PathMapping.h>

#include <QDateTime>
#include <QDir>

using namespace Qt::StringLiterals;
using sync::config::FileLink;

namespace sync::tree {

namespace {

constexpr size_t PageRecords = 1000;

QString folderOf(const QString& path)
{
    return path.first(qMax<qsizetype>(0, path.lastIndexOf(u'/')));
}

// Not by Qt's functions for this system, because the paths may be those of another one.
QString targetOf(const QString& link, const QString& linkingFile)
{
    return isAbsoluteAnywhere(link) ? link : QDir::cleanPath(folderOf(linkingFile) + u'/' + link);
}

} // namespace

FileLinkPaths::FileLinkPaths(
    std::shared_ptr<interf::factory::IDatabaseFactory> factory, NewPath newPath)
    : queries(*factory)
    , files(
          factory, std::make_shared<config::Sha256FileHash>(), nullptr,
          std::make_shared<config::FolderConfigManager>(factory, nullptr))
    , newPath(std::move(newPath))
{
}

void FileLinkPaths::visit(Action action)
{
    for (const QString& table :
         {u"FileConfiguration"_s, u"GeneratedFileConfiguration"_s, u"BaseFileConfiguration"_s}) {
        qint64 lastId = -1;
        // In pages, because no statement may read a table while another one changes it.
        for (auto page = readPage(table, lastId); !page.empty(); page = readPage(table, lastId)) {
            lastId = page.back().id;
            for (Record& record : page) {
                if (!relink(record) || action == Action::Count)
                    continue;
                queries.change(
                    u"UPDATE %1 SET fileLinks = :fileLinks WHERE id = :id"_s.arg(table),
                    {{u":fileLinks"_s, record.xml}, {u":id"_s, record.id}});
            }
        }
    }
}

std::vector<FileLinkPaths::Record> FileLinkPaths::readPage(
    const QString& table, qint64 afterId) const
{
    const auto query = queries.select(
        u"SELECT id, clientPath, rootFolderId, fileLinks FROM %1 WHERE id > :id"
        u" AND fileLinks <> '' ORDER BY id LIMIT :count"_s.arg(table),
        {{u":id"_s, afterId}, {u":count"_s, int(PageRecords)}});
    std::vector<Record> page;
    while (query->next()) {
        page.push_back(
            {query->value(0).toLongLong(), query->value(1).toString(), query->value(2).toInt(),
             query->value(3).toString()});
    }
    queries.check(*query);
    return page;
}

// False for a record whose links stay as they are.
bool FileLinkPaths::relink(Record& record)
{
    QDateTime date;
    QList<FileLink> links = files.GetFileLinkArrayFromXmlString(record.xml, date);
    const QString newFile = newPath(record.path, record.rootId);
    bool anyMoved = false;
    for (FileLink& link : links) {
        if (link.Path.isEmpty())
            continue;
        const QString target = newPath(targetOf(link.Path, record.path), -1);
        if (target == targetOf(link.Path, newFile))
            continue;
        link.Path = isAbsoluteAnywhere(link.Path)
                        ? target
                        : QDir(folderOf(newFile)).relativeFilePath(target);
        anyMoved = true;
    }
    if (!anyMoved)
        return false;
    ++changedRecords;
    record.xml = files.GetXmlStringFromFileLinkArray(links, date);
    return true;
}

} // namespace sync::tree
