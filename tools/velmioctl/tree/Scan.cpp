#include <velmioctl/tree/Scan.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <core/PathHelpers.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/RootFolders.h>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

// Stored in well under a second, which is how long other writers wait.
constexpr size_t BatchRecords = 2000;
// What was found on a slow disk is stored after this time at the latest.
constexpr qint64 BatchMs = 500;
// Warnings that are printed for one root; the rest is only counted.
constexpr long long ShownWarnings = 20;

// With their names in JSON.
using Count = ScanCounts::Kind;
using FileCount = ScanCounts::Files;
constexpr std::array<std::pair<long long Count::*, const char*>, 7> ScanCounters{
    {{&Count::seen, "seen"},
     {&Count::added, "new"},
     {&Count::missing, "gone"},
     {&Count::pruned, "pruned"},
     {&Count::failed, "failed"},
     {&Count::unreadable, "unreadable"},
     {&Count::invalidNames, "invalidNames"}}};
constexpr std::array<std::pair<long long FileCount::*, const char*>, 4> FileCounters{
    {{&FileCount::changed, "changed"},
     {&FileCount::refreshed, "refreshed"},
     {&FileCount::skipped, "skipped"},
     {&FileCount::unstable, "unstable"}}};

QDateTime utcTime(qint64 ms)
{
    return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
}

void setFileState(FileConfiguration& file, const FileState& state, const QString& checkSum)
{
    file.setSize(state.size);
    file.setCreatedDateTime(utcTime(state.createdMs));
    file.setLastModifiedDateTime(utcTime(state.modifiedMs));
    file.setCheckSum(checkSum);
}

} // namespace

ScanCounts& ScanCounts::operator+=(const ScanCounts& other)
{
    for (const auto& [counter, name] : ScanCounters) {
        folders.*counter += other.folders.*counter;
        files.*counter += other.files.*counter;
    }
    for (const auto& [counter, name] : FileCounters)
        files.*counter += other.files.*counter;
    rootState = std::max(rootState, other.rootState);
    return *this;
}

long long ScanCounts::problems() const
{
    return folders.failed + folders.unreadable + folders.invalidNames + files.failed +
           files.unreadable + files.invalidNames + files.unstable;
}

bool ScanCounts::hasFindings() const
{
    return problems() > 0 || rootState != RootState::Present || folders.missing > folders.pruned ||
           files.missing > files.pruned;
}

QJsonObject ScanCounts::toJson() const
{
    QJsonObject ofFolders;
    QJsonObject ofFiles;
    for (const auto& [counter, name] : ScanCounters) {
        ofFolders.insert(QLatin1StringView(name), folders.*counter);
        ofFiles.insert(QLatin1StringView(name), files.*counter);
    }
    for (const auto& [counter, name] : FileCounters)
        ofFiles.insert(QLatin1StringView(name), files.*counter);
    ofFolders.insert(u"files"_s, ofFiles);
    return ofFolders;
}

Scan::Scan(
    Session& session, Progress& progress, Options options, std::function<bool()> stopRequested)
    : session(session)
    , progress(progress)
    , options(options)
    , stopRequested(std::move(stopRequested))
{
}

void Scan::run(const FolderConfiguration& rootFolder, const FolderConfiguration& start)
{
    root = rootFolder;
    current = {};
    folders.clear();
    files.clear();
    missing = {.root = root};
    warnings = 0;
    current.topLevel = root.getFolderOption() == sync::config::TopLevelOnly;
    const RootPlace place(session.database(), root);
    current.rootState = place.state();
    const bool accepted = options.force && current.rootState < RootState::Unreadable;
    if (current.rootState != RootState::Present && !accepted) {
        progress.clear();
        session.output.error({ExitCode::Findings, describe(current.rootState, root)});
        return;
    }
    current.rootState = RootState::Present;
    const auto guard = session.database().guard();
    expectedFiles = recordsBelow(u"FileConfiguration"_s, u"rootFolderId"_s, start);
    missing.stored = expectedFiles + recordsBelow(u"FolderConfiguration"_s, u"rootId"_s, start);
    sinceBegun.start();
    sinceStored.start();
    const bool toItsEnd = TreeComparison(session.database(), *this, stopRequested).run(root, start);
    store();
    if (options.prune && guard.failed()) {
        throw CommandError(
            ExitCode::OtherError,
            u"Nothing was pruned, because the database failed during the scan. Scan again."_s);
    }
    if (!toItsEnd)
        missing = {.root = root};
    else if (!options.dryRun)
        place.remember(options.force);
    warnOfRest();
}

