#include <velmioctl/records/FolderListing.h>

#include <config/FolderConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/store/Names.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/FolderTree.h>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

QVector<FolderConfiguration> chosenFolders(Session& session, const FolderListOptions& options)
{
    auto& folders = session.folders();
    if (options.orphans)
        return folders.GetFolderConfigurationsOfNonExistingRootFolders();
    if (options.root)
        return folders.GetFolderConfigurationsByRootId(session.rootFolder(*options.root).getId());
    if (!options.all)
        return folders.GetAllRootFolders();
    if (options.signIn)
        return folders.GetFolderConfigurationsByAuthenticationId(*options.signIn);
    return folders.GetAll();
}

// Not from the manager: of its records a tree needs five fields, and reading all of them takes
// many times as long.
FolderTree readTree(WatchedDatabase& database)
{
    const auto query = database.select(
        u"SELECT id, parentId, syncStatus, name, clientPath, files, bytes FROM FolderConfiguration"
        u" LEFT JOIN (SELECT folderConfigurationId, count(*) AS files,"
        u" CAST(sum(size) AS BIGINT) AS bytes FROM FileConfiguration"
        u" GROUP BY folderConfigurationId) AS counted ON folderConfigurationId = id"_s);
    std::vector<FolderNode> nodes;
    while (query->next()) {
        nodes.push_back(
            {query->value(0).toInt(), query->value(1).toInt(), query->value(2).toInt(),
             query->value(3).toString(), query->value(4).toString(), query->value(5).toLongLong(),
             query->value(6).toLongLong()});
    }
    database.check();
    return FolderTree(std::move(nodes));
}

QJsonArray jsonOf(const FolderTree& tree, const std::vector<int>& starts, int maxDepth)
{
    QJsonArray array;
    for (const int start : starts) {
        tree.visit(start, maxDepth, [&array](const FolderNode& folder, FolderTree::Place place) {
            array.append(QJsonObject{
                {u"id"_s, folder.id},
                {u"parentId"_s, folder.parentId},
                {u"depth"_s, place.depth},
                {u"name"_s, folder.name},
                {u"clientPath"_s, folder.clientPath},
                {u"syncStatus"_s, folder.syncStatus},
                {u"children"_s, int(place.childCount)},
                {u"files"_s, folder.files},
                {u"bytes"_s, folder.bytes},
            });
        });
    }
    return array;
}

} // namespace

void listFolders(Session& session, const FolderListOptions& options)
{
    const auto folders = chosenFolders(session, options);
    session.database().check();

    Table table(
        {u"ID"_s, u"ROOT"_s, u"SIGN-IN"_s, u"STATUS"_s, u"SERVER PATH"_s, u"CLIENT PATH"_s});
    table.alignRight(0).alignRight(1).alignRight(2);
    QJsonArray array;
    for (const FolderConfiguration& folder : folders) {
        if (options.signIn && folder.getAuthenticationId() != *options.signIn)
            continue;
        if (session.output.json()) {
            array.append(toJson(folder));
            continue;
        }
        table.addRow(
            {QString::number(folder.getId()), QString::number(folder.getRootId()),
             QString::number(folder.getAuthenticationId()), syncStatusName(folder.getSyncStatus()),
             folder.getServerPath(), folder.getClientPath()});
    }
    session.output.printList(
        array, table, u"No folders are registered. Add a root with 'velmioctl folder add'."_s);
}

void drawFolderTree(Session& session, const std::optional<std::string>& folder, int maxDepth)
{
    std::vector<int> starts;
    if (folder)
        starts.push_back(session.folder(*folder).getId());
    const FolderTree tree = readTree(session.database());
    if (!folder)
        starts = tree.rootIds();

    if (session.output.json()) {
        session.output.print(jsonOf(tree, starts, maxDepth));
    } else {
        QString text;
        for (const int id : starts)
            text += tree.draw(id, maxDepth, session.output.answerTerminal().utf8);
        session.output.printLines(text);
    }
    if (folder)
        return;
    if (const size_t detached = tree.detachedCount(); detached > 0) {
        session.output.warning(
            u"Folders that belong to no root folder: %1. See 'velmioctl folder list --all'."_s.arg(
                QString::number(detached)));
    } else if (starts.empty()) {
        session.output.note(
            u"No folders are registered yet. Add a root with 'velmioctl folder add'."_s);
    }
}

} // namespace velmioctl
