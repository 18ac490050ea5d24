#pragma once

#include <config/FolderConfiguration.h>
#include <config/ScheduleEntry.h>

#include <QDateTime>
#include <QString>
#include <QVector>

#include <optional>

namespace velmioctl {

class Session;
struct IgnoreFile;

/// What is on the disk at a path. ExplainCommand.cpp has a word for each, in this order.
enum class PathKind { Missing, File, Folder, Link, Other, Unreadable };

/// What is known about a path, and what applies to it.
struct Explanation
{
    /// A reason for the answer, or a remark.
    struct Reason
    {
        QString id; ///< For programs.
        QString text;
        QString remedy;       ///< Empty if nothing needs to be done.
        QDateTime since = {}; ///< When the store noted it; invalid if it does not know.
    };

    /// A record of one of the three tables of files.
    struct File
    {
        int id = -1;
        int type = 0;
        int productId = -1;
        int syncOption = 0;
        int privileges = 0;
        QDateTime changed = {}; ///< Its last operation.
    };

    /// A record that a folder or file refers to.
    struct Reference
    {
        int id = -1; ///< Not positive for no reference.
        bool exists = false;
        QString name;
    };

    /// A folder or file that overlaps with the path, or whose path looks the same.
    struct Overlap
    {
        QString kind;
        int id = -1;
        QString path;
    };

    QString path;
    PathKind kind = PathKind::Missing;
    bool inside = false;
    QVector<Reason> reasons;

    /// Id -1 for none.
    sync::config::FolderConfiguration root;
    sync::config::FolderConfiguration folder; ///< The record of the path, or the nearest above it.
    bool folderIsPath = false;                ///< The folder is the path itself.
    QVector<File> files;                      ///< The records of the path as a file.
    QString serverPath;
    Reference signIn;
    Reference server;
    Reference product;
    std::optional<sync::config::ScheduleEntry> schedule;
    QVector<Overlap> overlaps;

    bool registered() const { return folderIsPath || !files.isEmpty(); }
};

/// Reads the records and the disk, and changes nothing. `path` is absolute and clean. Throws
/// CommandError when the database fails.
Explanation explain(Session& session, const QString& path, const IgnoreFile& ignored);

} // namespace velmioctl
