#include <tree/ScanCounts.h>

#include <algorithm>

namespace sync::tree {

namespace {

void add(ScanCounts::Kind& sum, const ScanCounts::Kind& other)
{
    sum.seen += other.seen;
    sum.added += other.added;
    sum.moved += other.moved;
    sum.missing += other.missing;
    sum.failed += other.failed;
    sum.unreadable += other.unreadable;
    sum.invalidNames += other.invalidNames;
}

} // namespace

ScanCounts& ScanCounts::operator+=(const ScanCounts& other)
{
    add(folders, other.folders);
    add(files, other.files);
    files.changed += other.files.changed;
    files.refreshed += other.files.refreshed;
    files.skipped += other.files.skipped;
    files.unstable += other.files.unstable;
    rootState = std::max(rootState, other.rootState);
    return *this;
}

long long ScanCounts::problems() const
{
    return folders.failed + folders.unreadable + folders.invalidNames + files.failed +
           files.unreadable + files.invalidNames + files.unstable;
}

} // namespace sync::tree
