#pragma once

#include <config/FolderConfiguration.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/tree/Prune.h>
#include <velmioctl/tree/RootPlace.h>
#include <velmioctl/tree/TreeComparison.h>

#include <QElapsedTimer>
#include <QJsonObject>
#include <QString>

#include <functional>
#include <vector>

namespace velmioctl {

class Progress;
class Session;

/// Which files a scan reads for their checksums.
enum class HashMode {
    Always,
    Changed, ///< New files, and files whose size or times differ from the record.
    Never,
};

/// What a scan found below one root folder.
struct ScanCounts
{
    /// Of folders below the root, or of files.
    struct Kind
    {
        long long seen = 0;
        long long added = 0;
        long long missing = 0;
        long long pruned = 0;
        long long failed = 0; ///< Could not be registered; for a file because its folder could not.
        long long unreadable = 0;
        long long invalidNames = 0;
    };
    struct Files : Kind
    {
        long long changed = 0;
        long long refreshed = 0; ///< The same content; the record's times or checksum were old.
        long long skipped = 0;   ///< Links, pipes, sockets and devices.
        long long unstable = 0;  ///< Changed while they were read.
    };

    Kind folders;
    Files files;
    RootState rootState = RootState::Present; ///< Of a sum, the worst.
    bool topLevel = false;                    ///< The root is synchronised without its subfolders.

    ScanCounts& operator+=(const ScanCounts& other);

    /// What is not in the database as it is on the disk, except for missing files and folders.
    long long problems() const;
    bool hasFindings() const;
    QJsonObject toJson() const;
};

/// Brings the records of folders and files up to date with the disk.
///
/// Stores changes in batches, each in its own transaction. A batch is collected before its
/// transaction begins, so the database is not locked while the disk is read.
class Scan : private ComparisonHandler
{
public:
    struct Options
    {
        HashMode hash = HashMode::Changed;
        bool prune = false;  ///< What is missing is to be removed, so it is not warned of.
        bool dryRun = false; ///< Nothing is stored, only counted.
        bool force = false;  ///< Also an empty or exchanged root is compared.
    };

    /// A scan ends early, between two files, when `stopRequested` returns true.
    Scan(
        Session& session, Progress& progress, Options options, std::function<bool()> stopRequested);

    /// Scans one root from the folder `start` on, which may be the root itself. Throws CommandError
    /// when the database fails; counts() then returns what was done before. It also throws if any
    /// read failed and `prune` is set, because what could not be read looks like what is missing.
    void run(
        const sync::config::FolderConfiguration& root,
        const sync::config::FolderConfiguration& start);

    /// The counts of the last run().
    const ScanCounts& counts() const { return current; }

    /// What the last run() did not find on the disk; nothing unless it compared the whole root.
    MissingRecords takeMissing() { return std::move(missing); }

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
        size_t folder; ///< The place of its folder in the batch.
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

    long long recordsBelow(
        const QString& table, const QString& rootColumn,
        const sync::config::FolderConfiguration& start);
    bool hash(const QString& path, const FileState& state, QString& checkSum);
    void collect(FileWork work);
    void storeWhenDue();
    void store();
    void storeBatch();
    void countBatch();
    void addFolder(FolderWork& folder);
    void addFile(const FileWork& work);
    void updateFile(const FileWork& work);
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
    MissingRecords missing;
    QElapsedTimer sinceStored;
    QElapsedTimer sinceBegun;
    // The number of files that the root had in the database, to estimate the remaining time.
    long long expectedFiles = 0;
    long long warnings = 0;
};

} // namespace velmioctl
