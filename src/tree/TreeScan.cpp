#include <tree/TreeScan.h>

#include <config/FolderConfiguration.h>
#include <interf/ICryptographicHash.h>
#include <tree/moves/DiskIdentities.h>
#include <tree/moves/MoveWriter.h>
#include <tree/store/BatchWriter.h>

#include <QElapsedTimer>

#include <utility>

using sync::config::FolderConfiguration;

namespace sync::tree {

namespace {

// Stored in well under a second, which is how long other writers wait.
constexpr size_t BatchRecords = 2000;
// What was found on a slow disk is stored after this time at the latest.
constexpr qint64 BatchMs = 500;

} // namespace

ScanObserver::~ScanObserver() = default;
void ScanObserver::progress(const QString&, const ScanCounts&) {}
void ScanObserver::moved(const Move&) {}
void ScanObserver::fileChanged(const QString&, Change) {}
void ScanObserver::fileMissing(int, const QString&) {}
void ScanObserver::folderMissing(int, const QString&) {}
void ScanObserver::problem(const TreeProblem&) {}

class TreeScan::Run : private ComparisonHandler
{
public:
    Run(TreeStore store, ScanObserver& observer, Options givenOptions)
        : store(std::move(store))
        , observer(observer)
        , options(std::move(givenOptions))
    {
        if (!options.stopRequested)
            options.stopRequested = [] { return false; };
    }

    bool run(const FolderConfiguration& root, const FolderConfiguration& start);

    ScanCounts counts;

private:
    using Change = ScanObserver::Change;

    bool moved(const MovePlan& plan) override;
    void folderFound(const Folder& folder) override;
    void folderMissing(const Folder& folder) override;
    void fileFound(const QString& path, const FileState& state) override;
    void fileFound(const QString& path, const FileState& state, const KnownFile& known) override;
    void fileMissing(const KnownFile& known) override;
    void entrySkipped(const QString&) override { ++counts.files.skipped; }
    void problem(const TreeProblem& problem) override;

    bool hash(const QString& path, const FileState& state, QString& checkSum);
    void collect(Change change, FileWork work);
    void collectWork(FileWork work);
    void identify(const FileState& state, const KnownFile& known);
    DiskIdentity identityOf(const FileState& state);
    void writeWhenDue();
    void write();
    void take(const BatchWriter::Result& result);

