#pragma once

#include <config/FolderConfiguration.h>
#include <tree/FileState.h>
#include <tree/ScanCounts.h>
#include <tree/TreeProblem.h>
#include <tree/TreeStore.h>
#include <tree/store/StoreQueries.h>

#include <atomic>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace sync::config {
class FileConfigManager;
class FileConfiguration;
class FolderConfigManager;
} // namespace sync::config

namespace sync::tree {

/// A folder of a batch.
struct FolderWork
{
    QString path;
    int id;                 ///< -1 for one without a record.
    bool continued = false; ///< The last one of the batch before; the writer knows its id.
    std::optional<DiskIdentity> identity = {}; ///< To be stored.

    bool isNew() const { return id == -1 && !continued; }
};

/// A file whose record is to be written.
struct FileWork
{
    /// The last one stores only what identifies the file.
    enum class Kind { Add, Change, Refresh, Identify };
    Kind kind;
    size_t folder; ///< The place of its folder in the batch.
    int id;
    QString path;
    FileState state;
    QString checkSum;
    DiskIdentity identity = {};
};

/// Records that are written in one transaction. It is collected before, so the store is not locked
/// while the disk is read.
struct Batch
{
    std::vector<FolderWork> folders;
    std::vector<FileWork> files;

    long long newFolders() const;
    bool isEmpty() const; ///< True if nothing is to be written.
    size_t size() const { return folders.size() + files.size(); }
};

/// Writes batches on a thread of its own, which the first batch starts.
///
/// One thread calls all functions. The mutex guards what both threads use, is held for a few
/// instructions and never while a batch is written.
class BatchWriter
{
public:
    /// What became of batches.
    struct Result
    {
        ScanCounts counts;
        std::vector<TreeProblem> problems;
    };

    BatchWriter(const TreeStore& store, const config::FolderConfiguration& root);

    /// Leaves out what is not written yet.
    ~BatchWriter();
    BatchWriter(const BatchWriter&) = delete;
    BatchWriter& operator=(const BatchWriter&) = delete;

    /// Hands over a batch; waits while another one is waiting. Returns what became of earlier ones.
    /// Once `stopRequested` is true, nothing more is written. Throws what ended the writing;
    /// result() then says what was done.
    Result write(Batch batch, const std::function<bool()>& stopRequested);

    /// Waits until all is written; the same.
    Result finish(const std::function<bool()>& stopRequested);

    /// What became of the batches that nothing has returned yet.
    Result result();

private:
    void waitFor(bool (BatchWriter::*met)() const, const std::function<bool()>& stopRequested);
    bool hasRoom() const { return failure || !waiting; }
    bool isIdle() const { return failure || (!waiting && !writing); }
    void rethrowFailure();

    void writeBatches();
    void store(Batch& batch, Result& done);
    void addFolder(FolderWork& folder, Result& done);
    void addFiles(const Batch& batch, Result& done);
    config::FileConfiguration newFile(int folderId, const FileWork& work) const;
    void updateFile(const FileWork& work, Result& done);
    void identify(bool isFolder, int id, const DiskIdentity& identity);

    const TreeStore place;
    const StoreQueries queries;
    const config::FolderConfiguration root;
    std::atomic<bool> stopped = false;

    std::mutex mutex;
    std::condition_variable changed;
    std::optional<Batch> waiting;
    bool writing = false;
    bool ended = false;
    std::exception_ptr failure;
    Result finished;

    // The rest belongs to the writing thread.
    int lastFolderId = -1; // of the batch before
    std::shared_ptr<config::FolderConfigManager> folders;
    std::unique_ptr<config::FileConfigManager> files;
    std::thread thread;
};

} // namespace sync::tree
