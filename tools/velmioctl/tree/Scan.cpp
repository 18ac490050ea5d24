#include <velmioctl/tree/Scan.h>

#include <base/FilePaths.h>
#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/IgnoreFile.h>
#include <velmioctl/tree/TreeTexts.h>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;
using sync::tree::RootState;
using sync::tree::TreeScan;

namespace velmioctl {

namespace {

// Warnings that are printed for one root; the rest is only counted.
constexpr long long ShownWarnings = 20;

QJsonObject jsonOfKind(const sync::tree::ScanCounts::Kind& kind, long long pruned)
{
    return {
        {u"seen"_s, kind.seen},
        {u"new"_s, kind.added},
        {u"moved"_s, kind.moved},
        {u"gone"_s, kind.missing},
        {u"pruned"_s, pruned},
        {u"failed"_s, kind.failed},
        {u"unreadable"_s, kind.unreadable},
        {u"invalidNames"_s, kind.invalidNames}};
}

} // namespace

void requireOwnDatabase(WatchedDatabase& database)
{
    if (database.engine().isMoved()) {
        throw CommandError(
            ExitCode::OtherError, u"Nothing was scanned, because the database comes from another "
                                  u"machine or account. Run 'velmioctl adopt' first."_s);
    }
}

ScanCounts& ScanCounts::operator+=(const ScanCounts& other)
{
    sync::tree::ScanCounts::operator+=(other);
    prunedFolders += other.prunedFolders;
    prunedFiles += other.prunedFiles;
    return *this;
}

bool ScanCounts::hasFindings() const
{
    return problems() > 0 || rootState != RootState::Present || folders.missing > prunedFolders ||
           files.missing > prunedFiles;
}

QJsonObject ScanCounts::toJson() const
{
    QJsonObject ofFiles = jsonOfKind(files, prunedFiles);
    ofFiles.insert(u"changed"_s, files.changed);
    ofFiles.insert(u"refreshed"_s, files.refreshed);
    ofFiles.insert(u"skipped"_s, files.skipped);
    ofFiles.insert(u"unstable"_s, files.unstable);
    QJsonObject ofFolders = jsonOfKind(folders, prunedFolders);
    ofFolders.insert(u"files"_s, ofFiles);
    return ofFolders;
}

Scan::Scan(
    Session& session, Progress& progress, Options options, std::function<bool()> stopRequested)
    : session(session)
    , line(progress)
    , options(options)
    , stopRequested(std::move(stopRequested))
{
}

void Scan::run(const FolderConfiguration& rootFolder, const FolderConfiguration& start)
{
    root = rootFolder;
    current = {};
    current.topLevel = root.getFolderOption() == sync::config::TopLevelOnly;
    missing = {.root = root};
    warnings = 0;
    const auto guard = session.database().guard();
    expectedFiles = recordsBelow(u"FileConfiguration"_s, u"rootFolderId"_s, start);
    missing.stored = expectedFiles + recordsBelow(u"FolderConfiguration"_s, u"rootId"_s, start);
    sinceBegun.start();

    TreeScan scan(
        session.treeStore(), *this,
        {.hash = options.hash,
         .dryRun = options.dryRun,
         .force = options.force,
         .moves = !options.noMoves,
         .ignored = ignoreRule(options.ignored, root.getClientPath()),
         .stopRequested = stopRequested});
    sync::tree::ScanCounts& counts = current;
    bool toItsEnd = false;
    try {
        toItsEnd = scan.run(root, start);
        counts = scan.counts();
    } catch (const sync::database::DatabaseError& error) {
        counts = scan.counts();
        session.database().fail(error);
    } catch (const CommandError&) {
        counts = scan.counts();
        throw;
    }
    warnOfRest();
    if (current.rootState != RootState::Present)
        session.output.error({ExitCode::Findings, describe(current.rootState, root)});
    if (options.prune && guard.failed()) {
        throw CommandError(
            ExitCode::OtherError,
            u"Nothing was pruned, because the database failed during the scan. Scan again."_s);
    }
    if (!toItsEnd)
        missing = {.root = root};
}

long long Scan::recordsBelow(
    const QString& table, const QString& rootColumn, const FolderConfiguration& start)
{
    const QString below = sync::base::joinPath(start.getClientPath(), QString());
    return session.database().number(
        u"SELECT count(*) FROM %1 WHERE %2 = :rootId AND substr(clientPath, 1, length(:below)) = "
        u":sameBelow"_s.arg(table, rootColumn),
        {{u":rootId"_s, root.getId()}, {u":below"_s, below}, {u":sameBelow"_s, below}});
}

void Scan::progress(const QString& path, const sync::tree::ScanCounts& counts)
{
    if (!line.due())
        return;
    const qint64 elapsedMs = std::max<qint64>(1, sinceBegun.elapsed());
    const long long perSecond = counts.files.seen * 1000 / elapsedMs;
    QString text = u"%1 folders, %2 files, %3/s"_s.arg(
        QString::number(counts.folders.seen), QString::number(counts.files.seen),
        QString::number(perSecond));
    // The records of the last scan are the best estimate of the number of files.
    if (perSecond > 0 && expectedFiles > counts.files.seen) {
        text += u", %1 s left"_s.arg(
            QString::number((expectedFiles - counts.files.seen) / perSecond + 1));
    }
    line.show(text + u": "_s + path);
}

void Scan::moved(const sync::tree::Move& move)
{
    movedFromOtherRoot |= move.fromRootId != root.getId();
    line.clear();
    const QString place = u"moved from %1 to %2."_s.arg(quoted(move.from), quoted(move.to));
    session.output.note(
        (move.isFolder ? u"The folder "_s : u"The file "_s) +
        (options.dryRun ? u"was "_s : u"has "_s) + place);
}

void Scan::fileChanged(const QString& path, Change change)
{
    static const std::array Words{u"New"_s, u"Changed"_s, u"Same content"_s}; // as in Change
    line.clear();
    session.output.detail(Words.at(size_t(change)) + u": "_s + quoted(path));
}

void Scan::fileMissing(int id, const QString& path)
{
    missing.files.push_back({id, path});
    if (!options.prune)
        warn(u"The file %1 does not exist on the disk."_s.arg(quoted(path)));
}

void Scan::folderMissing(int id, const QString& path)
{
    missing.folders.push_back({id, path});
    if (!options.prune)
        warn(u"The folder %1 does not exist on the disk."_s.arg(quoted(path)));
}

void Scan::problem(const sync::tree::TreeProblem& problem)
{
    warn(describe(problem));
}

void Scan::warn(const QString& text)
{
    if (++warnings > ShownWarnings)
        return;
    line.clear();
    session.output.warning(text);
}

void Scan::warnOfRest()
{
    line.clear();
    if (warnings > ShownWarnings) {
        session.output.warning(u"%1 more warnings below %2 are not shown."_s.arg(
            QString::number(warnings - ShownWarnings), quoted(root.getClientPath())));
    }
}

} // namespace velmioctl
