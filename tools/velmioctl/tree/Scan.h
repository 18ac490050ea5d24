#pragma once

#include <config/FolderConfiguration.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/tree/TreeComparison.h>

#include <QElapsedTimer>
#include <QString>

#include <functional>
#include <vector>

namespace velmioctl {

class Progress;
class Session;

/// Which files a scan reads for their checksums.
enum class HashMode {
    Always,
    Changed, ///< New ones, and those whose size or times differ from the record's.
    Never,
};

/// What a scan found below one root folder.
struct ScanCounts
{
    struct Files
    {
        long long seen = 0;
        long long added = 0;
        long long changed = 0;
        long long refreshed = 0; ///< The same content; the record's times or checksum were old.
        long long missing = 0;
        long long pruned = 0;
        long long skipped = 0; ///< Links, pipes, sockets and devices.
        long long unstable = 0;
        long long unreadable = 0;
        long long invalidNames = 0;
        long long failed = 0; ///< Left out as their folder could not be registered.
    };

    long long seen = 0; ///< Folders below the root, as are the numbers that follow.
    long long added = 0;
    long long failed = 0; ///< Missing in the database, but could not be registered.
    long long unreadable = 0;
    long long invalidNames = 0;
    long long missing = 0;
    long long pruned = 0;
    Files files;
    bool rootMissing = false; ///< The root is no directory on this disk.
    bool topLevel = false;    ///< The root is synchronised without its subfolders.

    ScanCounts& operator+=(const ScanCounts& other);

    /// The files that are not in the database as they are on the disk.
    long long fileProblems() const;
    bool hasFindings() const;
};

/// Brings the records of folders and files up to date with the disk.
///
/// Changes are stored in batches, each in a transaction of its own, that are collected before the
/// transaction begins: the database is not locked while the disk is read. Records of what is gone
/// are removed at the end of a root alone, when all of it was compared and no read failed.
class Scan : private ComparisonHandler
{
public:
    struct Options
    {
        HashMode hash = HashMode::Changed;
        bool prune = false;
    };

    /// A scan ends early, between two files, once `stopRequested` says so.
    Scan(
        Session& session, Progress& progress, Options options, std::function<bool()> stopRequested);

    /// Scans one root. Throws CommandError when the database fails; counts() then tells what was
    /// done before.
    void run(const sync::config::FolderConfiguration& root);

    /// Those of the last run().
    const ScanCounts& counts() const { return current; }

private:
    /// A folder of the batch.
    struct FolderWork
    {
        QString path;
        int id;
        bool refused = false;

        bool isNew() const { return id == -1 && !refused; }
    };

    /// A file whose record is to be written.
    struct FileWork
    {
        enum class Kind { Add, Change, Refresh };
        Kind kind;
        size_t folder; ///< Where its folder stands in the batch.
        int id;
        QString path;
        FileState state;
        QString checkSum;
    };

    void folderFound(const Folder& folder) override;
    void folderMissing(const Folder& folder) override;
    void fileFound(const QString& path, const FileState& state) override;
    void fileFound(const QString& path, const FileState& state, const KnownFile& known) override;
    void fileMissing(const KnownFile& known) override;
    void entrySkipped(const QString& path) override;
    void fileInaccessible(const QString& path, int error) override;
    void problem(const DirectoryWalk::Problem& problem) override;

    bool hash(const QString& path, const FileState& state, QString& checkSum);
    void collect(FileWork work);
    void storeWhenDue();
    void store();
    void storeBatch();
    void addFolder(FolderWork& folder);
    void addFile(const FileWork& work);
    void updateFile(const FileWork& work);
    void prune();
    void pruneFiles(size_t begin, size_t end);
    void pruneFolders(size_t begin, size_t end);
    void warn(const QString& text);
    void warnOfRest();
    void showProgress(const QString& path);

    Session& session;
    Progress& progress;
    const Options options;
    const std::function<bool()> stopRequested;
    sync::config::FolderConfiguration root;
    ScanCounts current;
    std::vector<FolderWork> folders;
    std::vector<FileWork> files;
    std::vector<int> missingFiles;
    // Parents before their children.
    std::vector<int> missingFolders;
    QElapsedTimer sinceStored;
    QElapsedTimer sinceBegun;
    // How many files the root had in the database, to estimate the time that remains.
    long long expectedFiles = 0;
    long long warnings = 0;
};

} // namespace velmioctl
