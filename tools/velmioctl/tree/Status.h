#pragma once

#include <config/FolderConfiguration.h>
#include <tree/RootPlace.h>
#include <tree/TreeComparison.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <functional>

namespace velmioctl {

class Progress;
class Session;
class WatchedDatabase;
struct Subtree;

/// How the files of a root folder differ from their records.
struct StatusCounts
{
    long long files = 0; ///< Files on the disk.
    long long added = 0;
    long long modified = 0;
    long long missing = 0;
    long long moved = 0;     ///< Files and folders with another path, but not along with a folder.
    long long outOfSync = 0; ///< Records with that status, which is not a difference.
    long long newFolders = 0;
    long long missingFolders = 0;
    long long skipped = 0;  ///< Links, pipes, sockets and devices.
    long long problems = 0; ///< Places and files that cannot be read or stored.
    sync::tree::RootState rootState = sync::tree::RootState::Present; ///< Of a sum, the worst.

    StatusCounts& operator+=(const StatusCounts& other);
    /// True if the disk and the records agree.
    bool clean() const;
    QJsonObject toJson() const;
};

/// What the records say without a look at the disk.
struct RecordCounts
{
    long long files = 0;
    long long outOfSync = 0; ///< With that status.
};

/// Counts the records of the files below a folder; throws CommandError.
RecordCounts countRecords(WatchedDatabase& database, const Subtree& tree);

/// Shows how the files below root folders differ from their records. Writes nothing.
class Status : private sync::tree::ComparisonHandler
{
public:
    /// With `summary` it only counts.
    /// Without `moves`, what has another path is missing in one place and new in another. `ignored`
    /// are rules of what is left out.
    Status(
        Session& session, Progress& progress, bool summary, bool moves, QString ignored,
        std::function<bool()> stopRequested);

    /// Compares one root from the folder `start` on, which may be the root itself, and prints each
    /// difference, unless the answer is JSON. False if it was stopped. Throws CommandError when the
    /// database fails.
    bool run(
        const sync::config::FolderConfiguration& root,
        const sync::config::FolderConfiguration& start);

    /// The counts of the last run().
    const StatusCounts& counts() const { return current; }

    /// The folders with differences of the last run(), for an answer as JSON.
    QJsonArray folders() const { return folderArray; }

    /// What was moved, for an answer as JSON.
    QJsonArray moves() const { return moveArray; }

private:
    bool moved(const sync::tree::MovePlan& plan) override;
    void folderFound(const Folder& folder) override;
    void folderMissing(const Folder& folder) override;
    void fileFound(const QString& path, const sync::tree::FileState& state) override;
    void fileFound(
        const QString& path, const sync::tree::FileState& state,
        const sync::tree::KnownFile& known) override;
    void fileMissing(const sync::tree::KnownFile& known) override;
    void entrySkipped(const QString& path) override;
    void problem(const sync::tree::TreeProblem& problem) override;

    bool compare(
        const sync::config::FolderConfiguration& root,
        const sync::config::FolderConfiguration& start);
    bool isModified(
        const QString& path, const sync::tree::FileState& state,
        const sync::tree::KnownFile& known);
    void beginFolder(const Folder& folder, const QString& state);
    void endFolder();
    void showFolder();
    void report(const QString& kind, const QString& path);
    void warn(const QString& text);

    Session& session;
    Progress& progress;
    const bool summary;
    const bool findsMoves;
    const QString ignored;
    const std::function<bool()> stopRequested;
    StatusCounts current;
    int rootId = -1;
    QJsonArray folderArray;
    QJsonArray moveArray;
    // The folder whose files are being compared, shown once it has a difference.
    Folder folder;
    QString folderState;
    bool folderShown = false;
    // Kind of difference -> names of files
    QMap<QString, QStringList> names;
};

} // namespace velmioctl
