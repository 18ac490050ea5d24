#include <velmioctl/tree/Scan.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <core/PathHelpers.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

// As many as are stored in well under a second, so that other writers wait no longer than that.
constexpr size_t BatchRecords = 2000;
// A slow disk does not hold back what was found on it for longer than this.
constexpr qint64 BatchMs = 500;
// Warnings that are written for one root; the rest is only counted.
constexpr long long ShownWarnings = 20;

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
    seen += other.seen;
    added += other.added;
    failed += other.failed;
    unreadable += other.unreadable;
    invalidNames += other.invalidNames;
    missing += other.missing;
    pruned += other.pruned;
    files.seen += other.files.seen;
    files.added += other.files.added;
    files.changed += other.files.changed;
    files.refreshed += other.files.refreshed;
    files.missing += other.files.missing;
    files.pruned += other.files.pruned;
    files.skipped += other.files.skipped;
    files.unstable += other.files.unstable;
    files.unreadable += other.files.unreadable;
    files.invalidNames += other.files.invalidNames;
    files.failed += other.files.failed;
    return *this;
}

long long ScanCounts::fileProblems() const
{
    return files.unstable + files.unreadable + files.invalidNames + files.failed;
}

bool ScanCounts::hasFindings() const
{
    return failed + unreadable + invalidNames + fileProblems() > 0 || rootMissing ||
           missing > pruned || files.missing > files.pruned;
}

Scan::Scan(
    Session& session, Progress& progress, Options options, std::function<bool()> stopRequested)
    : session(session)
    , progress(progress)
    , options(options)
    , stopRequested(std::move(stopRequested))
{
}

void Scan::run(const FolderConfiguration& rootFolder)
{
    root = rootFolder;
    current = {};
    folders.clear();
    files.clear();
    missingFiles.clear();
    missingFolders.clear();
    warnings = 0;
    current.topLevel = root.getFolderOption() == sync::config::TopLevelOnly;
    const QString path = root.getClientPath();
    if (!QFileInfo(path).isDir()) {
        current.rootMissing = true;
        progress.clear();
        session.output.error(
            u"The root folder %1 (id %2) is not there: connect its drive, or remove it with "
            u"'velmioctl folder clean %2'."_s.arg(quoted(path), QString::number(root.getId())));
        return;
    }
    const auto guard = session.database().guard();
    expectedFiles = session.database().number(
        u"SELECT count(*) FROM FileConfiguration WHERE rootFolderId = :rootFolderId"_s,
        {{u":rootFolderId"_s, root.getId()}});
    sinceBegun.start();
    sinceStored.start();
    const bool toItsEnd = TreeComparison(session.database(), *this, stopRequested).run(root);
    store();
    if (toItsEnd && options.prune) {
        // What could not be read looks like what is gone.
        if (guard.failed()) {
            throw CommandError(
                ExitCode::OtherError, u"Nothing was pruned, as the database failed during the "
                                      u"scan: scan again."_s);
        }
        prune();
    }
    warnOfRest();
}

void Scan::folderFound(const Folder& folder)
{
    storeWhenDue();
    folders.push_back({folder.path, folder.id});
    if (folder.id != root.getId())
        ++current.seen;
    showProgress(folder.path);
}

void Scan::folderMissing(const Folder& folder)
{
    ++current.missing;
    missingFolders.push_back(folder.id);
    if (!options.prune)
        warn(u"The folder %1 is gone from the disk."_s.arg(quoted(folder.path)));
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
    missingFiles.push_back(known.id);
    if (!options.prune)
        warn(u"The file %1 is gone from the disk."_s.arg(quoted(known.clientPath)));
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
        ++current.unreadable;
        break;
    case Kind::InvalidFolderName:
        ++current.invalidNames;
        break;
    case Kind::InvalidFileName:
        ++current.files.invalidNames;
        break;
    }
    warn(describe(problem));
}

