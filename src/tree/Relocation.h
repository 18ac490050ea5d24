#pragma once
#include <core/PosixSync.h>

#include <config/FolderConfiguration.h>
#include <core/Export.h>
#include <tree/PathMapping.h>
#include <tree/TreeStore.h>

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace sync::interf {
class ICryptographicHash;
} // namespace sync::interf

namespace sync::tree {

/// Gives the records of a root folder the paths of its new place, after the root was moved or is
/// mounted elsewhere.
///
/// Call compare() first: it shows if the files at the new place are those of the records. Paths on
/// the server, ids and all other fields stay. All functions throw database::DatabaseError when the
/// store fails. Used by one thread.
class VELMIO_TREE_EXPORT Relocation
{
public:
    /// How much of the content compare() reads.
    enum class Reading {
        Samples, ///< Up to 64 files, spread over the root.
        All,     ///< Every file that has a checksum.
    };

    /// What compare() found, in numbers of records.
    struct VELMIO_TREE_EXPORT Comparison
    {
        long long folders = 0;        ///< Below the root.
        long long missingFolders = 0; ///< Those that are not at the new place.
        long long files = 0;          ///< Below the root.
        long long missing = 0;        ///< Not at the new place, or not accessible there.
        long long otherSize = 0;      ///< Of another size than recorded.
        long long otherTime = 0;      ///< Of the recorded size, but modified at another time.
        long long read = 0;           ///< Read, and compared with the recorded checksum.
        long long otherContent = 0;   ///< Those with another checksum, or not readable.

        /// True if at least half of the files are there with their size, and at least half of
        /// those that were read have their content. Without files, half of the folders.
        bool agrees() const;
    };

    /// What apply() changes, in numbers of records.
    struct Changes
    {
        long long folders = 0;        ///< With the root.
        long long files = 0;          ///< Ordinary files.
        long long generatedFiles = 0; ///< Those at other places stay.
        long long baseFiles = 0;      ///< Those at other places stay.
        long long links = 0;          ///< With links to or from moved files. Of any root.
    };

    /// `newPath` is absolute. compare() computes checksums with `hashes`.
    Relocation(
        TreeStore store, std::shared_ptr<interf::ICryptographicHash> hashes,
        config::FolderConfiguration root, const QString& newPath);

    /// Compares the records with the files at the new place, and writes nothing. Calls `goOn` with
    /// the number of compared files before each one; false ends the comparison, and nothing is
    /// returned.
    std::optional<Comparison> compare(
        Reading reading, const std::function<bool(long long compared)>& goOn = {}) const;

    /// What apply() would change.
    Changes preview() const;

    /// Changes the paths, all or none, in one transaction; the calling thread must have none open.
    /// Call FolderConfigManager::ClearCaches() of other managers afterwards.
    Changes apply() const;

private:
    std::function<QString(const QString& path, int rootId)> newPath() const;

    const TreeStore store;
    const std::shared_ptr<interf::ICryptographicHash> hashes;
    const config::FolderConfiguration root;
    const PathMapping mapping;
};

} // namespace sync::tree
