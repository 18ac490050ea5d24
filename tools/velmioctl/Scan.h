#pragma once

#include "ExitCode.h"

#include <config/FolderConfiguration.h>

#include <QJsonObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

namespace velmioctl {

class Progress;
class Session;

/// What a scan found below one root folder.
struct ScanCounts
{
    long long seen = 0;
    long long added = 0;
    long long failed = 0; ///< Missing in the database, but could not be registered.
    long long unreadable = 0;
    long long invalidNames = 0;
    bool missing = false;  ///< The root is no directory on this disk.
    bool topLevel = false; ///< The root is synchronised without its subfolders.

    bool hasFindings() const { return failed + unreadable + invalidNames > 0 || missing; }
};

/// Registers the folders that lie on the disk below root folders and are not in the database.
///
/// New folders are stored in batches, each in a transaction of its own, that are collected before
/// the transaction begins: the database is not locked while the disk is read.
class Scan
{
public:
    /// A scan ends early, between two folders, once `stopRequested` says so.
    Scan(Session& session, Progress& progress, std::function<bool()> stopRequested);

    /// Scans one root. Throws CommandError when the database fails; counts() then tells what was
    /// done before.
    void run(const sync::config::FolderConfiguration& root);

    /// Those of the last run().
    const ScanCounts& counts() const { return current; }

private:
    void readKnownPaths();
    void walk(const sync::config::FolderConfiguration& root);
    void store(const sync::config::FolderConfiguration& root);
    void add(const QString& path, const sync::config::FolderConfiguration& root);
    void showProgress(const QString& path);

    Session& session;
    Progress& progress;
    const std::function<bool()> stopRequested;
    ScanCounts current;
    // The client paths of all folders in the database, read once.
    QSet<QString> knownPaths;
    bool knownPathsRead = false;
    QStringList batch;
};

} // namespace velmioctl
