#include <velmioctl/store/Session.h>

#include <base/FileError.h>
#include <base/system/Files.h>
#include <base/system/Process.h>
#include <base/system/Terminal.h>
#include <config/AuthenticationConfigManager.h>
#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/PasswordKeys.h>
#include <config/ProductConfigManager.h>
#include <config/ScheduleEntryManager.h>
#include <config/ServerConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/FleetStore.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <iostream>

using namespace Qt::StringLiterals;
using namespace sync::config;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;

namespace velmioctl {

namespace {

// A file with a longer path cannot exist, so its record would be of no use.
void requirePossible(const QString& path)
{
    const sync::base::PathLimits limits = sync::base::pathLimits();
    bool possible = sync::base::lengthOf(path) <= limits.path;
    for (const QString& name : path.split(u'/'))
        possible = possible && sync::base::lengthOf(name) <= limits.name;
    if (possible)
        return;
    constexpr int ShownColumns = 60;
    throw CommandError(
        ExitCode::Usage,
        u"The path %1 is too long for this system: it may have %2 %3, and each name in it %4. "
        u"Give a shorter one."_s.arg(
            quoted(cutToWidth(path, ShownColumns, u"..."_s)), QString::number(limits.path),
            limits.unit, QString::number(limits.name)));
}

QString remedyForLost(const QString& path, const QString& remedyWithoutBackup)
{
    const auto backups = DatabaseBackups(path).list();
    if (backups.isEmpty())
        return remedyWithoutBackup;
    return u" Put the newest backup, %1, there with 'velmioctl recover --from-backup', or choose "
           u"another file with --database."_s.arg(quoted(backups.constFirst().path));
}

} // namespace

Session::Session(Output output)
    : output(output)
{
}

Session::~Session() = default;

std::string Session::givenDatabase() const
{
    return databaseOption ? *databaseOption
                          : sync::base::environmentVariable("VELMIO_DATABASE").toStdString();
}

bool Session::isFleet() const
{
    const std::string given = givenDatabase();
    return given.starts_with("postgresql://") || given.starts_with("postgres://");
}

QString Session::fleetPlace() const
{
    return checkedFleetPlace(QString::fromStdString(givenDatabase()));
}

QString Session::fleetStore() const
{
    if (storeOption)
        return QString::fromStdString(*storeOption);
    throw CommandError(
        ExitCode::Usage, u"The database is a fleet of many stores. Name one with --store; "
                         u"'velmioctl fleet list' shows their ids."_s);
}

void Session::requireFile() const
{
    if (isFleet()) {
        throw CommandError(
            ExitCode::Usage, u"This command needs a database file, and the database is a fleet. "
                             u"Run it on the machine of the store."_s);
    }
}

QString Session::databasePath() const
{
    requireFile();
    if (storeOption) {
        throw CommandError(
            ExitCode::Usage, u"--store names a store of a fleet, and the database is a file. Name "
                             u"the fleet with --database postgresql://HOST/NAME."_s);
    }
    const std::string given = givenDatabase();
    // An option without a value is a mistake, and an empty variable is not.
    return given.empty() && !databaseOption ? SqliteDatabaseFactory::defaultPath()
                                            : absolutePath(given);
}

QString Session::existingDatabasePath() const
{
    QString path = databasePath();
    if (sync::base::mayAccess(path, sync::base::Existence))
        return path;
    if (errno != ENOENT && errno != ENOTDIR) {
        throw CommandError(
            ExitCode::OtherError,
            u"The database %1 is not accessible: %2. Give yourself the right to enter the folders "
            u"of its path, or choose another file with --database."_s.arg(
                quoted(path), sync::base::systemErrorText(errno)));
    }
    if (const QString target = QFileInfo(path).symLinkTarget(); !target.isEmpty()) {
        throw CommandError(
            ExitCode::NotFound,
            u"The database %1 is a link to %2, which does not exist. Connect the drive of its "
            u"target, or remove the link."_s.arg(quoted(path), quoted(target)));
    }
    throw CommandError(
        ExitCode::NotFound, u"The database %1 does not exist."_s.arg(quoted(path)) +
                                remedyForLost(
                                    path, u" Create it with 'velmioctl init', or choose another "
                                          u"file with --database."_s));
}

QString Session::filledDatabasePath() const
{
    QString path = existingDatabasePath();
    const QFileInfo file(path);
    if (!file.isFile() || file.size() > 0)
        return path;
    throw CommandError(
        ExitCode::Damaged,
        u"The file %1 is empty."_s.arg(quoted(path)) +
            remedyForLost(
                path,
                u" If it was your database, 'velmioctl restore FILE' puts a backup from "
                u"another place there. If it never was one, 'velmioctl init' creates one."_s));
}

WatchedDatabase& Session::database()
{
    if (!openDatabase) {
        if (isFleet())
            openDatabase = openFleetStore(fleetPlace(), fleetStore());
        else
            open();
        keptConnection = openDatabase->CreateQuery();
    }
    return *openDatabase;
}

WatchedDatabase& Session::writableDatabase()
{
    requireWriting();
    if (isFleet()) {
        throw CommandError(
            ExitCode::Usage, u"Nothing was changed: a store of a fleet is a copy, and 'velmioctl "
                             u"fleet push' would undo the change. Run the command on the machine "
                             u"of the store."_s);
    }
    if (!openDatabase)
        filledDatabasePath();
    return createDatabase();
}

WatchedDatabase& Session::createDatabase()
{
    requireWriting();
    // The managers keep the database that they were created with.
    Q_ASSERT(!openDatabase || opensForWriting);
    if (!openDatabase) {
        opensForWriting = true;
        open();
    }
    return *openDatabase;
}

void Session::requireWriting() const
{
    if (readOnly) {
        throw CommandError(
            ExitCode::Usage,
            u"Nothing was changed, because --read-only was given. Leave it out to change "
            u"something."_s);
    }
}

sync::tree::TreeStore Session::treeStore()
{
    WatchedDatabase& watched = database();
    return {openDatabase, watched.path(), watched.engine().isMoved()};
}

void Session::noteUse(const SqliteDatabaseFactory& database)
{
    if (database.mayBeInUse()) {
        output.note(u"A client may have this database open: what it has not stored yet is not "
                    u"shown."_s);
    }
}

void Session::open()
{
    if (!opensForWriting)
        filledDatabasePath();
    try {
        const auto factory = opensForWriting
                                 ? SqliteDatabaseFactory::openWith(options, databasePath())
                                 : SqliteDatabaseFactory::openReadOnlyWith(options, databasePath());
        for (const QString& warning : factory->warnings())
            output.warning(warning);
        if (factory->isMoved())
            output.note(u"'velmioctl adopt' makes this database your own."_s);
        noteUse(*factory);
        output.detail(u"Opened the database %1 %2."_s.arg(
            quoted(factory->path()), opensForWriting ? u"for changes"_s : u"for reading"_s));
        openDatabase = std::make_shared<WatchedDatabase>(factory);
    } catch (const DatabaseError& error) {
        const CommandError failure = openingError(error);
        // A reader cannot roll back what a program that crashed has left.
        if (!opensForWriting && error.cause() == DatabaseError::Cause::ReadOnly)
            throw CommandError(
                failure.code(), failure.text() + u" 'velmioctl init' does that."_s,
                u"unfinished"_s);
        throw CommandError(failure);
    }
}

void Session::backUp(DatabaseBackups::Reason reason)
{
    requireWriting();
    try {
        const auto made = DatabaseBackups(databasePath(), options).make(reason);
        output.note(u"Made a backup first: %1"_s.arg(quoted(made.path)));
    } catch (const DatabaseError& error) {
        const CommandError failure = openingError(error);
        throw CommandError(
            failure.code(),
            u"Nothing was changed, because the backup that is made first failed. "_s +
                failure.text(),
            failure.cause());
    }
}

template <class Manager>
Manager& Session::made(std::unique_ptr<Manager>& manager)
{
    database();
    if (!manager)
        manager = std::make_unique<Manager>(openDatabase);
    return *manager;
}

ServerConfigManager& Session::servers()
{
    return made(serverManager);
}

AuthenticationConfigManager& Session::signIns()
{
    return made(signInManager);
}

ProductConfigManager& Session::products()
{
    return made(productManager);
}

FolderConfigManager& Session::folders()
{
    database();
    if (!folderManager)
        folderManager = std::make_shared<FolderConfigManager>(openDatabase, nullptr);
    return *folderManager;
}

ScheduleEntryManager& Session::schedules()
{
    return made(scheduleManager);
}

PasswordKeys& Session::passwordKeys()
{
    return made(keys);
}

ServerConfiguration Session::server(int id)
{
    ServerConfiguration found = servers().GetServerConfigById(id);
    database().check();
    if (found.getId() == -1)
        throw notFound(u"Server %1"_s.arg(id), u"server list"_s, u"servers"_s);
    return found;
}

void Session::requireSignIn(int id)
{
    // The manager would decrypt its password.
    const long long count = database().number(
        u"SELECT count(*) FROM AuthenticationConfiguration WHERE id = :id"_s, {{u":id"_s, id}});
    if (count == 0)
        throw notFound(u"Sign-in %1"_s.arg(id), u"signin list"_s, u"sign-ins"_s);
}

void Session::requireProduct(int id)
{
    const bool missing = products().GetProductConfigurationById(id).getId() == -1;
    database().check();
    if (missing)
        throw notFound(u"Product %1"_s.arg(id), u"product list"_s, u"products"_s);
}

FileConfigManager& Session::files()
{
    folders();
    if (!fileManager) {
        fileManager = std::make_unique<FileConfigManager>(
            openDatabase, std::make_shared<Sha256FileHash>(), nullptr, folderManager);
    }
    return *fileManager;
}

FolderConfiguration Session::folder(const std::string& idOrPath)
{
    bool isId = false;
    const int id = QString::fromStdString(idOrPath).toInt(&isId);
    FolderConfiguration found =
        isId ? folders().GetFolderConfigurationById(id)
             : folders().GetFolderConfigurationByClientPath(absolutePath(idOrPath));
    database().check();
    if (found.getId() != -1)
        return found;

    const QString name = isId ? QString::number(id) : quoted(absolutePath(idOrPath));
    throw notFound(u"Folder "_s + name, u"folder list --all"_s, u"folders"_s);
}

FolderConfiguration Session::rootFolder(const std::string& idOrPath)
{
    FolderConfiguration found = folder(idOrPath);
    if (!found.isRoot()) {
        throw CommandError(
            ExitCode::Usage,
            u"Folder %1 is not a root folder. Give its root, which has id %2."_s.arg(
                quoted(found.getClientPath()), QString::number(found.getRootId())));
    }
    return found;
}

std::vector<Subtree> Session::subtrees(const std::optional<std::string>& chosen)
{
    std::vector<Subtree> trees;
    if (chosen) {
        const FolderConfiguration start = folder(*chosen);
        const FolderConfiguration root =
            start.isRoot() ? start : folder(std::to_string(start.getRootId()));
        if (!start.isRoot() && root.getFolderOption() == TopLevelOnly) {
            throw CommandError(
                ExitCode::Usage,
                u"Only the files directly in the root folder %1 are synchronised, so nothing is "
                u"compared below it. Give that folder."_s.arg(quoted(root.getClientPath())));
        }
        return {{root, start}};
    }
    for (const FolderConfiguration& root : folders().GetFolderConfigurationByParentId(0))
        trees.push_back({root, root});
    database().check();
    if (trees.empty())
        output.note(u"No root folder is registered yet. Add one with 'velmioctl folder add'."_s);
    return trees;
}

void Session::requireTerminal(const QString& question, const QString& option) const
{
    if (sync::base::isTerminal(sync::base::standardInput()) && output.messageTerminal().interactive)
        return;
    throw CommandError(
        ExitCode::Usage,
        question + u" There is no terminal to ask at. Add %1 to agree."_s.arg(option));
}

void Session::confirm(bool agreed, const QString& question, const QString& option)
{
    if (agreed)
        return;
    requireTerminal(question, option);
    output.ask(question + u" [y/N] "_s);
    std::string answer;
    std::getline(std::cin, answer);
    const QString word = QString::fromStdString(answer).trimmed();
    if (word.compare(u"y", Qt::CaseInsensitive) != 0 &&
        word.compare(u"yes", Qt::CaseInsensitive) != 0) {
        throw CommandError(
            ExitCode::Findings,
            u"You did not agree, so the command ended. Answer y, or add %1, to continue."_s.arg(
                option));
    }
}

CommandError notFound(const QString& what, const QString& listCommand, const QString& plural)
{
    return {
        ExitCode::NotFound,
        u"%1 does not exist. Run 'velmioctl %2' to see all %3."_s.arg(what, listCommand, plural)};
}

QString absolutePath(const std::string& argument)
{
    // For Qt it is the current directory; for a script it is a variable that was not set.
    if (argument.empty())
        throw CommandError(
            ExitCode::Usage, u"A path is empty. Give the path of a file or folder."_s);
    QString path = QDir::cleanPath(QDir(QString::fromStdString(argument)).absolutePath());
    requirePossible(path);
    return path;
}

} // namespace velmioctl
