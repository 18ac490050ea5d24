#include <velmioctl/doctor/Fixes.h>

#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/doctor/Finding.h>
#include <velmioctl/doctor/RecordChecks.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QStringList>

using namespace Qt::StringLiterals;

namespace velmioctl::doctor {

namespace {

// The columns of `row`, except its id.
QString columnsOf(const QString& row, const QString& table)
{
    QStringList names;
    for (const Column& column : findTable(table.toLatin1())->columns)
        names += row + u'.' + QString::fromLatin1(column.name);
    return names.mid(1).join(u", "_s);
}

// True for a path `inner` below that of `outer`.
QString liesIn(const QString& inner, const QString& outer)
{
    return u"substr(%1.clientPath, 1, length(%2.clientPath) + 1) = %2.clientPath || '/'"_s.arg(
        inner, outer);
}

// Rows `f` that match a condition, each with the only folder that contains its path. Not if other
// rows have the same path: they would become duplicates.
QString withFolderOfItsPath(const QString& table, const QString& condition)
{
    return u"SELECT f.id AS id, min(above.id) AS value FROM %1 AS f"
           u" JOIN FolderConfiguration AS above ON above.clientPath = %2"
           u" WHERE %3 AND NOT EXISTS (SELECT 1 FROM %1 AS other"
           u" WHERE other.clientPath = f.clientPath AND other.id <> f.id)"
           u" GROUP BY f.id HAVING count(*) = 1"_s.arg(
               table, sql::folderPathOf(u"f.clientPath"_s), condition);
}

// Rows that are equal in every column to an earlier one of the same path.
QString copiesIn(const QString& table, const QString& condition)
{
    return u"SELECT f.id AS id FROM %1"
           u" JOIN %2 AS f ON f.clientPath = twice.clientPath"
           u" JOIN %2 AS first ON first.clientPath = f.clientPath AND first.id < f.id"
           u" WHERE (%3) IS (%4) AND %5 GROUP BY f.id"_s.arg(
               sql::pathsTwiceIn(table), table, columnsOf(u"f"_s, table),
               columnsOf(u"first"_s, table), condition);
}

// Not where a record has such an id, because SQLite counts on from that.
std::vector<Fix> freeIds()
{
    const QString highest = QString::number(HighestId);
    std::vector<Fix> list;
    for (const TableShape& table : tableShapes()) {
        const QString name = QString::fromLatin1(table.name);
        list.push_back(
            {u"record.ids-used-up"_s, u"sqlite_sequence"_s, u"seq"_s,
             u"SELECT rowid AS id, (SELECT coalesce(max(id), 0) FROM %1) AS value"
             u" FROM sqlite_sequence WHERE name = '%1' AND seq >= %2"
             u" AND NOT EXISTS (SELECT 1 FROM %1 WHERE id >= %2)"_s.arg(name, highest),
             u"sets the last assigned id of %1 to the highest one in use"_s.arg(name)});
    }
    return list;
}

std::vector<Fix> rootsNameThemselves()
{
    // If its path is below the root that it names, it is not a root but has lost its parent.
    const QString inNamedRoot = u"EXISTS (SELECT 1 FROM FolderConfiguration AS root"
                                u" WHERE root.id = f.rootId AND "_s +
                                liesIn(u"f"_s, u"root"_s) + u')';
    return {
        {u"root.not-itself"_s, FolderTable, u"parentId"_s,
         withFolderOfItsPath(FolderTable, sql::RootMisnamed + u" AND "_s + inNamedRoot),
         u"moves folders below the folder that contains their path"_s},
        {u"root.not-itself"_s, FolderTable, u"rootId"_s,
         u"SELECT id, id AS value FROM FolderConfiguration AS f WHERE "_s + sql::RootMisnamed +
             u" AND NOT "_s + inNamedRoot,
         u"sets the rootId of root folders to their own id"_s},
    };
}

std::vector<Fix> hangFoldersByPath()
{
    const QString misplaced =
        sql::Circular + u" AND above.id <> f.parentId AND NOT EXISTS ("
                        u"SELECT 1 FROM FolderConfiguration AS parent WHERE parent.id = f.parentId"
                        u" AND parent.clientPath = above.clientPath)"_s;
    return {
        {u"folder.parent-missing"_s, FolderTable, u"parentId"_s,
         withFolderOfItsPath(FolderTable, sql::ParentMissing),
         u"moves folders below the folder that contains their path"_s},
        {u"folder.circular"_s, FolderTable, u"parentId"_s,
         withFolderOfItsPath(FolderTable, misplaced),
         u"moves folders below the folder that contains their path"_s},
    };
}

Fix folderTakesItsRoot()
{
    return {
        u"folder.root-differs"_s, FolderTable, u"rootId"_s,
        sql::Tree +
            u" SELECT f.id AS id, tree.root AS value FROM tree"
            u" JOIN FolderConfiguration AS f ON f.id = tree.id"
            u" JOIN FolderConfiguration AS root ON root.id = tree.root"
            u" WHERE f.parentId <> 0 AND f.rootId IS NOT tree.root AND "_s +
            liesIn(u"f"_s, u"root"_s),
        u"sets the rootId of folders to the root that they are below"_s};
}

std::vector<Fix> hangFilesByPath()
{
    const QString homeless = sql::leadsNowhere(u"folderConfigurationId"_s, FolderTable);
    std::vector<Fix> list{
        {u"file.folder-missing"_s, FileTable, u"folderConfigurationId"_s,
         withFolderOfItsPath(FileTable, homeless),
         u"moves files into the folder that contains their path"_s},
        {u"file.no-folder"_s, FileTable, u"folderConfigurationId"_s,
         withFolderOfItsPath(FileTable, u"coalesce(f.folderConfigurationId, -1) IN (0, -1)"_s),
         u"moves files into the folder that contains their path"_s},
    };
    for (const QString& table : fileTables().mid(1)) {
        list.push_back(
            {u"file.folder-missing"_s, table, u"folderConfigurationId"_s,
             u"SELECT id, -1 AS value FROM %1 AS f WHERE "_s.arg(table) + homeless,
             u"marks records in %1 as in no folder"_s.arg(table)});
    }
    return list;
}

std::vector<Fix> filesTakeTheirRoot()
{
    std::vector<Fix> list;
    for (const QString& table : fileTables()) {
        list.push_back(
            {u"file.root-differs"_s, table, u"rootFolderId"_s,
             u"SELECT f.id AS id, folder.rootId AS value FROM %1 AS f"
             u" JOIN FolderConfiguration AS folder ON folder.id = f.folderConfigurationId"
             u" JOIN FolderConfiguration AS root ON root.id = folder.rootId AND root.parentId = 0"
             u" WHERE f.rootFolderId IS NOT folder.rootId"_s.arg(table),
             u"sets the rootFolderId of records in %1 to the root of their folder"_s.arg(table)});
    }
    for (const QString& table : fileTables().mid(1)) {
        list.push_back(
            {u"file.root-missing"_s, table, u"rootFolderId"_s,
             u"SELECT f.id AS id, parent.rootFolderId AS value FROM %1 AS f"
             u" JOIN FileConfiguration AS parent ON parent.id = f.parentFileId"
             u" JOIN FolderConfiguration AS root"
             u" ON root.id = parent.rootFolderId AND root.parentId = 0"
             u" WHERE f.rootFolderId <> parent.rootFolderId AND %2"_s.arg(
                 table, sql::FileRootMissing),
             u"sets the rootFolderId of records in %1 to the root of the file that they belong to"_s
                 .arg(table)});
    }
    return list;
}

std::vector<Fix> filesTakeTheTypeOfTheirTable()
{
    std::vector<Fix> list;
    for (int type = 0; type < fileTables().size(); ++type) {
        const QString& table = fileTables().at(type);
        list.push_back(
            {u"file.wrong-type"_s, table, u"fileType"_s,
             u"SELECT id, %2 AS value FROM %1 WHERE coalesce(fileType, 0) <> %2"_s.arg(
                 table, QString::number(type)),
             u"sets the fileType of records in %1 to %2"_s.arg(table, QString::number(type))});
    }
    return list;
}

// No id is assigned twice, so the reference can never become valid.
Fix clearProduct(const QString& check, const QString& table)
{
    return {
        check, table, u"productConfigurationId"_s,
        u"SELECT id, -1 AS value FROM %1 AS f WHERE %2"_s.arg(
            table, sql::leadsNowhere(u"productConfigurationId"_s, ProductTable)),
        u"marks records in %1 as without a product"_s.arg(table)};
}

Fix removeLostCompanions(const QString& check, const QString& table)
{
    return {
        check,
        table,
        {},
        u"SELECT id FROM %1 AS f WHERE %2"_s.arg(table, sql::CompanionLost),
        u"removes records from %1; the files that they name stay on the disk"_s.arg(table)};
}

// Only those that nothing refers to: of others a person has to choose which one to keep.
std::vector<Fix> removeCopies()
{
    const auto unused = [](const QString& table, const QString& column) {
        return u"f.id NOT IN (SELECT %2 FROM %1 WHERE %2 IS NOT NULL)"_s.arg(table, column);
    };
    QStringList folderUnused{
        u"f.parentId <> 0"_s, unused(FolderTable, u"parentId"_s),
        unused(u"Schedules"_s, u"folderConfigurationId"_s)};
    QStringList fileUnused;
    for (const QString& table : fileTables()) {
        folderUnused += unused(table, u"folderConfigurationId"_s);
        fileUnused += unused(table, u"parentFileId"_s);
    }
    return {
        {u"file.duplicate-path"_s,
         FileTable,
         {},
         copiesIn(FileTable, fileUnused.join(u" AND "_s)),
         u"removes records that are equal to another one in all but their id"_s},
        {u"folder.duplicate-path"_s,
         FolderTable,
         {},
         copiesIn(FolderTable, folderUnused.join(u" AND "_s)),
         u"removes records of empty folders that are equal to another one in all but their "
         u"id"_s},
    };
}

std::vector<Fix> makeFixes()
{
    std::vector<Fix> list = rootsNameThemselves();
    const auto add = [&list](std::vector<Fix> more) {
        list.insert(list.end(), more.begin(), more.end());
    };
    add(freeIds());
    add(hangFoldersByPath());
    add({folderTakesItsRoot()});
    add(hangFilesByPath());
    add(filesTakeTheirRoot());
    add(filesTakeTheTypeOfTheirTable());
    add({clearProduct(u"folder.product-missing"_s, FolderTable)});
    for (const QString& table : fileTables())
        add({clearProduct(u"file.product-missing"_s, table)});
    add(
        {removeLostCompanions(u"generated.file-missing"_s, fileTables().at(1)),
         removeLostCompanions(u"base.file-missing"_s, fileTables().at(2))});
    add(removeCopies());
    return list;
}

} // namespace

const std::vector<Fix>& fixes()
{
    static const std::vector<Fix> all = makeFixes();
    return all;
}

long long countOf(const Fix& fix, sync::interf::factory::IDatabaseFactory& database)
{
    CheckQuery query(database, u"SELECT count(*) FROM (%1)"_s.arg(fix.select));
    return query.next() ? query.number(0) : 0;
}

long long apply(const Fix& fix, WatchedDatabase& database)
{
    // An id is the rowid; the sequences of SQLite have no other.
    const QString statement =
        fix.column.isEmpty()
            ? u"DELETE FROM %1 WHERE id IN (SELECT id FROM (%2))"_s.arg(fix.table, fix.select)
            : u"UPDATE %1 SET %3 = chosen.value FROM (%2) AS chosen WHERE chosen.id = %1.rowid"_s
                  .arg(fix.table, fix.select, fix.column);
    const auto query = database.select(statement);
    return query->numRowsAffected();
}

} // namespace velmioctl::doctor