    const TreeStore store;
    ScanObserver& observer;
    Options options;
    FolderConfiguration root;
    DiskIdentities identities;
    Batch batch;
    QElapsedTimer sinceWritten;
    std::optional<BatchWriter> writer;
};

TreeScan::TreeScan(TreeStore store, ScanObserver& observer, Options options)
    : impl(std::make_unique<Run>(std::move(store), observer, std::move(options)))
{
}

TreeScan::~TreeScan() = default;

bool TreeScan::run(const FolderConfiguration& root, const FolderConfiguration& start)
{
    return impl->run(root, start);
}

const ScanCounts& TreeScan::counts() const
{
    return impl->counts;
}

bool TreeScan::Run::run(const FolderConfiguration& givenRoot, const FolderConfiguration& start)
{
    counts = {};
    batch = {};
    root = givenRoot;
    const RootPlace place(store, root);
    counts.rootState = place.state();
    const bool accepted = options.force && counts.rootState < RootState::Unreadable;
    if (counts.rootState != RootState::Present && !accepted)
        return false;
    counts.rootState = RootState::Present;

    sinceWritten.start();
    writer.emplace(store, root);
    bool toItsEnd = false;
    try {
        toItsEnd =
            TreeComparison(
                store, *this, options.ignored, {.find = options.moves, .hashes = options.hashes})
                .run(root, start, options.stopRequested);
        write();
        take(writer->finish(options.stopRequested));
    } catch (...) {
        take(writer->result());
        writer.reset();
        throw;
    }
    writer.reset();
    if (toItsEnd && !options.dryRun)
        place.remember(options.force);
    return toItsEnd;
}

// What was collected is written first, because it may be what has moved.
bool TreeScan::Run::moved(const MovePlan& plan)
{
    if (!options.dryRun) {
        write();
        take(writer->finish(options.stopRequested));
        batch = {};
        MoveWriter(store, root).apply(plan);
    }
    for (const Move& move : plan.moves()) {
        ++(move.isFolder ? counts.folders.moved : counts.files.moved);
        observer.moved(move);
    }
    return !options.dryRun;
}

void TreeScan::Run::folderFound(const Folder& folder)
{
    writeWhenDue();
    batch.folders.push_back({folder.path, folder.id, false, folder.unstoredIdentity});
    if (folder.id != root.getId())
        ++counts.folders.seen;
    if (options.dryRun && folder.id == -1)
        ++counts.folders.added;
    observer.progress(folder.path, counts);
}

void TreeScan::Run::folderMissing(const Folder& folder)
{
    ++counts.folders.missing;
    observer.folderMissing(folder.id, folder.path);
}

void TreeScan::Run::fileFound(const QString& path, const FileState& state)
{
    ++counts.files.seen;
    observer.progress(path, counts);
    QString checkSum;
    if (options.hash == HashMode::Never || hash(path, state, checkSum))
        collect(Change::New, {FileWork::Kind::Add, 0, -1, path, state, checkSum});
}

void TreeScan::Run::fileFound(const QString& path, const FileState& state, const KnownFile& known)
{
    ++counts.files.seen;
    observer.progress(path, counts);
    const bool matches = known.matches(state);
    if (matches)
        identify(state, known);
    if (matches && options.hash != HashMode::Always)
        return;
    QString checkSum;
    if (options.hash != HashMode::Never && !hash(path, state, checkSum))
        return;
    if (matches && (checkSum.isEmpty() || checkSum == known.checkSum))
        return;
    const bool sameContent = !checkSum.isEmpty() &&
                             (checkSum == known.checkSum || (matches && known.checkSum.isEmpty()));
    if (sameContent)
        collect(Change::Same, {FileWork::Kind::Refresh, 0, known.id, path, state, checkSum});
    else
        collect(Change::Changed, {FileWork::Kind::Change, 0, known.id, path, state, checkSum});
}

void TreeScan::Run::identify(const FileState& state, const KnownFile& known)
{
    if (options.dryRun)
        return;
    DiskIdentity found = identityOf(state);
    // What was too recent before may be old enough now.
    if (known.identity && !found.createdNs)
        found.createdNs = known.identity->createdNs;
    if (known.identity != found)
        collectWork({FileWork::Kind::Identify, 0, known.id, {}, state, {}, found});
}

DiskIdentity TreeScan::Run::identityOf(const FileState& state)
{
    return identities.of({state.device, state.inode}, state.createdNs, batch.folders.back().path);
}

void TreeScan::Run::fileMissing(const KnownFile& known)
{
    ++counts.files.missing;
    observer.fileMissing(known.id, known.clientPath);
}

void TreeScan::Run::problem(const TreeProblem& problem)
{
    using Kind = TreeProblem::Kind;
    switch (problem.kind) {
    case Kind::UnreadableFolder:
        ++counts.folders.unreadable;
        break;
    case Kind::InvalidFolderName:
        ++counts.folders.invalidNames;
        break;
    case Kind::InvalidFileName:
        ++counts.files.invalidNames;
        break;
    case Kind::InaccessibleFile:
    case Kind::UnreadableFile:
        ++counts.files.unreadable;
        break;
    case Kind::UnstableFile:
        ++counts.files.unstable;
        break;
    case Kind::RefusedFolder:
    case Kind::UnstorableRecord:
        // The writer counts these.
        break;
    }
    observer.problem(problem);
}

// False for a file whose record must not be changed this time. A file that cannot be read gets an
// empty checksum, so that its record still says that it exists.
bool TreeScan::Run::hash(const QString& path, const FileState& state, QString& checkSum)
{
    const FileHash result = hashFile(path, state, options.hashes.get());
    checkSum = result.checkSum;
    if (result.outcome == FileHash::Outcome::Unstable)
        problem({TreeProblem::Kind::UnstableFile, path.toUtf8()});
    else if (result.outcome == FileHash::Outcome::Unreadable)
        problem({TreeProblem::Kind::UnreadableFile, path.toUtf8()});
    return result.outcome != FileHash::Outcome::Unstable;
}

void TreeScan::Run::collect(Change change, FileWork work)
{
    observer.fileChanged(work.path, change);
    if (options.dryRun) {
        ++(change == Change::New       ? counts.files.added
           : change == Change::Changed ? counts.files.changed
                                       : counts.files.refreshed);
        return;
    }
    work.identity = identityOf(work.state);
    collectWork(std::move(work));
}

void TreeScan::Run::collectWork(FileWork work)
{
    work.folder = batch.folders.size() - 1;
    batch.files.push_back(std::move(work));
    writeWhenDue();
}

void TreeScan::Run::writeWhenDue()
{
    if (batch.size() < BatchRecords && !sinceWritten.hasExpired(BatchMs))
        return;
    write();
    sinceWritten.restart();
}

// Keeps the last folder, which may have more files.
void TreeScan::Run::write()
{
    Batch next;
    if (!batch.folders.empty())
        next.folders.push_back(batch.folders.back());
    if (!batch.isEmpty() && !options.dryRun && !options.stopRequested()) {
        take(writer->write(std::move(batch), options.stopRequested));
        for (FolderWork& folder : next.folders) {
            folder.continued = folder.id == -1;
            folder.identity.reset();
        }
    }
    batch = std::move(next);
}

void TreeScan::Run::take(const BatchWriter::Result& result)
{
    counts += result.counts;
    for (const TreeProblem& problem : result.problems)
        this->problem(problem);
}

} // namespace sync::tree