// False for a file that is to be left as it is this time. The checksum of one that may not be read
// stays empty: its record still tells that it is there.
bool Scan::hash(const QString& path, const FileState& state, QString& checkSum)
{
    const FileHash result = hashFile(path, state);
    checkSum = result.checkSum;
    if (result.outcome == FileHash::Outcome::Unstable) {
        ++current.files.unstable;
        warn(u"The file %1 changed while it was read: scan again."_s.arg(quoted(path)));
        return false;
    }
    if (result.outcome == FileHash::Outcome::Unreadable) {
        ++current.files.unreadable;
        warn(u"The file %1 cannot be read, so its record has no checksum: give yourself the right "
             u"to, and scan again with --hash always."_s.arg(quoted(path)));
    }
    return true;
}

void Scan::collect(FileWork work)
{
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
    if ((newFolders > 0 || !files.empty()) && !stopRequested()) {
        const ScanCounts before = current;
        try {
            storeBatch();
        } catch (const CommandError&) {
            // The whole batch was undone.
            current = before;
            current.failed += newFolders;
            current.files.failed += qint64(files.size());
            throw;
        }
    }
    files.clear();
    // More files of the last folder may follow.
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

void Scan::addFolder(FolderWork& folder)
{
    folder.id = session.folders().AddFolderAndParent(folder.path, root).getId();
    session.database().check();
    if (folder.id != -1) {
        ++current.added;
        return;
    }
    folder.refused = true;
    ++current.failed;
    warn(u"The folder %1 could not be registered: scan again, and see whether its parent is in "
         u"'velmioctl folder tree'."_s.arg(quoted(folder.path)));
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
    // The other fields as they are now, in case that somebody else has written them meanwhile.
    FileConfiguration file = session.files().GetFileConfigurationById(work.id);
    session.database().check();
    if (file.getId() == -1)
        return;
    setFileState(file, work.state, work.checkSum);
    if (work.kind == FileWork::Kind::Change)
        file.setSyncStatus(sync::config::FileNotSynced);
    session.database().check(session.files().Update(file), u"Storing the file"_s);
    ++(work.kind == FileWork::Kind::Change ? current.files.changed : current.files.refreshed);
}

void Scan::prune()
{
    for (size_t begin = 0; begin < missingFiles.size() && !stopRequested(); begin += BatchRecords)
        pruneFiles(begin, std::min(begin + BatchRecords, missingFiles.size()));

    // The deepest ones first, so that none is left without its parent by an interruption.
    std::reverse(missingFolders.begin(), missingFolders.end());
    for (size_t begin = 0; begin < missingFolders.size() && !stopRequested(); begin += BatchRecords)
        pruneFolders(begin, std::min(begin + BatchRecords, missingFolders.size()));
}

void Scan::pruneFiles(size_t begin, size_t end)
{
    Transaction transaction(session.database());
    for (size_t at = begin; at < end; ++at) {
        session.database().check(
            session.files().RemoveFileConfigurationAndLinkedConfigurations(missingFiles[at]),
            u"Removing the file"_s);
    }
    transaction.commit();
    current.files.pruned += qint64(end - begin);
}

void Scan::pruneFolders(size_t begin, size_t end)
{
    Transaction transaction(session.database());
    for (size_t at = begin; at < end; ++at) {
        session.database().check(
            session.folders().Remove(missingFolders[at]), u"Removing the folder"_s);
    }
    transaction.commit();
    current.pruned += qint64(end - begin);
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
        session.output.warning(u"%1 further places below %2 are only counted."_s.arg(
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
        QString::number(current.seen), QString::number(current.files.seen),
        QString::number(perSecond));
    // What the last scan stored is the best guess of what there is.
    if (perSecond > 0 && expectedFiles > current.files.seen) {
        text += u", %1 s left"_s.arg(
            QString::number((expectedFiles - current.files.seen) / perSecond + 1));
    }
    progress.show(text + u": "_s + path);
}

} // namespace velmioctl
