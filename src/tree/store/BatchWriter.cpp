#include <tree/store/BatchWriter.h>

#include <config/FileBatch.h>
#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <core/PathHelpers.h>
#include <database/HostTransaction.h>

#include <algorithm>
#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using sync::config::FileBatch;
using sync::config::FileConfigManager;
using sync::config::FileConfiguration;
using sync::config::FolderConfigManager;

namespace sync::tree {

namespace {

// How often a waiting scan asks whether it shall stop.
constexpr std::chrono::milliseconds StopInterval(100);
// A scan that was stopped writes at most so many files more.
constexpr qsizetype AddedTogether = 256;

QDateTime utcTime(qint64 ms)
{
    return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
}

void setFileState(FileConfiguration& file, const FileWork& work)
{
    file.setSize(work.state.size);
    file.setCreatedDateTime(utcTime(work.state.createdMs));
    file.setLastModifiedDateTime(utcTime(work.state.modifiedMs));
    file.setCheckSum(work.checkSum);
}

} // namespace

long long Batch::newFolders() const
{
    return std::count_if(
        folders.begin(), folders.end(), [](const FolderWork& folder) { return folder.isNew(); });
}

bool Batch::isEmpty() const
{
    return files.empty() &&
           std::all_of(folders.begin(), folders.end(), [](const FolderWork& folder) {
               return !folder.isNew() && (folder.continued || !folder.identity);
           });
}

BatchWriter::BatchWriter(const TreeStore& store, const config::FolderConfiguration& root)
    : place(store)
    , queries(*place.database)
    , root(root)
    , folders(std::make_shared<FolderConfigManager>(place.database, nullptr))
    , files(std::make_unique<FileConfigManager>(
          place.database, std::make_shared<config::Sha256FileHash>(), nullptr, folders))
{
}

BatchWriter::~BatchWriter()
{
    stopped = true;
    {
        const std::lock_guard lock(mutex);
        ended = true;
    }
    changed.notify_all();
    if (thread.joinable())
        thread.join();
}

BatchWriter::Result BatchWriter::write(Batch batch, const std::function<bool()>& stopRequested)
{
    waitFor(&BatchWriter::hasRoom, stopRequested);
    rethrowFailure();
    {
        const std::lock_guard lock(mutex);
        waiting = std::move(batch);
    }
    changed.notify_all();
    if (!thread.joinable())
        thread = std::thread([this] { writeBatches(); });
    return result();
}

BatchWriter::Result BatchWriter::finish(const std::function<bool()>& stopRequested)
{
    if (stopRequested())
        stopped = true;
    waitFor(&BatchWriter::isIdle, stopRequested);
    rethrowFailure();
    return result();
}

BatchWriter::Result BatchWriter::result()
{
    const std::lock_guard lock(mutex);
    return std::exchange(finished, {});
}

void BatchWriter::waitFor(
    bool (BatchWriter::*met)() const, const std::function<bool()>& stopRequested)
{
    std::unique_lock lock(mutex);
    while (!changed.wait_for(lock, StopInterval, [&] { return (this->*met)(); })) {
        lock.unlock();
        if (stopRequested())
            stopped = true;
        lock.lock();
    }
}

void BatchWriter::rethrowFailure()
{
    const std::lock_guard lock(mutex);
    if (failure)
        std::rethrow_exception(failure);
}

void BatchWriter::writeBatches()
{
    std::unique_lock lock(mutex);
    while (true) {
        changed.wait(lock, [this] { return ended || waiting; });
        if (ended)
            return;
        Batch batch = *std::exchange(waiting, {});
        const long long newFolders = batch.newFolders();
        writing = true;
        lock.unlock();
        changed.notify_all();
        Result done;
        std::exception_ptr error;
        try {
            store(batch, done);
        } catch (...) {
            // The whole batch was rolled back.
            error = std::current_exception();
            done = {};
            done.counts.folders.failed = newFolders;
            done.counts.files.failed = qint64(batch.files.size());
        }
        lock.lock();
        writing = false;
        finished.counts += done.counts;
        finished.problems.insert(
            finished.problems.end(), done.problems.begin(), done.problems.end());
        failure = error;
        changed.notify_all();
        if (error)
            return;
    }
}

void BatchWriter::store(Batch& batch, Result& done)
{
    const auto guard = queries.guard();
    database::HostTransaction transaction(*place.database);
    if (!transaction.isOpen())
        queries.fail(u"Beginning a transaction failed."_s);
    const auto checkFailures = [&] {
        if (guard && guard->failed())
            queries.fail({});
    };
    for (FolderWork& folder : batch.folders) {
        if (stopped)
            break;
        if (folder.continued)
            folder.id = lastFolderId;
        else if (folder.isNew())
            addFolder(folder, done);
        if (!folder.continued && folder.identity && folder.id != -1)
            identify(true, folder.id, *folder.identity);
        checkFailures();
        lastFolderId = folder.id;
    }
    addFiles(batch, done);
    checkFailures();
    for (const FileWork& work : batch.files) {
        if (stopped)
            break;
        if (work.kind == FileWork::Kind::Add)
            continue;
        if (work.kind == FileWork::Kind::Identify)
            identify(false, work.id, work.identity);
        else
            updateFile(work, done);
        checkFailures();
    }
    if (!transaction.commit())
        queries.fail(u"Storing the changes failed."_s);
}

void BatchWriter::addFolder(FolderWork& folder, Result& done)
{
    folder.id = folders->AddFolderAndParent(folder.path, root).getId();
    if (folder.id != -1) {
        ++done.counts.folders.added;
        return;
    }
    ++done.counts.folders.failed;
    done.problems.push_back({TreeProblem::Kind::RefusedFolder, folder.path.toUtf8()});
}

void BatchWriter::addFiles(const Batch& batch, Result& done)
{
    QVector<FileConfiguration> added;
    std::vector<DiskIdentity> identities;
    const auto add = [&] {
        const QVector<int> ids = FileBatch(*files).Add(added);
        if (ids.contains(-1))
            queries.fail(u"Storing a file failed."_s);
        for (qsizetype at = 0; at < ids.size(); ++at)
            identify(false, ids[at], identities[size_t(at)]);
        done.counts.files.added += added.size();
        added.clear();
        identities.clear();
    };
    for (const FileWork& work : batch.files) {
        if (work.kind != FileWork::Kind::Add)
            continue;
        const int folderId = batch.folders[work.folder].id;
        if (folderId == -1) {
            ++done.counts.files.failed;
        } else {
            added += newFile(folderId, work);
            identities.push_back(work.identity);
        }
        if (added.size() < AddedTogether)
            continue;
        add();
        if (stopped)
            return;
    }
    add();
}

FileConfiguration BatchWriter::newFile(int folderId, const FileWork& work) const
{
    FileConfiguration file;
    file.setFolderConfigurationId(folderId);
    file.setRootFolderId(root.getId());
    file.setProductConfigurationId(root.getProductConfigurationId());
    file.setName(work.path.mid(work.path.lastIndexOf(u'/') + 1));
    file.setClientPath(work.path);
    file.setServerPath(core::GetServerPath(work.path, root.getClientPath(), root.getServerPath()));
    file.setSyncStatus(config::FileNotSynced);
    setFileState(file, work);
    return file;
}

void BatchWriter::updateFile(const FileWork& work, Result& done)
{
    // Read again, because another program may have changed the other fields.
    FileConfiguration file = files->GetFileConfigurationById(work.id);
    if (file.getId() == -1)
        return;
    if (!file.isStorable()) {
        ++done.counts.files.failed;
        done.problems.push_back(
            {TreeProblem::Kind::UnstorableRecord, work.path.toUtf8(), 0, work.id});
        return;
    }
    setFileState(file, work);
    if (work.kind == FileWork::Kind::Change)
        file.setSyncStatus(config::FileNotSynced);
    if (!files->Update(file))
        queries.fail(u"Storing a file failed."_s);
    identify(false, file.getId(), work.identity);
    ++(work.kind == FileWork::Kind::Change ? done.counts.files.changed
                                           : done.counts.files.refreshed);
}

void BatchWriter::identify(bool isFolder, int id, const DiskIdentity& identity)
{
    queries.change(
        isFolder ? u"INSERT OR REPLACE INTO FolderOnDisk (folderId, volume, fileId, createdNs)"
                   u" VALUES (:id, :volume, :fileId, :createdNs)"_s
                 : u"INSERT OR REPLACE INTO FileOnDisk (fileConfigurationId, volume, fileId,"
                   u" createdNs) VALUES (:id, :volume, :fileId, :createdNs)"_s,
        {{u":id"_s, id},
         {u":volume"_s, identity.volume},
         {u":fileId"_s, identity.fileId},
         {u":createdNs"_s, identity.createdNs ? QVariant(*identity.createdNs) : QVariant()}});
}

} // namespace sync::tree
