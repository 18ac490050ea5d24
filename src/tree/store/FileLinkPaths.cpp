#include <tree/store/FileLinkPaths.h>

#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <tree/PathMapping.h>

using namespace Qt::StringLiterals;

namespace sync::tree {

namespace {

constexpr size_t PageRecords = 1000;

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
    const auto moved = movedFileLinks(
        files, record.xml, record.path, newPath(record.path, record.rootId),
        [this](const QString& target) { return newPath(target, -1); });
    if (!moved)
        return false;
    ++changedRecords;
    record.xml = *moved;
    return true;
}

} // namespace sync::tree
