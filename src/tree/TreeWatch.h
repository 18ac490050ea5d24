#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <tree/TreeScan.h>

#include <memory>

namespace sync::tree {

/// Receives what a watch finds and does, on the thread that runs it.
class VELMIO_TREE_EXPORT WatchObserver : public ScanObserver
{
public:
    ~WatchObserver() override;

    /// Called after each scan, and at least twice a second while nothing happens. False ends the
    /// watch.
    virtual bool goOn() = 0;

    /// Called once if the system does not report the changes of all folders: `error` is an errno,
    /// ENOSPC if it lets no more than `watched` folders be watched, ENOSYS if it reports none. The
    /// root is scanned at intervals then.
    virtual void limited(long long watched, int error);
};

/// Keeps the records of a root folder current: scans it, and then what the system reports as
/// changed. Removes no record.
///
/// A change of files scans their folders; one of folders, or one that was lost because there were
/// too many, the whole root. On Linux it watches with inotify, elsewhere it scans at intervals.
/// Used by one thread at a time.
class VELMIO_TREE_EXPORT TreeWatch
{
public:
    /// The observer must outlive the watch. `intervalMs` is the time between two scans of the root
    /// where changes are not reported.
    TreeWatch(
        TreeStore store, WatchObserver& observer, TreeScan::Options options,
        long long intervalMs = 60'000);
    ~TreeWatch();
    TreeWatch(const TreeWatch&) = delete;
    TreeWatch& operator=(const TreeWatch&) = delete;

    /// Returns when the observer ends it. Where the root is not in its place, it waits. Throws
    /// database::DatabaseError when the store fails.
    void run(const config::FolderConfiguration& root);

private:
    class Run;
    const std::unique_ptr<Run> impl;
};

} // namespace sync::tree