long long Scan::recordsBelow(
    const QString& table, const QString& rootColumn, const FolderConfiguration& start)
{
    const QString below = joinPath(start.getClientPath(), QString());
    return session.database().number(
        u"SELECT count(*) FROM %1 WHERE %2 = :rootId AND substr(clientPath, 1, length(:below)) = "
        u":sameBelow"_s.arg(table, rootColumn),
        {{u":rootId"_s, root.getId()}, {u":below"_s, below}, {u":sameBelow"_s, below}});
}

void Scan::folderFound(const Folder& folder)
{
    storeWhenDue();
    folders.push_back({folder.path, folder.id});
    if (folder.id != root.getId())
        ++current.folders.seen;
    showProgress(folder.path);
}

void Scan::folderMissing(const Folder& folder)
{
    ++current.folders.missing;
    missing.folders.push_back({folder.id, folder.path});
    if (!options.prune)
        warn(u"The folder %1 does not exist on the disk."_s.arg(quoted(folder.path)));
}

void Scan::fileFound(const QString& path, const FileState& state)
{
    ++current.files.seen;
    showProgress(path);
    QString checkSum;
    if (options.hash == HashMode::Never || hash(path, state, checkSum))
        collect({FileWork::Kind::Add, folders.size() - 1, -1, path, state, checkSum});
}

void Scan::fileFound(const QString& path, const FileState& state, const KnownFile& known)
{
    ++current.files.seen;
    showProgress(path);
    const bool matches = known.matches(state);
    if (matches && options.hash != HashMode::Always)
        return;
    QString checkSum;
    if (options.hash != HashMode::Never && !hash(path, state, checkSum))
        return;
    if (matches && (checkSum.isEmpty() || checkSum == known.checkSum))
        return;
    const bool sameContent = !checkSum.isEmpty() &&
                             (checkSum == known.checkSum || (matches && known.checkSum.isEmpty()));
    const auto kind = sameContent ? FileWork::Kind::Refresh : FileWork::Kind::Change;
    collect({kind, folders.size() - 1, known.id, path, state, checkSum});
}

void Scan::fileMissing(const KnownFile& known)
{
    ++current.files.missing;
    missing.files.push_back({known.id, known.clientPath});
    if (!options.prune)
        warn(u"The file %1 does not exist on the disk."_s.arg(quoted(known.clientPath)));
}

void Scan::entrySkipped(const QString&)
{
    ++current.files.skipped;
}

void Scan::fileInaccessible(const QString& path, int error)
{
    ++current.files.unreadable;
    warn(describeInaccessible(path, error));
}

void Scan::problem(const DirectoryWalk::Problem& problem)
{
    using Kind = DirectoryWalk::Problem::Kind;
    switch (problem.kind) {
    case Kind::Unreadable:
        ++current.folders.unreadable;
        break;
    case Kind::InvalidFolderName:
        ++current.folders.invalidNames;
        break;
    case Kind::InvalidFileName:
        ++current.files.invalidNames;
        break;
    }
    warn(describe(problem));
}

// False for a file whose record must not be changed this time. A file that cannot be read gets an
// empty checksum, so that its record still says that it exists.
bool Scan::hash(const QString& path, const FileState& state, QString& checkSum)
{
    const FileHash result = hashFile(path, state);
    checkSum = result.checkSum;
    if (result.outcome == FileHash::Outcome::Unstable) {
        ++current.files.unstable;
        warn(u"The file %1 changed while it was read. Scan again."_s.arg(quoted(path)));
        return false;
    }
    if (result.outcome == FileHash::Outcome::Unreadable) {
        ++current.files.unreadable;
        warn(u"The file %1 cannot be read, so its record has no checksum. Change its permissions, "
             u"and scan again with --hash always."_s.arg(quoted(path)));
    }
    return true;
}

void Scan::collect(FileWork work)
{
    static const std::array Words{u"New"_s, u"Changed"_s, u"Same content"_s}; // as in Kind
    progress.clear();
    session.output.detail(Words.at(size_t(work.kind)) + u": "_s + quoted(work.path));
    files.push_back(std::move(work));
    storeWhenDue();
}

void Scan::storeWhenDue()
{
    const size_t collected = files.size() + folders.size();
    if (collected < BatchRecords && !sinceStored.hasExpired(BatchMs))
        return;
    store();
    sinceStored.restart();
}

