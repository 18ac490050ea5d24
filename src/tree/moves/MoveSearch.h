#pragma once

#include <config/FolderConfiguration.h>
#include <tree/MovePlan.h>
#include <tree/TreeComparison.h>
#include <tree/moves/DiskIdentities.h>
#include <tree/store/StoreQueries.h>
#include <tree/walk/DirectoryWalk.h>

#include <QSet>

#include <functional>

namespace sync::interf {
class ICryptographicHash;
} // namespace sync::interf

namespace sync::tree {

/// Finds the folders and files of a root that are recorded at other places, by what identifies them
/// on the disk, and the files that are left by their content. Writes nothing.
///
/// A record at whose place the same folder or file still is has not moved: it is another name of
/// it. Nor has one that was put in the place of a recorded folder or file that did not move away:
/// there the record of the place stays. From another root only what has the same sign-in moves.
class MoveSearch
{
public:
    MoveSearch(
        const StoreQueries& queries, const config::FolderConfiguration& root, IgnoreRule ignored,
        interf::ICryptographicHash* hashes);

    /// Searches from a folder of the root on. An empty plan if `stopRequested` returned true.
    /// Throws database::DatabaseError when the store fails.
    MovePlan run(const QString& start, const std::function<bool()>& stopRequested);

    /// True if a record belongs to this folder or file, and is not at its path: it is worth a
    /// search.
    bool isRecordedElsewhere(const DiskIdentity& identity, bool isFolder, const QString& path);

    /// What the store keeps of a record.
    static std::optional<DiskIdentity> stored(const StoreQueries& queries, int id, bool isFolder);

private:
    /// A record that may belong to something on the disk.
    struct Candidate
    {
        int id;
        QString path;
        int rootId;
        std::optional<qint64> createdNs;
        qint64 size;
        QString checkSum;
    };

    std::vector<Candidate> candidates(const DiskIdentity& identity, bool isFolder) const;
    bool mayMoveFrom(int rootId);
    bool isStillThere(
        const Candidate& candidate, const DiskIdentity& identity, const QString& path,
        const DirectoryWalk::Folder& parent);
    bool isSameFile(
        const Candidate& candidate, const DiskIdentity& identity, const FileState& state,
        const QString& path) const;
    bool isSameFolder(
        const Candidate& candidate, const DiskIdentity& identity,
        const DirectoryWalk::Folder& found) const;
    void findFolders(DirectoryWalk& walk);
    void sortFolders();
    void findFiles(DirectoryWalk& walk);
    void findFile(const DirectoryWalk::Folder& folder, const std::string& name);
    void findContents(DirectoryWalk& walk);
    bool isRecorded(const QString& path) const;
    bool removeOccupied();
    bool isOccupied(const Move& move);

    const StoreQueries& queries;
    const config::FolderConfiguration root;
    const IgnoreRule ignored;
    interf::ICryptographicHash* const hashes;
    std::function<bool()> stopRequested;
    DiskIdentities identities;
    MovePlan plan;
    /// A missing file that no other record has the content of.
    struct Missing
    {
        int id;
        QString path;
        qint64 size;
        std::vector<QString> found; ///< New files with its content.
    };

    // checksum -> the file
    QHash<QString, Missing> missingContents() const;

    // Records that stay, because their new place is occupied.
    QSet<int> refusedFolders;
    QSet<int> refusedFiles;
    // root id -> whether something may move from there
    QHash<int, bool> sameSignIn;
};

} // namespace sync::tree
