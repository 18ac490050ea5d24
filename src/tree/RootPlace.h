#pragma once
#include <core/PosixSync.h>

#include <config/FolderConfiguration.h>
#include <core/Export.h>
#include <tree/TreeStore.h>

#include <QString>

namespace sync::tree {

/// What is at the path of a root folder, the worst last.
enum class RootState {
    Present,    ///< The directory that the records are about.
    Paused,     ///< Its paths come from another machine, and nobody has compared them yet.
    Restored,   ///< Another directory with what is recorded, but with earlier versions of files.
    Exchanged,  ///< Another directory, without most of what is recorded.
    OtherDisk,  ///< The same, and on another volume.
    Empty,      ///< An empty directory, although something is recorded: perhaps an unmounted drive.
    Unreadable, ///< It is not known what is there.
    Missing,    ///< No directory.
};

/// The place of a root folder: the volume and the directory that it was last seen as.
///
/// Neither identifies it for sure: a restored home folder is another directory, and some network
/// drives assign new file numbers at each mount. So another place is accepted with the same
/// content. A host may also ask for a marker, a file in the root with a random mark that the store
/// keeps: then only the mark counts.
class VELMIO_TREE_EXPORT RootPlace
{
public:
    /// The place of a root folder of a store of the embedded engine.
    RootPlace(TreeStore store, config::FolderConfiguration root);

    /// Writes nothing. Throws database::DatabaseError when the store fails.
    RootState state() const;

    /// A random text that no other root has; empty until remember() has stored one.
    QString mark() const;

    /// Puts the mark into a file in the root, which is never synchronised. False if that fails, or
    /// if there is no mark.
    bool writeMarker() const;

    /// Stores the place of the directory that is there now, and ends a pause, unless most of what
    /// is recorded directly in the root is missing and `always` is false. Throws
    /// database::DatabaseError when the store fails.
    void remember(bool always) const;

    /// Forgets all places, because those of another machine mean nothing here. Throws
    /// database::DatabaseError when the store fails.
    static void forgetAll(const TreeStore& store);

private:
    struct Place
    {
        QString volumeId;
        QString fileId;

        bool operator==(const Place&) const = default;
    };

    Place currentPlace() const;
    Place storedPlace() const;
    QString markerPath() const;
    bool isPaused() const;
    bool hasTable(const QString& name) const;
    bool holdsOlderFiles() const;
    bool holdsItsContent() const;

    const TreeStore store;
    const config::FolderConfiguration root;
};

} // namespace sync::tree
