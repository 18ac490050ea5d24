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

/// The record of a file; times are milliseconds since 1970.
struct KnownFile
{
    int id = -1;
    QString clientPath;
    qint64 size = 0;
    std::optional<qint64> createdMs;
    std::optional<qint64> modifiedMs;
    QString checkSum;

    /// True if size and times equal those of the file on the disk. Times must agree to the
    /// millisecond; one that was stored in whole seconds may differ by less than two seconds.
    bool matches(const FileState& state) const;
};

/// Receives what a comparison finds.
class ComparisonHandler
{
public:
    /// A folder on the disk or, if missing, only in the database.
    struct Folder
    {
        QString path;
        int id = -1; ///< -1 for a folder that has no record.
    };

    virtual ~ComparisonHandler() = default;

    /// Called before all calls for the files of the folder.
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

/// The message for a place that cannot be compared.
QString describe(const DirectoryWalk::Problem& problem);
QString describeInaccessible(const QString& path, int error);

/// Compares the tree of a root folder on the disk with the records. It goes folder by folder, so it
/// needs memory for the files of only one folder. Writes nothing.
///
/// Skips the files of the database and its backups. Files in a place that cannot be read are never
/// reported as missing.
class TreeComparison
{
public:
    TreeComparison(
        WatchedDatabase& database, ComparisonHandler& handler, std::function<bool()> stopRequested);

    /// Compares the part of a root from the folder `start` on, which may be the root itself. False
    /// if it was stopped. Throws CommandError when the database fails.
    bool run(
        const sync::config::FolderConfiguration& root,
        const sync::config::FolderConfiguration& start);

private:
    using Folder = ComparisonHandler::Folder;

    int idOf(const QString& path);
    bool compareFiles(const Folder& folder, const DirectoryWalk::Folder& found);
    void compareEntry(
        const DirectoryWalk::Folder& found, const DirectoryWalk::Entry& entry, bool besideDatabase);
    void compareSubfolders(const Folder& folder, DirectoryWalk::Folder& found);
    std::optional<size_t> positionInOtherForm(
        const DirectoryWalk::Folder& found, const std::string& name, const QString& path);
    void reportMissingTree(const Folder& top);
    void readKnownFiles(int folderId);
    std::vector<Folder> readSubfolders(int folderId);

    WatchedDatabase& database;
    ComparisonHandler& handler;
    const std::function<bool()> stopRequested;
    // Subfolders not visited yet: path -> id
    QHash<QString, int> ids;
    // Of the current folder: path -> place in `known`
    QHash<QString, size_t> positions;
    // The same by the composed name, of those that are not ASCII; made when it is needed.
    std::optional<QMultiHash<QString, size_t>> otherForms;
    std::vector<KnownFile> known;
    std::vector<bool> seen;
    // The folder of the database, the name of its file, and the folder of its backups.
    std::optional<sync::base::FileId> ownFolder;
    QString ownName;
    std::optional<sync::base::FileId> backupFolder;
};

} // namespace velmioctl
