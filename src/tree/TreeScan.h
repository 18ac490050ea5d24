#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <tree/ScanCounts.h>
#include <tree/TreeComparison.h>

#include <QString>

#include <functional>
#include <memory>

namespace sync::interf {
class ICryptographicHash;
} // namespace sync::interf

namespace sync::tree {

/// Receives what a scan finds and does, on the thread that runs it. By default nothing happens.
class VELMIO_TREE_EXPORT ScanObserver
{
public:
    /// Why the record of a file is written.
    enum class Change {
        New,     ///< It has no record.
        Changed, ///< Its content is not the recorded one, or may not be.
        Same,    ///< Its content is the recorded one, but its times or checksum are not.
    };

    virtual ~ScanObserver();

    /// Called for every folder and file on the disk. Records that were written since the last batch
    /// are not counted yet.
    virtual void progress(const QString& path, const ScanCounts& counts);

    /// A record has got the path of where its folder or file is now or, with `dryRun`, would get
    /// it.
    virtual void moved(const Move& move);

    /// The record of a file will be written.
    virtual void fileChanged(const QString& path, Change change);

    /// Records of what is not on the disk; a folder comes before what was in it.
    virtual void fileMissing(int id, const QString& path);
    virtual void folderMissing(int id, const QString& path); ///< The same.

    /// A folder or file whose record is not as it is on the disk.
    virtual void problem(const TreeProblem& problem);
};

/// Brings the records of folders and files up to date with the disk. Removes none.
///
/// The calling thread walks, compares and hashes, while another thread, which ends with run(),
/// writes. Changes are stored in batches, each in its own transaction. Needs memory for the files
/// of one folder and for three batches, however large the tree is. Used by one thread at a time.
class VELMIO_TREE_EXPORT TreeScan
{
public:
    /// Which files are read for their checksums.
    enum class HashMode {
        Always,  ///< All.
        Changed, ///< New files, and files whose size or times differ from the record.
        Never,   ///< None.
    };

    /// What a scan does.
    struct VELMIO_TREE_EXPORT Options
    {
        HashMode hash = HashMode::Changed; ///< Which files are read.
        bool dryRun = false;               ///< Nothing is stored, only counted.
        bool force = false;                ///< Also an empty or exchanged root is compared.
        bool moves = true; ///< What has another path keeps its record; otherwise it gets another.
        IgnoreRule ignored = {}; ///< What is left out.
        /// Asked between two files; true ends the scan. What is already written stays.
        std::function<bool()> stopRequested = {};
        /// Computes the checksums; SHA-256 without it.
        std::shared_ptr<interf::ICryptographicHash> hashes = {};
    };

    /// The observer must outlive the scan.
    TreeScan(TreeStore store, ScanObserver& observer, Options options);
    ~TreeScan();
    TreeScan(const TreeScan&) = delete;
    TreeScan& operator=(const TreeScan&) = delete;

    /// Scans one root from the folder `start` on, which may be the root itself. False if it was
    /// stopped, or if the root is not in its place: see ScanCounts::rootState. The calling thread
    /// must have no transaction open. Throws database::DatabaseError when the store fails; counts()
    /// then returns what was done before.
    bool run(const config::FolderConfiguration& root, const config::FolderConfiguration& start);

    /// The counts of the last run().
    const ScanCounts& counts() const;

private:
    class Run;
    const std::unique_ptr<Run> impl;
};

} // namespace sync::tree
