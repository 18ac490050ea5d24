#pragma once

#include <config/FolderConfiguration.h>
#include <database/DatabaseBackups.h>
#include <database/OpenOptions.h>
#include <tree/TreeStore.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Output.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sync::interf {
class IQSqlQueryWrapper;
} // namespace sync::interf

namespace sync::database {
class SqliteDatabaseFactory;
} // namespace sync::database

namespace sync::config {
class AuthenticationConfigManager;
class FileConfigManager;
class FolderConfigManager;
class PasswordKeys;
class ProductConfigManager;
class ScheduleEntryManager;
class ServerConfigManager;
class ServerConfiguration;
} // namespace sync::config

namespace velmioctl {

class WatchedDatabase;

/// A folder with all below it, and the root folder that it belongs to.
struct Subtree
{
    sync::config::FolderConfiguration root;
    sync::config::FolderConfiguration start;
};

/// What the commands of one run share: the path of the database, and the output.
class Session
{
public:
    explicit Session(Output output);
    ~Session();

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Output output;

    /// As the user wrote it; without a value, VELMIO_DATABASE or the default path.
    std::optional<std::string> databaseOption;

    /// The id of a store, when the database is that of a fleet.
    std::optional<std::string> storeOption;

    /// Refuses commands that change something.
    bool readOnly = false;

    /// With what the database is opened and backed up.
    sync::database::OpenOptions options;

    /// The exit code of the program if no error ends it.
    ExitCode exitCode = ExitCode::Ok;

    /// True if the database is not a file but a fleet of stores on a server.
    bool isFleet() const;

    /// The fleet's database and the store in it; throws CommandError without one.
    QString fleetPlace() const;
    QString fleetStore() const;

    /// Throws CommandError for a fleet: for commands that look at the disk, or need SQLite.
    void requireFile() const;

    /// The absolute path of the database file; throws CommandError for a fleet.
    QString databasePath() const;

    /// The same; throws CommandError if the file does not exist.
    QString existingDatabasePath() const;

    /// The same; throws CommandError also if the file is empty.
    QString filledDatabasePath() const;

    /// Opens the database on the first call, only for reading: nothing of it changes. Throws
    /// CommandError, also if it does not exist.
    WatchedDatabase& database();

    /// The same for a command that changes it. Must come before all that reads it.
    WatchedDatabase& writableDatabase();

    /// Opens the database for changes, or creates it; throws CommandError.
    WatchedDatabase& createDatabase();

    /// The database that is open, for comparisons with the disk.
    sync::tree::TreeStore treeStore();

    /// Says if what a database shows may be older than what a client has in memory.
    void noteUse(const sync::database::SqliteDatabaseFactory& database);

    /// Throws CommandError if the user allows only reading.
    void requireWriting() const;

    /// Makes a backup before a command changes much, and says where it is. Throws CommandError when
    /// that fails, so that nothing is changed without one.
    void backUp(sync::database::DatabaseBackups::Reason reason);

    sync::config::ServerConfigManager& servers();
    sync::config::AuthenticationConfigManager& signIns();
    sync::config::ProductConfigManager& products();
    sync::config::FolderConfigManager& folders();
    sync::config::FileConfigManager& files();
    sync::config::ScheduleEntryManager& schedules();
    sync::config::PasswordKeys& passwordKeys();

    /// The server with an id; throws CommandError, also when it does not exist.
    sync::config::ServerConfiguration server(int id);

    /// Throw CommandError unless a record with that id exists.
    void requireSignIn(int id);
    void requireProduct(int id);

    /// The folder with an id or a path; throws CommandError.
    sync::config::FolderConfiguration folder(const std::string& idOrPath);

    /// The same for a root folder.
    sync::config::FolderConfiguration rootFolder(const std::string& idOrPath);

    /// The tree of the chosen folder or, without one, those of all root folders, with a note if
    /// there are none.
    std::vector<Subtree> subtrees(const std::optional<std::string>& chosen);

    /// Throws CommandError if there is no terminal to ask a question at.
    void requireTerminal(
        const QString& question, const QString& option = QStringLiteral("--yes")) const;

    /// Returns if the user agrees to something that cannot be undone: by an option, or at a prompt
    /// on a terminal. Throws CommandError otherwise.
    void confirm(
        bool agreed, const QString& question, const QString& option = QStringLiteral("--yes"));

private:
    // Makes a manager over the database on the first call.
    template <class Manager>
    Manager& made(std::unique_ptr<Manager>& manager);

    void open();
    std::string givenDatabase() const;

    std::shared_ptr<WatchedDatabase> openDatabase;
    bool opensForWriting = false;
    // Between the queries of a command: otherwise each would open the file again.
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> keptConnection;
    std::unique_ptr<sync::config::ServerConfigManager> serverManager;
    // Shared with the manager of files.
    std::shared_ptr<sync::config::FolderConfigManager> folderManager;
    std::unique_ptr<sync::config::FileConfigManager> fileManager;
    std::unique_ptr<sync::config::AuthenticationConfigManager> signInManager;
    std::unique_ptr<sync::config::ProductConfigManager> productManager;
    std::unique_ptr<sync::config::ScheduleEntryManager> scheduleManager;
    std::unique_ptr<sync::config::PasswordKeys> keys;
};

/// A path from the command line as an absolute path without "..", ".", or doubled "/".
QString absolutePath(const std::string& argument);

/// "Server 7 does not exist. Run 'velmioctl server list' to see all servers."
CommandError notFound(const QString& what, const QString& listCommand, const QString& plural);

} // namespace velmioctl
