#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <tree/FileState.h>
#include <tree/MovePlan.h>
#include <tree/TreeProblem.h>
#include <tree/TreeStore.h>

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace sync::config {
class FolderConfiguration;
} // namespace sync::config

namespace sync::interf {
class ICryptographicHash;
} // namespace sync::interf

namespace sync::tree {

/// True for an absolute path that is left out, with all below it if it is a folder. Its records
/// stay as they are.
using IgnoreRule = std::function<bool(const QString& path, bool isFolder)>;

/// The record of a file; times are milliseconds since 1970, UTC.
struct VELMIO_TREE_EXPORT KnownFile
{
    int id = -1;                      ///< Of the record.
    QString clientPath;               ///< As it is recorded.
    qint64 size = 0;                  ///< In bytes.
    std::optional<qint64> createdMs;  ///< Nothing if no time is recorded.
    std::optional<qint64> modifiedMs; ///< The same.
    QString checkSum;                 ///< Empty if none is recorded.
    /// What identifies it on the disk, as it is stored; nothing if nothing is stored.
    std::optional<DiskIdentity> identity;

    /// True if size and times equal those of the file on the disk. Times must agree to the
    /// millisecond; one that was stored in whole seconds may differ by less than two seconds.
    bool matches(const FileState& state) const;
};

/// Receives what a comparison finds, on the thread that runs it.
class VELMIO_TREE_EXPORT ComparisonHandler
{
public:
    /// A folder on the disk or, if missing, only in the store.
    struct Folder
    {
        QString path; ///< As it is recorded, or as the disk has it.
        int id = -1;  ///< -1 for a folder that has no record.
        /// What identifies it on the disk, unless just that is stored. Not of a root folder.
        std::optional<DiskIdentity> unstoredIdentity = {};
    };

    virtual ~ComparisonHandler();

    /// Records of what is elsewhere in the root now. Called at most once, and before all calls for
    /// any of them. Returns true if the records were changed to agree; otherwise later calls have
    /// the paths on the disk with the ids of these records. By default it only returns false.
    virtual bool moved(const MovePlan& plan);

    /// A folder on the disk. Called before all calls for the files of the folder.
    virtual void folderFound(const Folder& folder) = 0;

    /// A record without a folder; called before all calls for its files, which are missing too.
    virtual void folderMissing(const Folder& folder) = 0;

    /// A file without a record.
    virtual void fileFound(const QString& path, const FileState& state) = 0;

    /// A file with its record; `path` is that of the record.
    virtual void fileFound(const QString& path, const FileState& state, const KnownFile& known) = 0;

    /// A record without a file.
    virtual void fileMissing(const KnownFile& known) = 0;

    /// A link, pipe, socket or device.
    virtual void entrySkipped(const QString& path) = 0;

    /// A place or file that cannot be compared. Nothing in it is reported as missing.
    virtual void problem(const TreeProblem& problem) = 0;
};

/// How a comparison treats records of what is elsewhere.
struct VELMIO_TREE_EXPORT MoveOptions
{
    bool find = true; ///< Otherwise they are missing in one place, and new in another.
    /// Computes the checksums; SHA-256 without it.
    std::shared_ptr<interf::ICryptographicHash> hashes = {};
};

/// Compares the tree of a root folder on the disk with the records. It goes folder by folder, so it
/// needs memory for the files of only one folder. Writes nothing.
///
/// Skips the files of the store and its backups. Used by one thread at a time.
class VELMIO_TREE_EXPORT TreeComparison
{
public:
    /// The handler must outlive the comparison.
    TreeComparison(
        TreeStore store, ComparisonHandler& handler, IgnoreRule ignored = {},
        MoveOptions moves = {});
    ~TreeComparison();
    TreeComparison(const TreeComparison&) = delete;
    TreeComparison& operator=(const TreeComparison&) = delete;

    /// Compares the part of a root from the folder `start` on, which may be the root itself. False
    /// if `stopRequested`, which it asks between two files, returned true. Throws
    /// database::DatabaseError when the store fails.
    bool run(
        const config::FolderConfiguration& root, const config::FolderConfiguration& start,
        const std::function<bool()>& stopRequested);

private:
    class Run;
    const std::unique_ptr<Run> impl;
};

} // namespace sync::tree
