#pragma once

#include <base/system/FolderEntries.h>
#include <tree/TreeComparison.h>

#include <QString>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace sync::tree {

/// Visits a root and every folder below it, parents before their children, siblings sorted by name.
///
/// Does not follow links, except for the root itself. Skips names that contain the name of the
/// client's scratch folder. Folders that vanish during the walk are not an error.
class DirectoryWalk
{
public:
    using Report = std::function<void(const TreeProblem& problem)>;

    /// Anything in a folder except subfolders.
    struct Entry
    {
        std::string name;
        bool regular; ///< A file; not a link, pipe, socket or device.
    };

    struct Subfolder
    {
        std::string name; ///< As the disk has it: the walk descends by it.
        QString path;     ///< The caller may change its normal form to that of a record.
    };

    struct Folder
    {
        QString path;
        /// Open until the next step; -1 when unreadable.
        base::NativeFile descriptor = -1;
        bool complete = false;          ///< It was read to its end.
        std::vector<Entry> entries;     ///< By name.
        std::vector<Subfolder> folders; ///< By name, the last one first.

        bool isOpen() const { return descriptor != -1; }
    };

    enum class Depth { TopLevel, All };

    /// `root` is an absolute path; `report` is called for every place that cannot be read. What is
    /// `ignored` is left out.
    DirectoryWalk(const QString& root, Depth depth, Report report, IgnoreRule ignored = {});

    /// The next folder, beginning with the root; null at the end. Owned by the walk, and valid
    /// until the next call.
    Folder* next();

private:
    /// A folder to visit. Its path on the disk is never made of the other one, because the disk may
    /// have its name in another normal form.
    struct Place
    {
        std::string onDisk;
        QString path;
    };

    bool read(bool isRoot);
    void readEntries();
    void addEntry(const base::FolderReader::Entry& entry);

    const Depth depth;
    const Report report;
    const IgnoreRule ignored;
    bool atRoot = true;
    // Not visited yet, the next one last.
    std::vector<Place> pending;
    std::string onDisk; // the path of `folder`
    std::optional<base::FolderReader> reader;
    Folder folder;
};

} // namespace sync::tree
