#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <tree/RootPlace.h>

namespace sync::tree {

/// What a scan found below one root folder.
struct VELMIO_TREE_EXPORT ScanCounts
{
    /// Of folders below the root, or of files.
    struct Kind
    {
        long long seen = 0;         ///< On the disk.
        long long added = 0;        ///< New records.
        long long moved = 0;        ///< Records that got another path, but not along with a folder.
        long long missing = 0;      ///< Records of what is not on the disk.
        long long failed = 0;       ///< Could not be recorded; for a file also because its folder
                                    ///< could not.
        long long unreadable = 0;   ///< See TreeProblem.
        long long invalidNames = 0; ///< See TreeProblem.
    };

    /// Of files alone.
    struct Files : Kind
    {
        long long changed = 0;   ///< With another content than recorded.
        long long refreshed = 0; ///< The same content; the record's times or checksum were old.
        long long skipped = 0;   ///< Links, pipes, sockets and devices.
        long long unstable = 0;  ///< Changed while they were read.
    };

    Kind folders;                             ///< Below the root.
    Files files;                              ///< Below the root.
    RootState rootState = RootState::Present; ///< Unless present, nothing was compared. Of a sum,
                                              ///< the worst.

    /// Adds those of another root.
    ScanCounts& operator+=(const ScanCounts& other);

    /// What is not in the store as it is on the disk, except for missing files and folders.
    long long problems() const;
};

} // namespace sync::tree
