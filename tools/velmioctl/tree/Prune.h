#pragma once

#include <config/FolderConfiguration.h>

#include <QJsonObject>
#include <QString>

#include <functional>
#include <string>
#include <vector>

namespace velmioctl {

class Session;

/// The records of one root folder that a scan did not find on the disk, and what became of them.
struct MissingRecords
{
    struct Record
    {
        int id;
        QString path;
    };

    sync::config::FolderConfiguration root;
    long long stored = 0; ///< How many records the root had before the scan.
    std::vector<Record> files = {};
    std::vector<Record> folders = {}; ///< Parents before their children.

    QStringList dependants = {}; ///< The base copies and generated files of `files`.
    long long prunedFiles = 0;
    long long prunedFolders = 0;

    /// Those of the dependants that are no longer on the disk.
    QStringList deleted() const;
    long long size() const { return qint64(files.size()) + qint64(folders.size()); }
    QJsonObject toJson() const;
};

/// How much of a root folder may be removed: a number of its records, or a share of them.
struct PruneLimit
{
    long long amount = 50;
    bool percent = true;
    long long freeBelow = 21; ///< Roots with fewer records have no limit.

    /// From "200" or "30%", which has no exceptions; throws CommandError for anything else.
    static PruneLimit from(const std::string& text);

    bool allows(const MissingRecords& missing) const;
    QString text() const;
};

/// Removes records of what is not on the disk, with their base copies and generated files.
class Prune
{
public:
    /// The plan must live as long as this.
    Prune(Session& session, std::vector<MissingRecords>& plan);

    /// Throws CommandError if any root would lose more than the limit.
    void requireWithin(const PruneLimit& limit) const;

    bool isEmpty() const { return records == 0; }

    /// Lists the first `most` removals, and counts the others.
    void show(qsizetype most) const;

    /// What a person has to agree to.
    QString question() const;

    /// Makes a backup first if many records go. Ends early, between two batches, when
    /// `stopRequested` returns true. Leaves out what is on the disk again. Throws CommandError; the
    /// plan then has what was removed before.
    void run(const std::function<bool()>& stopRequested);

private:
    using Remove = std::function<bool(int id)>;

    void findDependants();
    void removeInBatches(
        const std::vector<MissingRecords::Record>& list, bool (*isGone)(const QString& path),
        const Remove& remove, const std::function<bool()>& stopRequested, long long& removed);

    Session& session;
    std::vector<MissingRecords>& plan;
    long long records = 0;
};

} // namespace velmioctl
