#include <velmioctl/records/Commands.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <core/PathHelpers.h>
#include <tree/FileState.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/records/FieldOptions.h>
#include <velmioctl/records/FileListing.h>
#include <velmioctl/store/Names.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/References.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FileConfigurationType;
using sync::config::FolderConfiguration;
using sync::tree::FileHash;
using sync::tree::readFileState;

namespace velmioctl {

namespace {

struct FileOptions
{
    std::string file;
    std::string type = "ordinary";
    FieldOptions fields{"FileConfiguration"};
    FileListOptions list;
    bool missingOk = false;
    bool yes = false;
};

QString described(const FileConfiguration& file)
{
    return u"%1 (id %2)"_s.arg(quoted(file.getClientPath()), QString::number(file.getId()));
}

FileConfiguration findByPath(Session& session, const QString& path, FileConfigurationType type)
{
    switch (type) {
    case sync::config::GeneratedFile:
        return session.files().GetGeneratedFileConfigurationByClientPath(path);
    case sync::config::BaseFile:
        throw CommandError(
            ExitCode::Usage,
            u"A base copy must be given by its id. 'velmioctl file base' shows it."_s);
    default:
        return session.files().GetFileConfigurationByClientPath(path);
    }
}

CommandError fileNotFound(const QString& name)
{
    return notFound(u"File "_s + name, u"file list"_s, u"files"_s);
}

// The file that an argument names by its id or its path.
FileConfiguration chosenFile(Session& session, const FileOptions& options)
{
    const FileConfigurationType type = fileTypeFrom(options.type);
    bool isId = false;
    const int id = QString::fromStdString(options.file).toInt(&isId);
    FileConfiguration file =
        isId ? readFile(session, id, type) : findByPath(session, absolutePath(options.file), type);
    session.database().check();
    if (file.getId() != -1)
        return file;
    throw fileNotFound(isId ? QString::number(id) : quoted(absolutePath(options.file)));
}

void setDiskState(FileConfiguration& file, const FileOptions& options)
{
    const QString path = file.getClientPath();
    const auto state = readFileState(path);
    if (!state && options.missingOk)
        return;
    if (!state || !state->regular) {
        throw CommandError(
            ExitCode::NotFound,
            u"The file %1 does not exist. Create it, or add --missing-ok."_s.arg(quoted(path)));
    }
    const FileHash hash = hashFile(path, *state);
    if (hash.outcome != FileHash::Outcome::Done) {
        throw CommandError(
            ExitCode::OtherError,
            u"The file %1 cannot be read, or changed while it was read. Check its permissions, and "
            u"try again."_s.arg(quoted(path)));
    }
    file.setSize(state->size);
    file.setCreatedDateTime(QDateTime::fromMSecsSinceEpoch(state->createdMs, Qt::UTC));
    file.setLastModifiedDateTime(QDateTime::fromMSecsSinceEpoch(state->modifiedMs, Qt::UTC));
    file.setCheckSum(hash.checkSum);
}

void setFields(FileConfiguration& file, const FileOptions& options)
{
    options.fields.apply(&file);
    file.setNameValueProperties(options.fields.properties(file.getNameValueProperties()));
    // The properties are storable, so it is the links.
    if (!file.isStorable()) {
        throw CommandError(
            ExitCode::Usage,
            u"Nothing was changed, because a stored link of the file cannot be stored again: one "
            u"of its texts has a control character. 'velmioctl file links' shows them."_s);
    }
}

// A generated file or base copy belongs to the folder of its parent.
void setPlace(Session& session, FileConfiguration& file, const FileOptions& options)
{
    if (file.getFileType() != sync::config::OrdinaryFile) {
        const QVariant parentId = options.fields.value("parentFileId");
        if (!parentId.isValid())
            throw CommandError(
                ExitCode::Usage,
                u"A generated file or base copy belongs to a file. Give its id with --parent."_s);
        const FileConfiguration parent =
            readFile(session, parentId.toInt(), sync::config::OrdinaryFile);
        if (parent.getId() == -1)
            throw fileNotFound(parentId.toString());
        file.setFolderConfigurationId(parent.getFolderConfigurationId());
        file.setRootFolderId(parent.getRootFolderId());
        file.setProductConfigurationId(parent.getProductConfigurationId());
        return;
    }
    const QString path = file.getClientPath();
    const FolderConfiguration folder = session.folder(QFileInfo(path).absolutePath().toStdString());
    const FolderConfiguration root = session.folder(std::to_string(folder.getRootId()));
    file.setFolderConfigurationId(folder.getId());
    file.setRootFolderId(root.getId());
    file.setProductConfigurationId(root.getProductConfigurationId());
    file.setServerPath(sync::core::GetServerPath(path, root.getClientPath(), root.getServerPath()));
}

void add(Session& session, const FileOptions& options)
{
    session.writableDatabase();
    FileConfiguration file;
    file.setFileType(fileTypeFrom(options.type));
    file.setClientPath(absolutePath(options.file));
    file.setName(QFileInfo(file.getClientPath()).fileName());
    setPlace(session, file, options);
    setDiskState(file, options);
    setFields(file, options);
    session.database().check(session.files().Add(file), u"Storing the file"_s);
    print(session.output, readFile(session, file.getId(), file.getFileType()));
}

void set(Session& session, const FileOptions& options)
{
    session.writableDatabase();
    FileConfiguration file = chosenFile(session, options);
    setFields(file, options);
    session.database().check(session.files().Update(file), u"Storing the file"_s);
    print(session.output, readFile(session, file.getId(), file.getFileType()));
}

void remove(Session& session, const FileOptions& options)
{
    session.writableDatabase();
    const FileConfiguration file = chosenFile(session, options);
    const bool ordinary = file.getFileType() == sync::config::OrdinaryFile;
    const QStringList deleted = ordinary ? filesDeletedWith(session, file.getId()) : QStringList();
    QString question =
        u"Remove the record of %1? The file itself stays on the disk"_s.arg(described(file));
    for (const QString& path : deleted)
        question += (path == deleted.first() ? u", but these files are deleted: "_s : u", "_s) +
                    quoted(path);
    session.confirm(options.yes, question + u'.');

    auto& files = session.files();
    Transaction transaction(session.database());
    const bool removed = ordinary
                             ? files.RemoveFileConfigurationAndLinkedConfigurations(file.getId())
                         : file.getFileType() == sync::config::BaseFile
                             ? files.RemoveBaseFileConfiguration(file.getId())
                             : files.RemoveGeneratedFileConfiguration(file.getId());
    session.database().check(removed, u"Removing the file"_s);
    transaction.commit();

    if (session.output.json()) {
        session.output.print(QJsonObject{
            {u"id"_s, file.getId()},
            {u"clientPath"_s, file.getClientPath()},
            {u"deleted"_s, QJsonArray::fromStringList(deleted)},
        });
        return;
    }
    session.output.printText(u"Removed the record of %1."_s.arg(described(file)));
    for (const QString& path : deleted)
        session.output.printText(u"Deleted %1."_s.arg(quoted(path)));
}

void showLinks(Session& session, const FileOptions& options)
{
    const FileConfiguration file = chosenFile(session, options);
    Table table({u"FILE"_s, u"SERVER FILE"_s, u"REFERENCE"_s, u"PATH"_s});
    table.alignRight(0);
    QJsonArray array;
    for (const sync::config::FileLink& link : file.getFileLinks()) {
        table.addRow({QString::number(link.FileId), link.ServerFileId, link.RefId, link.Path});
        array.append(QJsonObject{
            {u"fileId"_s, link.FileId},
            {u"path"_s, link.Path},
            {u"refId"_s, link.RefId},
            {u"serverFileId"_s, link.ServerFileId},
        });
    }
    session.output.printList(array, table, u"The file has no links."_s);
}

void showGenerated(Session& session, const FileOptions& options)
{
    const FileConfiguration file = chosenFile(session, options);
    const auto generated =
        session.files().GetGeneratedFileConfigurationsByParentFileId(file.getId());
    session.database().check();
    printFiles(session, generated, u"No files were generated from %1."_s.arg(described(file)));
}

void showBase(Session& session, const FileOptions& options)
{
    const FileConfiguration file = chosenFile(session, options);
    const auto base = session.files().GetBaseFileConfigurationByParentFileId(file.getId());
    session.database().check();
    if (base.getId() == -1)
        throw CommandError(
            ExitCode::NotFound, u"The file %1 has no base copy."_s.arg(described(file)));
    print(session.output, base);
}

using Options = std::shared_ptr<FileOptions>;

Command* addCommand(
    Command& file, const Options& options, const std::string& name, const std::string& text)
{
    auto* const command = file.addSubcommand(name, text);
    command->addOption("FILE", options->file, "Id or path")->required()->offersFiles();
    return command;
}

void addType(Command& command, std::string& type)
{
    command.addOption("--type", type, "ordinary (without the option), generated, or base")
        ->typeName("TYPE")
        ->offersWords(fileTypeWords());
}

void addChangingCommands(Command& file, Session& session, const Options& options)
{
    auto* const addFile = file.addSubcommand("add", "Register a file of a registered folder");
    addFile->addOption("PATH", options->file, "The file")->required()->offersFiles();
    addType(*addFile, options->type);
    options->fields.addTo(*addFile, FieldOptions::Purpose::Add);
    addFile->addFlag("--missing-ok", options->missingOk, "The file may be missing");
    addFile->example("velmioctl file add Work/Plans/plan.txt");
    addFile->callback([&session, options] { add(session, *options); });

    auto* const setFile = addCommand(file, options, "set", "Change the given fields of a file");
    addType(*setFile, options->type);
    options->fields.addTo(*setFile, FieldOptions::Purpose::Change);
    setFile->example("velmioctl file set Work/Plans/plan.txt --status syncing");
    setFile->callback([&session, options] { set(session, *options); });

    auto* const removeFile = addCommand(
        file, options, "remove",
        "Remove a file's record, and delete its base copy and generated files from the disk");
    addType(*removeFile, options->type);
    removeFile->addFlag("--yes", options->yes, "Remove without asking");
    removeFile->example("velmioctl file remove Work/Plans/plan.txt --yes");
    removeFile->callback([&session, options] { remove(session, *options); });
}

void addListCommand(Command& file, Session& session, const Options& options)
{
    auto* const list = file.addSubcommand("list", "List the files of a folder, a root, or all");
    list->addOption(
            "FOLDER", options->list.folder,
            "Id or path of a folder, or of a root for all files in its tree")
        ->offersFolders();
    addType(*list, options->list.type);
    list->addOption(
            "--order", options->list.order,
            "id, name, folder, client-path, server-path, checksum, created, modified, status, "
            "operation or size; add -desc for descending order")
        ->typeName("ORDER")
        ->offersWords(fileOrderWords());
    list->addOption("--limit", options->list.limit, "Show at most this many files")
        ->typeName("NUMBER")
        ->notNegative();
    list->addOption("--offset", options->list.offset, "How many files to skip first")
        ->typeName("NUMBER")
        ->notNegative();
    list->addOption("--columns", options->list.columns, "The columns of the table, in their order")
        ->repeatable()
        ->separatedBy(',')
        ->typeName("COLUMN,...")
        ->offersWords(fileColumnWords());
    list->addOption("--status", options->list.status, "Only files of this status")
        ->typeName("STATUS")
        ->offersWords(syncStatusWords());
    list->addOption(
            "--modified-since", options->list.modifiedSince,
            "Only files that were modified at this time or later, in UTC")
        ->typeName("TIME");
    list->addOption("--larger-than", options->list.largerThan, "Only files of more bytes")
        ->typeName("BYTES")
        ->notNegative();
    list->addOption(
            "--path", options->list.path,
            "Only files whose client path matches this pattern with *, ? and [...]")
        ->typeName("GLOB");
    list->addFlag(
        "--ndjson", options->list.asLines,
        "Answer with a JSON object on each line, for many files");
    list->example("velmioctl file list Work/Plans --order size-desc --limit 10");
    list->example("velmioctl file list --path \"*.csv\" --columns id,size,checksum");
    list->callback([&session, options] { listFiles(session, options->list); });
}

void addShowingCommands(Command& file, Session& session, const Options& options)
{
    auto* const show = addCommand(file, options, "show", "Show one file");
    addType(*show, options->type);
    show->example("velmioctl file show Work/Plans/plan.txt");
    show->callback([&session, options] { print(session.output, chosenFile(session, *options)); });

    addCommand(file, options, "links", "List the files that a file links to")
        ->example("velmioctl file links Work/Plans/plan.txt")
        ->callback([&session, options] { showLinks(session, *options); });
    addCommand(file, options, "generated", "List the files that were generated from a file")
        ->example("velmioctl file generated Work/Plans/plan.txt")
        ->callback([&session, options] { showGenerated(session, *options); });
    addCommand(file, options, "base", "Show the base copy of a file")
        ->example("velmioctl file base 2")
        ->callback([&session, options] { showBase(session, *options); });
}

} // namespace

void addFileCommands(Command& app, Session& session)
{
    Command* const file = app.addSubcommand("file", "The synchronised files");
    file->requireSubcommand();
    const auto options = std::make_shared<FileOptions>();
    addListCommand(*file, session, options);
    addShowingCommands(*file, session, options);
    addChangingCommands(*file, session, options);
}

} // namespace velmioctl
