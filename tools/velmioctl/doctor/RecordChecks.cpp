#include <velmioctl/doctor/RecordChecks.h>

#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/doctor/Finding.h>
#include <velmioctl/store/Columns.h>

using namespace Qt::StringLiterals;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl::doctor {

namespace sql {

QString folderPathOf(const QString& column)
{
    // Strips from the end all that is not a "/", and then the "/".
    return u"rtrim(rtrim(%1, replace(%1, '/', '')), '/')"_s.arg(column);
}

QString leadsNowhere(const QString& column, const QString& target)
{
    return u"f.%1 NOT IN (0, -1) AND NOT EXISTS (SELECT 1 FROM %2 AS target"
           u" WHERE target.id = f.%1)"_s.arg(column, target);
}

const QString CompanionLost = u"NOT EXISTS (SELECT 1 FROM FileConfiguration AS parent"
                              u" WHERE parent.id = f.parentFileId)"_s;

const QString RootMisnamed = u"f.parentId = 0 AND f.rootId IS NOT f.id"_s;

const QString FileRootMissing = u"coalesce(f.folderConfigurationId, -1) IN (0, -1)"
                                u" AND f.rootFolderId NOT IN (0, -1)"
                                u" AND NOT EXISTS (SELECT 1 FROM FolderConfiguration AS own"
                                u" WHERE own.id = f.rootFolderId AND own.parentId = 0)"_s;

const QString ParentMissing = u"f.parentId IS NOT 0"
                              u" AND NOT EXISTS (SELECT 1 FROM FolderConfiguration AS parent"
                              u" WHERE parent.id = f.parentId)"_s;

// Down from the roots. This ends although folders may be below themselves: each has one parent, so
// none is visited twice.
const QString Tree = u"WITH RECURSIVE tree(id, root) AS ("
                     u"SELECT id, id FROM FolderConfiguration WHERE parentId = 0 UNION ALL"
                     u" SELECT child.id, tree.root FROM tree"
                     u" JOIN FolderConfiguration AS child ON child.parentId = tree.id)"_s;

const QString Circular = u"f.id NOT IN (WITH RECURSIVE chained(id) AS ("
                         u"SELECT f.id FROM FolderConfiguration AS f WHERE f.parentId = 0 OR ("_s +
                         ParentMissing +
                         u") UNION ALL SELECT child.id FROM chained"
                         u" JOIN FolderConfiguration AS child ON child.parentId = chained.id)"
                         u" SELECT id FROM chained)"_s;

QString pathsTwiceIn(const QString& table)
{
    return u"(SELECT clientPath FROM %1 GROUP BY clientPath HAVING count(*) > 1) AS twice"_s.arg(
        table);
}

} // namespace sql

namespace {

/// A table to check. The SELECT returns id, name and detail of the rows found.
struct Part
{
    QString table;
    QString select;
};

RecordCheck sqlCheck(Check check, std::vector<Part> parts)
{
    return {
        std::move(check),
        [parts = std::move(parts)](
            IDatabaseFactory& database, const Check& running, const Found& found) {
            for (const auto& [table, select] : parts) {
                CheckQuery query(database, select);
                while (query.next())
                    found(running, {table, query.number(0), query.text(1), query.text(2)});
            }
        }};
}

QString brokenReferences(
    const QString& table, const QString& name, const QString& column, const QString& target)
{
    return u"SELECT id, %2, '%3 ' || %3 FROM %1 AS f WHERE %4"_s.arg(
        table, name, column, sql::leadsNowhere(column, target));
}

// A SELECT for each table of files, with its name for %1 and its type for %2.
std::vector<Part> inFileTables(const QString& select)
{
    std::vector<Part> parts;
    for (int type = 0; type < fileTables().size(); ++type) {
        const QString& table = fileTables().at(type);
        parts.push_back(
            {table,
             QString(select).replace(u"%1"_s, table).replace(u"%2"_s, QString::number(type))});
    }
    return parts;
}

RecordCheck referenceCheck(
    Check check, const QString& table, const QString& name, const QString& column,
    const QString& target)
{
    return sqlCheck(std::move(check), {{table, brokenReferences(table, name, column, target)}});
}

RecordCheck companionCheck(Check check, const QString& table)
{
    const QString select =
        u"SELECT id, clientPath, 'parentFileId ' || coalesce(parentFileId, 'NULL') FROM %1 AS f"
        u" WHERE %2"_s;
    return sqlCheck(std::move(check), {{table, select.arg(table, sql::CompanionLost)}});
}

std::vector<RecordCheck> idChecks()
{
    const QString highest = QString::number(HighestId);
    std::vector<Part> ids;
    for (const TableShape& table : tableShapes()) {
        const QString name = QString::fromLatin1(table.name);
        ids.push_back(
            {name, u"SELECT id, '', '' FROM %1 WHERE id < 1 OR id > %2"_s.arg(name, highest)});
    }
    return {
        sqlCheck(
            {u"record.id-out-of-range"_s, Severity::Error,
             u"records whose id is not from 1 to %1"_s.arg(highest),
             u"No client and no command can show, change or remove them."_s,
             u"Export the database with 'velmioctl export', give them other ids in the text or "
             u"take them out, and import it with 'velmioctl import FILE --replace'."_s},
            std::move(ids)),
        sqlCheck(
            {u"record.ids-used-up"_s, Severity::Error,
             u"tables whose last assigned id leaves no other"_s,
             u"The next record that is added gets an id that nothing can show, or cannot be "
             u"stored."_s,
             u"Remove or change the records with the highest ids."_s},
            {{u"sqlite_sequence"_s, u"SELECT rowid, name, 'seq ' || seq FROM sqlite_sequence"
                                    u" WHERE seq >= "_s +
                                        highest}}),
    };
}

std::vector<RecordCheck> signInChecks()
{
    const QString user = u"coalesce(userName, '') || ' on ' || coalesce(domain, '')"_s;
    return {
        referenceCheck(
            {u"signin.server-missing"_s, Severity::Error, u"sign-ins whose server does not exist"_s,
             u"The client finds no server for them, nor for the folders that use them."_s,
             u"Name a server that 'velmioctl server list' shows: 'velmioctl signin set {id} "
             u"--server ID'."_s},
            SignInTable, user, u"serverId"_s, ServerTable),
        referenceCheck(
            {u"product.server-missing"_s, Severity::Warning,
             u"products whose server does not exist"_s,
             u"Without a server the client cannot use them."_s,
             u"Name a server that 'velmioctl server list' shows: 'velmioctl product set {id} "
             u"--server ID'."_s},
            ProductTable, u"name"_s, u"serverId"_s, ServerTable),
    };
}

std::vector<RecordCheck> folderReferenceChecks()
{
    return {
        referenceCheck(
            {u"folder.signin-missing"_s, Severity::Error, u"folders whose sign-in does not exist"_s,
             u"Without a sign-in they are not synchronised."_s,
             u"Name a sign-in that 'velmioctl signin list' shows: 'velmioctl folder set {id} "
             u"--signin ID'."_s},
            FolderTable, u"clientPath"_s, u"authenticationId"_s, SignInTable),
        referenceCheck(
            {u"folder.product-missing"_s, Severity::Warning,
             u"folders whose product does not exist"_s,
             u"The client has no product to name to their server."_s,
             u"To set another product: 'velmioctl folder set {id} --product ID'."_s},
            FolderTable, u"clientPath"_s, u"productConfigurationId"_s, ProductTable),
        sqlCheck(
            {u"folder.parent-missing"_s, Severity::Error, u"folders whose parent does not exist"_s,
             u"Listings and removals that start at a root reach neither them nor what is below "
             u"them."_s,
             u"Remove their records with 'velmioctl folder clean {id}', and register what is on "
             u"the disk with 'velmioctl scan'."_s},
            {{FolderTable, u"SELECT id, clientPath, 'parentId ' || coalesce(parentId, 'NULL')"
                           u" FROM FolderConfiguration AS f WHERE "_s +
                               sql::ParentMissing}}),
        sqlCheck(
            {u"folder.circular"_s, Severity::Error, u"folders that lie below themselves"_s,
             u"Listings that start at a root do not reach them, and removing one of them would "
             u"not end."_s,
             u"Remove their records one by one with 'velmioctl folder remove {id}', and register "
             u"what is on the disk with 'velmioctl scan'."_s},
            {{FolderTable, u"SELECT id, clientPath, 'parentId ' || parentId"
                           u" FROM FolderConfiguration AS f WHERE "_s +
                               sql::Circular}}),
    };
}

std::vector<RecordCheck> folderTreeChecks()
{
    return {
        sqlCheck(
            {u"root.not-itself"_s, Severity::Error,
             u"root folders whose rootId is not their own id"_s,
             u"Their folders and files are searched under another root, and remain when the root "
             u"is removed."_s,
             u"If the path of the folder is below another root, remove its records with "
             u"'velmioctl folder clean {id}', and register it again with 'velmioctl scan'."_s},
            {{FolderTable, u"SELECT id, clientPath, 'rootId ' || coalesce(rootId, 'NULL')"
                           u" FROM FolderConfiguration AS f WHERE "_s +
                               sql::RootMisnamed}}),
        sqlCheck(
            {u"folder.root-differs"_s, Severity::Error,
             u"folders whose rootId is not the root that they are below"_s,
             u"Listings by root show them in the wrong tree, and removing either root loses or "
             u"leaves them."_s,
             u"If the path of the folder is below another root, its parent is wrong: remove "
             u"its records with 'velmioctl folder clean {id}', and register it again with "
             u"'velmioctl scan'."_s},
            {{FolderTable, sql::Tree +
                               u" SELECT f.id, f.clientPath,"
                               u" 'rootId ' || coalesce(f.rootId, 'NULL') || ', not ' || tree.root"
                               u" FROM tree JOIN FolderConfiguration AS f ON f.id = tree.id"
                               u" WHERE f.parentId <> 0 AND f.rootId IS NOT tree.root"_s}}),
        sqlCheck(
            {u"folder.root-missing"_s, Severity::Error,
             u"folders that are below no root, and whose rootId names none"_s,
             u"Nothing synchronises them, and no command for a root reaches them."_s,
             u"Remove their records with 'velmioctl folder clean {id}'; 'velmioctl folder list "
             u"--orphans' shows them."_s},
            {{FolderTable,
              sql::Tree + u" SELECT id, clientPath, 'rootId ' || coalesce(rootId, 'NULL')"
                          u" FROM FolderConfiguration AS f WHERE id NOT IN (SELECT id FROM tree)"
                          u" AND NOT EXISTS (SELECT 1 FROM FolderConfiguration AS root"
                          u" WHERE root.id = f.rootId AND root.parentId = 0)"_s}}),
        sqlCheck(
            {u"folder.duplicate-path"_s, Severity::Error,
             u"folders with the path of another one of the same parent"_s,
             u"A search by path finds either of them, so each has a part of the files."_s,
             u"Compare them with 'velmioctl folder show {id}', and remove the one that is not "
             u"needed with 'velmioctl folder clean {id}'."_s},
            {{FolderTable,
              u"SELECT f.id, f.clientPath, 'as well as ' || min(first.id) FROM "_s +
                  sql::pathsTwiceIn(FolderTable) +
                  u" JOIN FolderConfiguration AS f ON f.clientPath = twice.clientPath"
                  u" JOIN FolderConfiguration AS first ON first.clientPath = f.clientPath"
                  u" AND first.parentId = f.parentId AND first.id < f.id"
                  u" WHERE f.parentId <> 0 GROUP BY f.id"_s}}),
    };
}

std::vector<RecordCheck> fileReferenceChecks()
{
    return {
        sqlCheck(
            {u"file.folder-missing"_s, Severity::Error,
             u"records of files whose folder does not exist"_s,
             u"No listing by folder shows them, and the client finds no server for them."_s,
             u"Remove their records with 'velmioctl file remove {id}' ('velmioctl file list "
             u"--order folder' shows them), and register what is on the disk with 'velmioctl "
             u"scan'."_s},
            inFileTables(brokenReferences(
                u"%1"_s, u"clientPath"_s, u"folderConfigurationId"_s, FolderTable))),
        sqlCheck(
            {u"file.no-folder"_s, Severity::Note, u"files that belong to no folder"_s,
             u"This is allowed, but no listing by folder shows them."_s,
             u"If they are not needed: 'velmioctl file remove {id}'."_s},
            {{FileTable, u"SELECT id, clientPath,"
                         u" 'folderConfigurationId ' || coalesce(folderConfigurationId, 'NULL')"
                         u" FROM FileConfiguration WHERE coalesce(folderConfigurationId, -1)"
                         u" IN (0, -1)"_s}}),
        sqlCheck(
            {u"file.product-missing"_s, Severity::Warning,
             u"records of files whose product does not exist"_s,
             u"The client has no product to name to their server."_s,
             u"To set another product: 'velmioctl file set {id} --product ID'."_s},
            inFileTables(brokenReferences(
                u"%1"_s, u"clientPath"_s, u"productConfigurationId"_s, ProductTable))),
        companionCheck(
            {u"generated.file-missing"_s,
             Severity::Warning,
             u"records of generated files whose file has no record"_s,
             u"Nothing finds or removes them. The files that they name stay on the disk."_s,
             {}},
            fileTables().at(1)),
        companionCheck(
            {u"base.file-missing"_s,
             Severity::Warning,
             u"records of base copies whose file has no record"_s,
             u"Nothing finds or removes them. The files that they name stay on the disk."_s,
             {}},
            fileTables().at(2)),
        sqlCheck(
            {u"schedule.folder-missing"_s, Severity::Warning,
             u"schedules of folders that do not exist"_s, u"They never apply."_s,
             u"Remove them with 'velmioctl schedule remove {id}'."_s},
            {{ScheduleTable,
              u"SELECT id, '', 'folderConfigurationId ' || coalesce(folderConfigurationId, 'NULL')"
              u" FROM Schedules AS schedule WHERE folderConfigurationId IS NOT 0"
              u" AND NOT EXISTS (SELECT 1 FROM FolderConfiguration AS folder"
              u" WHERE folder.id = schedule.folderConfigurationId)"_s}}),
    };
}

std::vector<RecordCheck> fileChecks()
{
    return {
        sqlCheck(
            {u"file.root-differs"_s, Severity::Error,
             u"records of files whose rootFolderId is not the root of their folder"_s,
             u"Removing or counting by root assigns them to another tree, or does not "
             u"reach them."_s,
             u"Repair the folder first: 'velmioctl doctor' shows what is wrong with it."_s},
            inFileTables(
                u"SELECT f.id, f.clientPath, 'rootFolderId ' || coalesce(f.rootFolderId, 'NULL')"
                u" || ', not ' || coalesce(folder.rootId, 'NULL') FROM %1 AS f"
                u" JOIN FolderConfiguration AS folder ON folder.id = f.folderConfigurationId"
                u" WHERE f.rootFolderId IS NOT folder.rootId"_s)),
        sqlCheck(
            {u"file.root-missing"_s, Severity::Warning,
             u"records of files without a folder whose root does not exist"_s,
             u"No removal of a root reaches them."_s,
             u"If they are not needed: 'velmioctl file remove {id}'."_s},
            inFileTables(
                u"SELECT id, clientPath, 'rootFolderId ' || rootFolderId FROM %1 AS f WHERE "_s +
                sql::FileRootMissing)),
        sqlCheck(
            {u"file.wrong-type"_s,
             Severity::Error,
             u"records of files whose type is not that of their table"_s,
             u"The client writes changes to another table, and overwrites the record with the "
             u"same id there."_s,
             {}},
            inFileTables(u"SELECT id, clientPath, 'fileType ' || coalesce(fileType, 'NULL') FROM %1"
                         u" WHERE coalesce(fileType, 0) <> %2"_s)),
        sqlCheck(
            {u"file.duplicate-path"_s, Severity::Error,
             u"files with the path of another one in the same folder"_s,
             u"A search by path finds either of them: changes go to one and are read from "
             u"the other."_s,
             u"Compare them with 'velmioctl file show {id}', and remove the one that is not needed "
             u"with 'velmioctl file remove {id}'."_s},
            {{FileTable,
              u"SELECT f.id, f.clientPath, 'as well as ' || min(first.id) FROM "_s +
                  sql::pathsTwiceIn(FileTable) +
                  u" JOIN FileConfiguration AS f ON f.clientPath = twice.clientPath"
                  u" JOIN FileConfiguration AS first ON first.clientPath = f.clientPath"
                  u" AND first.folderConfigurationId = f.folderConfigurationId AND first.id < f.id"
                  u" GROUP BY f.id"_s}}),
    };
}

} // namespace

const QStringList& fileTables()
{
    static const QStringList tables{
        u"FileConfiguration"_s, u"GeneratedFileConfiguration"_s, u"BaseFileConfiguration"_s};
    return tables;
}

const std::vector<RecordCheck>& recordChecks()
{
    static const std::vector<RecordCheck> all = [] {
        std::vector<RecordCheck> checks;
        for (auto* const some :
             {idChecks, xmlChecks, signInChecks, folderReferenceChecks, folderTreeChecks,
              fileReferenceChecks, fileChecks, pathChecks}) {
            for (RecordCheck& check : some())
                checks.push_back(std::move(check));
        }
        return checks;
    }();
    return all;
}

} // namespace velmioctl::doctor
