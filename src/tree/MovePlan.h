#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QHash>
#include <QSet>
#include <QString>

#include <vector>

namespace sync::tree {

/// A record whose folder or file is at another place on the disk.
struct Move
{
    int id = -1;           ///< Of the record.
    bool isFolder = false; ///< A folder moves with all below it.
    QString from;          ///< The recorded path.
    QString to;            ///< The path on the disk.
    int fromRootId = -1;   ///< The root folder that it is recorded in.
};

/// Where recorded folders and files are now. A value.
class VELMIO_TREE_EXPORT MovePlan
{
public:
    /// True if everything is where it is recorded.
    bool isEmpty() const { return list.empty(); }

    /// Folders before files, and a folder before what was moved into it. What only moved along with
    /// a folder has no move of its own.
    const std::vector<Move>& moves() const { return list; }

    /// Adds a move; the record must have none yet.
    void add(const Move& move);

    /// Where a recorded path is on the disk.
    QString newPath(const QString& recorded) const;

    /// Where a path on the disk would be recorded; it may be recorded there for something else.
    QString recordedPath(const QString& path) const;

    /// True if the record of an id has a move of its own.
    bool holds(int id, bool isFolder) const;

    /// The id of the folder or file that was moved to exactly this path; -1 for none.
    int movedTo(const QString& path, bool isFolder) const;

private:
    std::vector<Move> list;
    // recorded path -> path on the disk, and back; of folders and files.
    QHash<QString, QString> newPaths;
    QHash<QString, QString> recordedPaths;
    // path on the disk -> id
    QHash<QString, int> folders;
    QHash<QString, int> files;
    QSet<int> folderIds;
    QSet<int> fileIds;
};

} // namespace sync::tree
