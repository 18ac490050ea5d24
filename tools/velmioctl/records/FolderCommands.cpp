#include <velmioctl/records/Commands.h>

#include <config/FolderConfigManager.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/records/FieldOptions.h>
#include <velmioctl/records/FolderListing.h>
#include <velmioctl/records/FolderPaths.h>
#include <velmioctl/records/FolderRelocation.h>
#include <velmioctl/store/Names.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/RootFolders.h>

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;
using sync::database::DatabaseBackups;

namespace velmioctl {

namespace {

constexpr int RootParentId = 0;
constexpr int DeepestLevel = 1'000'000;

struct FolderOptions
{
    std::string folder;
    std::string path;
    FieldOptions fields{"FolderConfiguration"};
    FolderListOptions list;
    RelocationOptions relocation;
    std::optional<int> signIn;
    std::optional<std::string> treeStart;
    int depth = -1;
    bool topLevel = false;
    bool missingOk = false;
    bool yes = false;
};

void setFields(FolderConfiguration& folder, const FolderOptions& options, Session& session)
{
    options.fields.apply(&folder);
    folder.setNameValueProperties(options.fields.properties(folder.getNameValueProperties()));
    if (options.fields.value("serverPath").isValid())
        folder.setServerPath(QDir::cleanPath(folder.getServerPath()));
    // A negative id means none.
    if (const QVariant id = options.fields.value("authenticationId");
        id.isValid() && id.toInt() >= 0)
        session.requireSignIn(id.toInt());
    if (const QVariant id = options.fields.value("productConfigurationId");
        id.isValid() && id.toInt() >= 0)
        session.requireProduct(id.toInt());
}

// The root folder whose server path overlaps, of the same sign-in; id -1 without one.
FolderConfiguration overlapOnServer(Session& session, const QString& serverPath, int signIn)
{
    auto& folders = session.folders();
    QString match;
    const bool overlaps =
        folders.AncestorOrDescendantOfServerFolderExists(serverPath, signIn, match);
    session.database().check();
    if (overlaps) {
        for (const FolderConfiguration& root : folders.GetAllRootFolders()) {
            if (root.getAuthenticationId() == signIn && root.getServerPath() == match)
                return root;
        }
    }
    return {};
}

void add(Session& session, const FolderOptions& options)
{
    session.writableDatabase();
    const QString path = absolutePath(options.path);
    if (!options.missingOk || QFileInfo::exists(path))
        requireDirectory(path, u"Create it, or add --missing-ok."_s);

    FolderConfiguration folder;
    folder.setParentId(RootParentId);
    folder.setClientPath(path);
    const QString name = QFileInfo(path).fileName();
    folder.setName(name.isEmpty() ? path : name);
    folder.setFolderOption(
        options.topLevel ? sync::config::TopLevelOnly : sync::config::WithSubfolders);
    setFields(folder, options, session);

    refuseOverlap(session, path);
    const FolderConfiguration other =
        overlapOnServer(session, folder.getServerPath(), folder.getAuthenticationId());
    if (other.getId() != -1) {
        throw CommandError(
            ExitCode::Usage,
            u"The server path %1 overlaps with %2 of the root folder %3. Choose another server "
            u"path, or another sign-in."_s.arg(
                quoted(folder.getServerPath()), quoted(other.getServerPath()), described(other)));
    }

    session.database().check(session.folders().Add(folder), u"Storing the folder"_s);
    print(session.output, session.folder(std::to_string(folder.getId())));
}

void set(Session& session, const FolderOptions& options)
{
    session.writableDatabase();
    FolderConfiguration folder = session.folder(options.folder);
    setFields(folder, options, session);
    session.database().check(session.folders().Update(folder), u"Storing the folder"_s);
    print(session.output, session.folder(std::to_string(folder.getId())));
}

void printRemoved(Session& session, const FolderConfiguration& folder, long long count)
{
    if (session.output.json()) {
        session.output.print(QJsonObject{
            {u"id"_s, folder.getId()},
            {u"clientPath"_s, folder.getClientPath()},
            {u"removedFolders"_s, count},
        });
        return;
    }
    session.output.printText(
        u"Removed %1 and %2 below it."_s.arg(described(folder), counted(count - 1, u"folder"_s)));
}

void remove(Session& session, const FolderOptions& options)
{
    session.writableDatabase();
    const FolderConfiguration folder = session.folder(options.folder);
    const long long children = session.database().number(
        u"SELECT count(*) FROM FolderConfiguration WHERE parentId = :parentId"_s,
        {{u":parentId"_s, folder.getId()}});
    QString question =
        u"Remove only the record of %1? No file on the disk is changed."_s.arg(described(folder));
    if (children > 0) {
        question += u" It is the parent of %1, which would have none. 'velmioctl folder clean' "
                    u"removes what is below it too."_s.arg(counted(children, u"folder"_s));
    }
    session.confirm(options.yes, question);
    session.backUp(DatabaseBackups::Reason::Removal);

    session.database().check(session.folders().Remove(folder.getId()), u"Removing the folder"_s);
    printRemoved(session, folder, 1);
}

long long folderCount(Session& session)
{
    return session.database().number(u"SELECT count(*) FROM FolderConfiguration"_s);
}

void clean(Session& session, const FolderOptions& options)
{
    session.writableDatabase();
    const FolderConfiguration folder = session.folder(options.folder);
    session.confirm(
        options.yes, u"Remove the records of %1, of all folders below it and of their files? "
                     u"No file on the disk is changed."_s.arg(described(folder)));
    session.backUp(DatabaseBackups::Reason::Removal);

    auto& folders = session.folders();
    Transaction transaction(session.database());
    const long long before = folderCount(session);
    const bool cleaned =
        folder.isRoot() ? folders.CleanRootFolder(folder.getId()) : folders.Clean(folder.getId());
    session.database().check(cleaned, u"Removing the folders"_s);
    const long long removed = before - folderCount(session);
    transaction.commit();
    printRemoved(session, folder, removed);
}

// The exit code is an answer too.
void answer(Session& session, bool yes, const QJsonObject& object, const QString& text)
{
    session.exitCode = yes ? ExitCode::Ok : ExitCode::Findings;
    if (session.output.json())
        session.output.print(object);
    else
        session.output.printText(text);
}

QJsonValue jsonOrNull(const FolderConfiguration& folder)
{
    return folder.getId() == -1 ? QJsonValue() : QJsonValue(toJson(folder));
}

void check(Session& session, const FolderOptions& options)
{
    const QString path = absolutePath(options.path);
    const int signIn = options.signIn.value_or(AnySignIn);
    const bool inside = session.folders().IsInExistingClientFolder(path, signIn, options.topLevel);
    session.database().check();

    const FolderConfiguration root =
        inside ? rootsAround(session.folders(), path, signIn).value(0) : FolderConfiguration();
    const QJsonObject object{
        {u"path"_s, path}, {u"inside"_s, inside}, {u"root"_s, jsonOrNull(root)}};
    answer(
        session, inside, object,
        inside ? u"%1 is in the root folder %2."_s.arg(quoted(path), described(root))
               : u"%1 is not in a root folder."_s.arg(quoted(path)));
}

void checkServer(Session& session, const FolderOptions& options)
{
    const QString path = QString::fromStdString(options.path);
    const FolderConfiguration root = overlapOnServer(session, path, *options.signIn);
    const bool overlaps = root.getId() != -1;
    const QJsonObject object{
        {u"path"_s, path}, {u"overlaps"_s, overlaps}, {u"root"_s, jsonOrNull(root)}};
    answer(
        session, overlaps, object,
        overlaps ? u"%1 overlaps with %2 of the root folder %3."_s.arg(
                       quoted(path), quoted(root.getServerPath()), described(root))
                 : u"%1 does not overlap with a root folder of that sign-in."_s.arg(quoted(path)));
}

using Options = std::shared_ptr<FolderOptions>;

void addChangingCommands(Command& folder, Session& session, const Options& options)
{
    auto* const addCommand = folder.addSubcommand("add", "Register a directory as a root folder");
    addCommand->addOption("PATH", options->path, "The directory")->required()->offersFolders();
    // --top-level sets the folder option.
    options->fields.addTo(*addCommand, FieldOptions::Purpose::Add, "folderOption");
    addCommand->addFlag(
        "--top-level", options->topLevel, "Synchronise only the files directly in it");
    addCommand->addFlag("--missing-ok", options->missingOk, "The directory may be missing");
    addCommand->example("velmioctl folder add Work --server-path /Team/Work --signin 1");
    addCommand->callback([&session, options] { add(session, *options); });

    auto* const setCommand = folder.addSubcommand("set", "Change the given fields of a folder");
    setCommand->addOption("FOLDER", options->folder, "Id or path")->required()->offersFolders();
    options->fields.addTo(*setCommand, FieldOptions::Purpose::Change);
    setCommand->example(
        "velmioctl folder set Work/Photos --status out-of-sync --privileges \"view download\"");
    setCommand->callback([&session, options] { set(session, *options); });

    auto* const relocateCommand = folder.addSubcommand(
        "relocate", "Change the paths of a root folder that was moved or is mounted elsewhere");
    options->relocation.addTo(*relocateCommand);
    relocateCommand->callback(
        [&session, options] { relocateFolder(session, options->relocation); });

    auto* const removeCommand = folder.addSubcommand("remove", "Remove the record of one folder");
    removeCommand->addOption("FOLDER", options->folder, "Id or path")->required()->offersFolders();
    removeCommand->addFlag("--yes", options->yes, "Remove without asking");
    removeCommand->example("velmioctl folder remove Work/Photos --yes");
    removeCommand->callback([&session, options] { remove(session, *options); });

    auto* const cleanCommand = folder.addSubcommand(
        "clean", "Remove the records of a folder, of all folders below it and of their files");
    cleanCommand->addOption("FOLDER", options->folder, "Id or path")->required()->offersFolders();
    cleanCommand->addFlag("--yes", options->yes, "Remove without asking");
    cleanCommand->example("velmioctl folder clean Work/Plans --yes");
    cleanCommand->callback([&session, options] { clean(session, *options); });
}

void addShowingCommands(Command& folder, Session& session, const Options& options)
{
    auto* const listCommand = folder.addSubcommand("list", "List the root folders, or others");
    auto* const all = listCommand->addFlag("--all", options->list.all, "All folders");
    auto* const root =
        listCommand->addOption("--root", options->list.root, "All folders of one root")
            ->typeName("ROOT")
            ->offersFolders()
            ->excludes(all);
    listCommand
        ->addFlag("--orphans", options->list.orphans, "The folders whose root does not exist")
        ->excludes(all)
        ->excludes(root);
    listCommand->addOption("--signin", options->list.signIn, "Only those of one sign-in")
        ->offersStored("AuthenticationConfiguration")
        ->typeName("ID");
    listCommand->example("velmioctl folder list --all");
    listCommand->callback([&session, options] { listFolders(session, options->list); });

    auto* const treeCommand = folder.addSubcommand("tree", "Draw the tree of folders");
    treeCommand->addOption("ROOT", options->treeStart, "Id or path of the folder to begin at")
        ->offersFolders();
    treeCommand->addOption("--depth", options->depth, "How many levels below it")
        ->typeName("LEVELS")
        ->range(0, DeepestLevel);
    treeCommand->example("velmioctl folder tree Work --depth 1");
    treeCommand->callback(
        [&session, options] { drawFolderTree(session, options->treeStart, options->depth); });

    auto* const showCommand = folder.addSubcommand("show", "Show one folder");
    showCommand->addOption("FOLDER", options->folder, "Id or path")->required()->offersFolders();
    showCommand->example("velmioctl folder show Work/Plans");
    showCommand->callback(
        [&session, options] { print(session.output, session.folder(options->folder)); });
}

void addCheckingCommands(Command& folder, Session& session, const Options& options)
{
    auto* const checkCommand =
        folder.addSubcommand("check", "Check whether a path is in a root folder");
    checkCommand->addOption("PATH", options->path, "A file or folder, existing or not")->required();
    checkCommand->addOption("--signin", options->signIn, "Only roots of one sign-in")
        ->offersStored("AuthenticationConfiguration")
        ->typeName("ID");
    checkCommand->addFlag(
        "--top-level", options->topLevel,
        "For roots without subfolders, count only the files directly in them");
    checkCommand->example("velmioctl folder check Work/Plans/new.txt");
    checkCommand->callback([&session, options] { check(session, *options); });

    auto* const checkServerCommand = folder.addSubcommand(
        "check-server", "Check whether a server path overlaps with that of a root folder");
    checkServerCommand->addOption("PATH", options->path, "Path on the server")->required();
    checkServerCommand->addOption("--signin", options->signIn, "The sign-in")
        ->offersStored("AuthenticationConfiguration")
        ->typeName("ID")
        ->required();
    checkServerCommand->example("velmioctl folder check-server /Team --signin 1");
    checkServerCommand->callback([&session, options] { checkServer(session, *options); });
}

} // namespace

void addFolderCommands(Command& app, Session& session)
{
    Command* const folder = app.addSubcommand("folder", "The synchronised folders");
    folder->requireSubcommand();
    const auto options = std::make_shared<FolderOptions>();
    addChangingCommands(*folder, session, options);
    addShowingCommands(*folder, session, options);
    addCheckingCommands(*folder, session, options);
}

} // namespace velmioctl
