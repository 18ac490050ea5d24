#pragma once

#include <config/FolderConfiguration.h>

#include <QString>

namespace velmioctl {

class WatchedDatabase;

/// What is at the path of a root folder, the worst last.
enum class RootState {
    Present,
    Exchanged,  ///< Another directory, without most of what is recorded.
    Empty,      ///< An empty directory, although something is recorded: perhaps an unmounted drive.
    Unreadable, ///< It is not known what is there.
    Missing,    ///< No directory.
};

/// "present", "exchanged", "empty", "unreadable" or "missing".
QString wordFor(RootState state);

/// The error for a root folder that is not present.
QString describe(RootState state, const sync::config::FolderConfiguration& root);

/// The place of a root folder: the volume and the directory that it was last seen as.
///
/// Neither identifies it for sure: a restored home folder is another directory, and some network
/// drives assign new file numbers at each mount. So another place is accepted with the same
/// content.
class RootPlace
{
public:
    /// Both must live as long as this.
    RootPlace(WatchedDatabase& database, const sync::config::FolderConfiguration& root);

    /// Writes nothing. Throws CommandError when the database fails.
    RootState state() const;

    /// Stores the place of the directory that is there now, unless most of what is recorded
    /// directly in the root is missing and `always` is false. Throws CommandError when the database
    /// fails.
    void remember(bool always) const;

    /// Forgets all places, because those of another machine mean nothing here.
    static void forgetAll(WatchedDatabase& database);

private:
    struct Mark
    {
        QString volumeId;
        QString fileId;

        bool operator==(const Mark&) const = default;
    };

    Mark currentMark() const;
    Mark storedMark() const;
    bool holdsItsContent() const;

    WatchedDatabase& database;
    const sync::config::FolderConfiguration& root;
};

} // namespace velmioctl
