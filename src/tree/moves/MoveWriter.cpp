#include <tree/moves/MoveWriter.h>

#include <core/PathHelpers.h>
#include <database/HostTransaction.h>
#include <tree/store/FileLinkPaths.h>

#include <QSet>

using namespace Qt::StringLiterals;

namespace sync::tree {

namespace {

QString namePart(const QString& path)
{
    return path.sliced(path.lastIndexOf(u'/') + 1);
}

QString parentOf(const QString& path)
{
    return path.first(path.lastIndexOf(u'/'));
}

// In code points, as SQLite counts.
int lengthOf(const QString& text)
{
    return int(text.toUcs4().size());
}

} // namespace

MoveWriter::MoveWriter(TreeStore givenStore, const config::FolderConfiguration& root)
    : store(std::move(givenStore))
    , queries(*store.database)
    , root(root)
    , folders(store.database, nullptr)
{
}

// Two records may exchange their paths, and a folder may be put where another one was. So all
// folders that move give up their paths before the first one gets another.
void MoveWriter::apply(const MovePlan& plan)
{
    const auto guard = queries.guard();
    database::HostTransaction transaction(*store.database);
    if (!transaction.isOpen())
        queries.fail(u"Beginning a transaction failed."_s);
    FileLinkPaths(store.database, [&plan](const QString& path, int) {
        return plan.newPath(path);
    }).visit(FileLinkPaths::Action::Store);

    std::vector<std::vector<FolderRow>> taken;
    QSet<int> fromRoots;
    for (const Move& move : plan.moves()) {
        fromRoots.insert(move.fromRootId);
        if (move.isFolder)
            taken.push_back(takeAway(plan, move));
    }
    size_t next = 0;
    for (const Move& move : plan.moves()) {
        if (move.isFolder)
            putFolders(move, taken[next++]);
        else
            putFile(move);
    }
    for (const int fromRoot : fromRoots)
        putDependants(fromRoot);
    if (guard && guard->failed())
        queries.fail({});
    if (!transaction.commit())
        queries.fail(u"Storing the moves failed."_s);
}

// The rows of a folder and of those below it, except for what has a move of its own.
std::vector<MoveWriter::FolderRow> MoveWriter::takeAway(const MovePlan& plan, const Move& move)
{
    std::vector<FolderRow> rows;
    QSet<int> visited;
    const auto read = [&](const QString& condition, int id) {
        const auto query = queries.select(
            u"SELECT id, clientPath, serverPath FROM FolderConfiguration WHERE %1 = :id"_s.arg(
                condition),
            {{u":id"_s, id}});
        while (query->next()) {
            const int rowId = query->value(0).toInt();
            const QString path = query->value(1).toString();
            if (visited.contains(rowId) || (rowId != move.id && plan.holds(rowId, true)))
                continue;
            visited.insert(rowId);
            const bool isBelow = path.startsWith(move.from + u'/');
            rows.push_back(
                {rowId, path, query->value(2).toString(),
                 rowId == move.id ? move.to
                 : isBelow        ? move.to + path.sliced(move.from.size())
                                  : path});
        }
        queries.check(*query);
    };
    read(u"id"_s, move.id);
    for (size_t at = 0; at < rows.size(); ++at) {
        read(u"parentId"_s, rows[at].id);
        queries.change(
            u"UPDATE FolderConfiguration SET clientPath = '' WHERE id = :id"_s,
            {{u":id"_s, rows[at].id}});
    }
    return rows;
}

void MoveWriter::putFolders(const Move& move, const std::vector<FolderRow>& rows)
{
    const int parentId = folderAt(parentOf(move.to));
    for (const FolderRow& row : rows) {
        const QString serverPath = serverPathOf(row.newPath);
        queries.change(
            u"UPDATE FolderConfiguration SET clientPath = :clientPath, rootId = :rootId,"
            u" remoteLongKey = CASE remoteLongKey WHEN serverPath THEN :remoteLongKey"
            u" ELSE remoteLongKey END, serverPath = :serverPath WHERE id = :id"_s,
            {{u":clientPath"_s, row.newPath},
             {u":rootId"_s, root.getId()},
             {u":remoteLongKey"_s, serverPath},
             {u":serverPath"_s, serverPath},
             {u":id"_s, row.id}});
        putFilesOf(row, serverPath);
        movedFolders.insert(row.id, {row.path, row.newPath});
    }
    // A name that a user has chosen stays.
    queries.change(
        u"UPDATE FolderConfiguration SET parentId = :parentId,"
        u" name = CASE name WHEN :oldName THEN :name ELSE name END WHERE id = :id"_s,
        {{u":parentId"_s, parentId},
         {u":oldName"_s, namePart(move.from)},
         {u":name"_s, namePart(move.to)},
         {u":id"_s, move.id}});
}

void MoveWriter::putFilesOf(const FolderRow& row, const QString& newServerPath)
{
    const QString below = row.path + u'/';
    const QString serverBelow = row.serverPath + u'/';
    queries.change(
        u"UPDATE FileConfiguration SET rootFolderId = :rootFolderId,"
        u" clientPath = CASE substr(clientPath, 1, :length) WHEN :below"
        u" THEN :newPath || substr(clientPath, :rest) ELSE clientPath END,"
        u" serverPath = CASE substr(serverPath, 1, :serverLength) WHEN :serverBelow"
        u" THEN :newServerPath || substr(serverPath, :serverRest) ELSE serverPath END"
        u" WHERE folderConfigurationId = :folderConfigurationId"_s,
        {{u":rootFolderId"_s, root.getId()},
         {u":length"_s, lengthOf(below)},
         {u":below"_s, below},
         {u":newPath"_s, row.newPath},
         {u":rest"_s, lengthOf(below)},
         {u":serverLength"_s, lengthOf(serverBelow)},
         {u":serverBelow"_s, serverBelow},
         {u":newServerPath"_s, newServerPath},
         {u":serverRest"_s, lengthOf(serverBelow)},
         {u":folderConfigurationId"_s, row.id}});
}

void MoveWriter::putFile(const Move& move)
{
    const int folderId = folderAt(parentOf(move.to));
    for (const auto& table : {u"GeneratedFileConfiguration"_s, u"BaseFileConfiguration"_s}) {
        queries.change(
            u"UPDATE %1 SET folderConfigurationId = :folderConfigurationId,"
            u" rootFolderId = :rootFolderId WHERE parentFileId = :parentFileId"_s.arg(table),
            {{u":folderConfigurationId"_s, folderId},
             {u":rootFolderId"_s, root.getId()},
             {u":parentFileId"_s, move.id}});
    }
    queries.change(
        u"UPDATE FileConfiguration SET folderConfigurationId = :folderConfigurationId,"
        u" rootFolderId = :rootFolderId, name = :name, clientPath = :clientPath,"
        u" serverPath = :serverPath WHERE id = :id"_s,
        {{u":folderConfigurationId"_s, folderId},
         {u":rootFolderId"_s, root.getId()},
         {u":name"_s, namePart(move.to)},
         {u":clientPath"_s, move.to},
         {u":serverPath"_s, serverPathOf(move.to)},
         {u":id"_s, move.id}});
}

// The base copies and generated files that lay in a moved folder have moved with it.
void MoveWriter::putDependants(int fromRootId)
{
    struct Dependant
    {
        int id;
        QString path;
    };
    for (const auto& table : {u"GeneratedFileConfiguration"_s, u"BaseFileConfiguration"_s}) {
        std::vector<Dependant> dependants;
        const auto query = queries.select(
            u"SELECT id, folderConfigurationId, clientPath FROM %1"
            u" WHERE rootFolderId = :rootFolderId"_s.arg(table),
            {{u":rootFolderId"_s, fromRootId}});
        while (query->next()) {
            const auto moved = movedFolders.constFind(query->value(1).toInt());
            if (moved != movedFolders.cend()) {
                const QString path = query->value(2).toString();
                const bool isBelow = path.startsWith(moved->first + u'/');
                dependants.push_back(
                    {query->value(0).toInt(),
                     isBelow ? moved->second + path.sliced(moved->first.size()) : path});
            }
        }
        queries.check(*query);
        for (const Dependant& dependant : dependants) {
            queries.change(
                u"UPDATE %1 SET clientPath = :clientPath, rootFolderId = :rootFolderId"
                u" WHERE id = :id"_s.arg(table),
                {{u":clientPath"_s, dependant.path},
                 {u":rootFolderId"_s, root.getId()},
                 {u":id"_s, dependant.id}});
        }
    }
}

// The record of a folder on the disk, which is made if there is none.
int MoveWriter::folderAt(const QString& path)
{
    const int id = folders.AddFolderAndParent(path, root).getId();
    if (id == -1)
        queries.fail(u"Recording a folder failed."_s);
    return id;
}

QString MoveWriter::serverPathOf(const QString& path) const
{
    return core::GetServerPath(path, root.getClientPath(), root.getServerPath());
}

} // namespace sync::tree
