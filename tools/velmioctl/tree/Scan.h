#pragma once

#include <config/FolderConfiguration.h>
#include <tree/TreeScan.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/tree/Prune.h>

#include <QElapsedTimer>
#include <QJsonObject>
#include <QString>

#include <functional>

namespace velmioctl {

class Progress;
class Session;
class WatchedDatabase;

/// What a scan found below one root folder, and what was pruned there.
struct ScanCounts : sync::tree::ScanCounts
{
    long long prunedFolders = 0;
    long long prunedFiles = 0;
    bool topLevel = false; ///< The root is synchronised without its subfolders.

    ScanCounts& operator+=(const ScanCounts& other);
    bool hasFindings() const;
    QJsonObject toJson() const;
};

/// Throws CommandError if a database comes from another machine or account, because its paths
/// belong there.
void requireOwnDatabase(WatchedDatabase& database);

/// Brings the records of folders and files up to date with the disk, and prints what a person needs
/// to know.
class Scan : private sync::tree::ScanObserver
{
public:
    using HashMode = sync::tree::TreeScan::HashMode;

    struct Options
    {
        HashMode hash = HashMode::Changed;
        bool prune = false;   ///< What is missing is to be removed, so it is not warned of.
        bool dryRun = false;  ///< Nothing is stored, only counted.
        bool force = false;   ///< Also an empty or exchanged root is compared.
        bool noMoves = false; ///< What has another path gets another record.
        QString ignored = {}; ///< Rules of what is left out.
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

    /// True if any run() has found something that another root was to have.
    bool hasMovedFromOtherRoot() const { return movedFromOtherRoot; }

    /// What the last run() did not find on the disk; nothing unless it compared the whole root.
    MissingRecords takeMissing() { return std::move(missing); }

private:
    void progress(const QString& path, const sync::tree::ScanCounts& counts) override;
    void moved(const sync::tree::Move& move) override;
    void fileChanged(const QString& path, Change change) override;
    void fileMissing(int id, const QString& path) override;
    void folderMissing(int id, const QString& path) override;
    void problem(const sync::tree::TreeProblem& problem) override;

    long long recordsBelow(
        const QString& table, const QString& rootColumn,
        const sync::config::FolderConfiguration& start);
    void warn(const QString& text);
    void warnOfRest();

    Session& session;
    Progress& line;
    const Options options;
    const std::function<bool()> stopRequested;
    sync::config::FolderConfiguration root;
    ScanCounts current;
    MissingRecords missing;
    QElapsedTimer sinceBegun;
    // The number of files that the root had in the database, to estimate the remaining time.
    long long expectedFiles = 0;
    long long warnings = 0;
    bool movedFromOtherRoot = false;
};

} // namespace velmioctl
