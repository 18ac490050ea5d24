#pragma once

#include <config/AuthenticationConfiguration.h>
#include <config/FileConfiguration.h>
#include <config/FileLink.h>
#include <config/FolderConfiguration.h>
#include <config/ProductConfiguration.h>
#include <config/ScheduleEntry.h>
#include <config/ServerConfiguration.h>

#include <array>
#include <map>

namespace sync::test {

/// The rows of a table by id, each as it would be read.
template <class Record>
using Rows = std::map<int, Record>;

/// What a store should hold, in plain memory: each operation does with loops and maps what the
/// manager's operation of the same name does with statements.
///
/// The id within a record is not updated: the key of its row is its id. A copy is a snapshot.
class StoreModel
{
public:
    Rows<config::ServerConfiguration> servers;
    Rows<config::ProductConfiguration> products;
    Rows<config::AuthenticationConfiguration> signIns;
    Rows<config::FolderConfiguration> folders;
    std::array<Rows<config::FileConfiguration>, 3> files; // by file type
    Rows<config::ScheduleEntry> schedules;

    StoreModel();

    int addServer(config::ServerConfiguration server);
    void updateServer(int id, const config::ServerConfiguration& server);

    int addProduct(config::ProductConfiguration product);
    void updateProduct(int id, config::ProductConfiguration product);

    int addSignIn(const config::AuthenticationConfiguration& signIn);
    void updateSignIn(const config::AuthenticationConfiguration& signIn);
    int updatePassword(const QString& domain, const QString& userName, const QString& password);

    /// -1 if it is refused.
    int addFolder(config::FolderConfiguration folder);
    void updateFolder(int id, const config::FolderConfiguration& folder);
    /// The id of the folder, new or not; -1 if there is none.
    int addFolderAndParent(
        const QString& path, int rootId, const config::FolderConfiguration& root);
    void cleanFolder(int id);
    void cleanRootFolder(int id);

    /// The result of Add(), with the record as the caller then has it.
    bool addFile(config::FileConfiguration& file);
    bool updateFile(config::FileConfiguration file);
    void removeFileAndLinked(int id);
    void removeFilesOfFolder(int folderId);
    void removeFilesOfRoot(int rootId);
    void removeGeneratedOfRoot(int rootId);
    void removeGeneratedOfRootAndStatus(int rootId, config::FileSynchronizationStatus status);
    void resetSyncing(int folderId);

    int addSchedule(const config::ScheduleEntry& schedule);
    void updateSchedule(int id, const config::ScheduleEntry& schedule);

    /// The first folder of a path, -1 without one.
    int folderOfPath(const QString& path) const;
    /// The first ordinary file of a path, -1 without one.
    int fileOfPath(const QString& path) const;
    /// The ordinary file that a link leads to, -1 without one.
    int fileOfLink(const config::FileLink& link, const QString& basePath) const;

private:
    void addFileLinks(config::FileConfiguration& file);
    int registerLinkedFile(
        const config::FileLink& link, const config::FileConfiguration& file,
        const QString& absolutePath);

    // The next ids; none is used twice.
    int nextServer = 1;
    int nextProduct = 1;
    int nextSignIn = 1;
    int nextFolder = 1;
    std::array<int, 3> nextFile{1, 1, 1};
    int nextSchedule = 1;
};

} // namespace sync::test
