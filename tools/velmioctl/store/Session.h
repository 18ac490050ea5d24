#pragma once

#include <config/FolderConfiguration.h>
#include <database/DatabaseBackups.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Output.h>

#include <memory>
#include <optional>
#include <string>

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

/// What the commands of one run share: where the database is, and how to answer.
class Session
{
public:
    explicit Session(Output output);
    ~Session();

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Output output;

    /// As the user wrote it; nothing for the default place.
    std::optional<std::string> databaseOption;

    /// What the program ends with when no error ends it.
    ExitCode exitCode = ExitCode::Ok;

    /// The absolute path of the database file.
    QString databasePath() const;

    /// The same; throws CommandError when nothing is there.
    QString existingDatabasePath() const;

    /// Opens the database on the first call; throws CommandError, also when there is none yet.
    WatchedDatabase& database();

    /// Opens the database, creating it when there is none; throws CommandError.
    WatchedDatabase& createDatabase();

    /// Makes a backup before a command changes much, and tells where. Throws CommandError when that
    /// fails, so that nothing is changed without one.
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

    /// The folder that an argument names by its id or by its path; throws CommandError.
    sync::config::FolderConfiguration folder(const std::string& idOrPath);

    /// The same, but only a root folder will do.
    sync::config::FolderConfiguration rootFolder(const std::string& idOrPath);

    /// The one root folder that was chosen, or all of them, with a note when there is none.
    QVector<sync::config::FolderConfiguration> rootFolders(
        const std::optional<std::string>& chosen);

    /// Returns when the user agrees to something that cannot be undone: by `yes`, or at a prompt on
    /// a terminal. Throws CommandError otherwise.
    void confirm(bool yes, const QString& question);

private:
    // Makes a manager over the database on the first call.
    template <class Manager>
    Manager& made(std::unique_ptr<Manager>& manager);

    std::shared_ptr<WatchedDatabase> openDatabase;
    std::unique_ptr<sync::config::ServerConfigManager> serverManager;
    // Shared with the manager of files.
    std::shared_ptr<sync::config::FolderConfigManager> folderManager;
    std::unique_ptr<sync::config::FileConfigManager> fileManager;
    std::unique_ptr<sync::config::AuthenticationConfigManager> signInManager;
    std::unique_ptr<sync::config::ProductConfigManager> productManager;
    std::unique_ptr<sync::config::ScheduleEntryManager> scheduleManager;
    std::unique_ptr<sync::config::PasswordKeys> keys;
};

/// An argument that names a file or folder, as an absolute path without "..", ".", or doubled "/".
QString absolutePath(const std::string& argument);

/// "Server 7 does not exist. Run 'velmioctl server list' to see all servers."
CommandError notFound(const QString& what, const QString& listCommand, const QString& plural);

} // namespace velmioctl