void Scan::store()
{
    const auto newFolders = std::count_if(
        folders.begin(), folders.end(), [](const FolderWork& folder) { return folder.isNew(); });
    if (options.dryRun) {
        countBatch();
    } else if ((newFolders > 0 || !files.empty()) && !stopRequested()) {
        const ScanCounts before = current;
        try {
            storeBatch();
        } catch (const CommandError&) {
            // The whole batch was rolled back.
            current = before;
            current.folders.failed += newFolders;
            current.files.failed += qint64(files.size());
            throw;
        }
    }
    files.clear();
    // The last folder may have more files.
    if (folders.size() > 1)
        folders.erase(folders.begin(), folders.end() - 1);
}

void Scan::storeBatch()
{
    Transaction transaction(session.database());
    for (FolderWork& folder : folders) {
        if (stopRequested())
            break;
        if (folder.isNew())
            addFolder(folder);
    }
    for (const FileWork& work : files) {
        if (stopRequested())
            break;
        if (work.kind == FileWork::Kind::Add)
            addFile(work);
        else
            updateFile(work);
    }
    transaction.commit();
}

void Scan::countBatch()
{
    for (FolderWork& folder : folders) {
        if (!folder.isNew())
            continue;
        ++current.folders.added;
        folder.refused = true; // Counted once.
    }
    for (const FileWork& work : files) {
        ++(work.kind == FileWork::Kind::Add      ? current.files.added
           : work.kind == FileWork::Kind::Change ? current.files.changed
                                                 : current.files.refreshed);
    }
}

void Scan::addFolder(FolderWork& folder)
{
    folder.id = session.folders().AddFolderAndParent(folder.path, root).getId();
    session.database().check();
    if (folder.id != -1) {
        ++current.folders.added;
        return;
    }
    folder.refused = true;
    ++current.folders.failed;
    warn(u"The folder %1 could not be registered. Check whether 'velmioctl folder tree' shows its "
         u"parent, and scan again."_s.arg(quoted(folder.path)));
}

void Scan::addFile(const FileWork& work)
{
    const FolderWork& folder = folders[work.folder];
    if (folder.id == -1) {
        ++current.files.failed;
        return;
    }
    FileConfiguration file;
    file.setFolderConfigurationId(folder.id);
    file.setRootFolderId(root.getId());
    file.setProductConfigurationId(root.getProductConfigurationId());
    file.setName(work.path.mid(work.path.lastIndexOf(u'/') + 1));
    file.setClientPath(work.path);
    file.setServerPath(
        sync::core::GetServerPath(work.path, root.getClientPath(), root.getServerPath()));
    file.setSyncStatus(sync::config::FileNotSynced);
    setFileState(file, work.state, work.checkSum);
    session.database().check(session.files().Add(file), u"Storing the file"_s);
    ++current.files.added;
}

void Scan::updateFile(const FileWork& work)
{
    // Read again, because another program may have changed the other fields.
    FileConfiguration file = session.files().GetFileConfigurationById(work.id);
    session.database().check();
    if (file.getId() == -1)
        return;
    if (!file.isStorable()) {
        ++current.files.failed;
        warn(u"The record of the file %1 has properties or links that cannot be stored again, so "
             u"it was not changed. 'velmioctl file show %2' and 'velmioctl file links %2' show "
             u"them."_s.arg(quoted(work.path), QString::number(work.id)));
        return;
    }
    setFileState(file, work.state, work.checkSum);
    if (work.kind == FileWork::Kind::Change)
        file.setSyncStatus(sync::config::FileNotSynced);
    session.database().check(session.files().Update(file), u"Storing the file"_s);
    ++(work.kind == FileWork::Kind::Change ? current.files.changed : current.files.refreshed);
}

void Scan::warn(const QString& text)
{
    if (++warnings > ShownWarnings)
        return;
    progress.clear();
    session.output.warning(text);
}

void Scan::warnOfRest()
{
    progress.clear();
    if (warnings > ShownWarnings) {
        session.output.warning(u"%1 more warnings below %2 are not shown."_s.arg(
            QString::number(warnings - ShownWarnings), quoted(root.getClientPath())));
    }
}

void Scan::showProgress(const QString& path)
{
    if (!progress.due())
        return;
    const qint64 elapsedMs = std::max<qint64>(1, sinceBegun.elapsed());
    const long long perSecond = current.files.seen * 1000 / elapsedMs;
    QString text = u"%1 folders, %2 files, %3/s"_s.arg(
        QString::number(current.folders.seen), QString::number(current.files.seen),
        QString::number(perSecond));
    // The records of the last scan are the best estimate of the number of files.
    if (perSecond > 0 && expectedFiles > current.files.seen) {
        text += u", %1 s left"_s.arg(
            QString::number((expectedFiles - current.files.seen) / perSecond + 1));
    }
    progress.show(text + u": "_s + path);
}

} // namespace velmioctl
