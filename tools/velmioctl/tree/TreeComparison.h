#pragma once

#include <config/FolderConfiguration.h>
#include <velmioctl/tree/DirectoryWalk.h>
#include <velmioctl/tree/FileState.h>

#include <QHash>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace velmioctl {

class WatchedDatabase;

/// What the database knows of a file; times are milliseconds since 1970.
struct KnownFile
{
    int id = -1;
    QString clientPath;
    qint64 size = 0;
    std::optional<qint64> createdMs;
    std::optional<qint64> modifiedMs;
    QString checkSum;

    /// True when size and times are those of the file on the disk. Times agree to the millisecond;
    /// one that was stored in whole seconds may be off by less than two of them.
    bool matches(const FileState& state) const;
};

/// Hears what a comparison finds.
class ComparisonHandler
{
public:
    /// A folder on the disk or, when missing, of the database alone.
    struct Folder
    {
        QString path;
        int id = -1; ///< -1 for a folder that has no record.
    };

    virtual ~ComparisonHandler() = default;

    /// Comes before all that concerns the folder's files.
    virtual void folderFound(const Folder& folder) = 0;
    virtual void folderMissing(const Folder& folder) = 0;
    virtual void fileFound(const QString& path, const FileState& state) = 0;
    virtual void fileFound(const QString& path, const FileState& state, const KnownFile& known) = 0;
    virtual void fileMissing(const KnownFile& known) = 0;

    /// A link, pipe, socket or device.
    virtual void entrySkipped(const QString& path) = 0;
    virtual void fileInaccessible(const QString& path, int error) = 0;
    virtual void problem(const DirectoryWalk::Problem& problem) = 0;
};

/// What to tell a person of a place that cannot be compared.
QString describe(const DirectoryWalk::Problem& problem);
QString describeInaccessible(const QString& path, int error);

/// Compares a root folder's tree on the disk with the records, one folder after the other, so that
/// memory is needed for the files of one folder only. Writes nothing.
///
/// The database's own files and its backups are passed over. What lies in a place that cannot be
/// read is never missing.
class TreeComparison
{
public:
    TreeComparison(
        WatchedDatabase& database, ComparisonHandler& handler, std::function<bool()> stopRequested);

    /// False when it was stopped. Throws CommandError when the database fails.
    bool run(const sync::config::FolderConfiguration& root);

private:
    using Folder = ComparisonHandler::Folder;

    /// Names a directory whatever its path; without an inode it names none.
    struct DirectoryIdentity
    {
        quint64 device = 0;
        quint64 inode = 0;

        bool operator==(const DirectoryIdentity&) const = default;
    };

    static DirectoryIdentity identityOf(const QString& path);
    static DirectoryIdentity identityOf(int descriptor);

    int idOf(const QString& path);
    bool compareFiles(const Folder& folder, const DirectoryWalk::Folder& found);
    void compareEntry(
        const DirectoryWalk::Folder& found, const DirectoryWalk::Entry& entry, bool besideDatabase);
    void compareSubfolders(const Folder& folder, const DirectoryWalk::Folder& found);
    void reportMissingTree(const Folder& top);
    void readKnownFiles(int folderId);
    std::vector<Folder> readSubfolders(int folderId);

    WatchedDatabase& database;
    ComparisonHandler& handler;
    const std::function<bool()> stopRequested;
    // Subfolders that are still to be visited: path -> id
    QHash<QString, int> ids;
    // Of the folder that is being compared: path -> where it stands in `known`
    QHash<QString, size_t> positions;
    std::vector<KnownFile> known;
    std::vector<bool> seen;
    // The folder of the database, the start of the names of its files in there, and the one of
    // its backups.
    DirectoryIdentity ownFolder;
    std::string ownName;
    DirectoryIdentity backupFolder;
};

} // namespace velmioctl
