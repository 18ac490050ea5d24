#include <velmioctl/tree/Prune.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <tree/FileState.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/References.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/RootFolders.h>

#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

// Removed in well under a second, which is how long other writers wait.
constexpr std::ptrdiff_t RemovedTogether = 2000;
// From here on, a mistake costs more than the backup.
constexpr long long BackupAbove = 1000;
constexpr long long WholePercent = 100;

QJsonArray pathsOf(const std::vector<MissingRecords::Record>& records)
{
    QJsonArray paths;
    for (const auto& record : records)
        paths.append(record.path);
    return paths;
}

} // namespace

QJsonObject MissingRecords::toJson() const
{
    return {
        {u"files"_s, pathsOf(files)},
        {u"folders"_s, pathsOf(folders)},
        {u"dependants"_s, QJsonArray::fromStringList(dependants)},
        {u"deleted"_s, QJsonArray::fromStringList(deleted())},
    };
}

QStringList MissingRecords::deleted() const
{
    QStringList paths;
    for (const QString& path : dependants) {
        if (!QFileInfo::exists(path))
            paths += path;
    }
    return paths;
}

PruneLimit PruneLimit::from(const std::string& text)
{
    QString number = QString::fromStdString(text).trimmed();
    PruneLimit limit{.percent = number.endsWith(u'%'), .freeBelow = 0};
    if (limit.percent)
        number.chop(1);
    bool isNumber = false;
    limit.amount = number.toLongLong(&isNumber);
    if (!isNumber || limit.amount < 0 || (limit.percent && limit.amount > WholePercent)) {
        throw CommandError(
            ExitCode::Usage,
            u"--max-prune cannot be %1. Give a number of records, such as 200, or a share of a "
            u"root folder's records from 0% to 100%, such as 30%."_s.arg(
                quoted(QString::fromStdString(text))));
    }
    return limit;
}

bool PruneLimit::allows(const MissingRecords& missing) const
{
    if (missing.stored < freeBelow)
        return true;
    return percent ? missing.size() * WholePercent <= missing.stored * amount
                   : missing.size() <= amount;
}

QString PruneLimit::text() const
{
    return percent ? u"%1 %"_s.arg(amount) : counted(amount, u"record"_s);
}

Prune::Prune(Session& session, std::vector<MissingRecords>& plan)
    : session(session)
    , plan(plan)
{
    for (const MissingRecords& root : plan)
        records += root.size();
    findDependants();
}

void Prune::requireWithin(const PruneLimit& limit) const
{
    for (const MissingRecords& root : plan) {
        if (limit.allows(root))
            continue;
        throw CommandError(
            ExitCode::Usage,
            u"Nothing was pruned: %1 of the %2 records of the root folder %3 are not on the disk, "
            u"and the limit is %4. Check whether its drive is connected; 'velmioctl scan --prune "
            u"--dry-run' lists what would be removed. To remove it, raise the limit with "
            u"--max-prune, or add --force."_s.arg(
                QString::number(root.size()), QString::number(root.stored), described(root.root),
                limit.text()));
    }
}

void Prune::show(qsizetype most) const
{
    QStringList lines;
    for (const MissingRecords& root : plan) {
        for (const auto* const list : {&root.files, &root.folders}) {
            for (const auto& record : *list)
                lines += u"Would remove the record of %1."_s.arg(quoted(record.path));
        }
        for (const QString& path : root.dependants)
            lines += u"Would delete %1 from the disk."_s.arg(quoted(path));
    }
    const qsizetype shown = std::min(lines.size(), most);
    for (const QString& line : lines.first(shown))
        session.output.printText(line);
    if (shown < lines.size()) {
        session.output.printText(
            u"%1 more are not shown; 'velmioctl scan --prune --dry-run' lists all."_s.arg(
                lines.size() - shown));
    }
}

QString Prune::question() const
{
    long long files = 0;
    long long folders = 0;
    long long dependants = 0;
    for (const MissingRecords& root : plan) {
        files += qint64(root.files.size());
        folders += qint64(root.folders.size());
        dependants += root.dependants.size();
    }
    return u"Remove the records of %1 and %2 that do not exist on the disk, and delete %3 from the "
           u"disk?"_s.arg(
               counted(files, u"file"_s), counted(folders, u"folder"_s),
               dependants == 1 ? u"1 base copy or generated file"_s
                               : u"%1 base copies and generated files"_s.arg(dependants));
}

void Prune::run(const std::function<bool()>& stopRequested)
{
    if (records > BackupAbove)
        session.backUp(sync::database::DatabaseBackups::Reason::Removal);
    const auto removeFile = [this](int id) {
        return session.files().RemoveFileConfigurationAndLinkedConfigurations(id);
    };
    const auto removeFolder = [this](int id) { return session.folders().Remove(id); };
    for (MissingRecords& root : plan) {
        removeInBatches(
            root.files, sync::tree::fileIsGone, removeFile, stopRequested, root.prunedFiles);
        // The deepest folders first, so that an interruption leaves none without its parent.
        std::reverse(root.folders.begin(), root.folders.end());
        removeInBatches(
            root.folders, sync::tree::folderIsGone, removeFolder, stopRequested,
            root.prunedFolders);
    }
}

void Prune::findDependants()
{
    for (MissingRecords& root : plan) {
        for (const auto& record : root.files)
            root.dependants += filesDeletedWith(session, record.id);
    }
}

void Prune::removeInBatches(
    const std::vector<MissingRecords::Record>& list, bool (*isGone)(const QString& path),
    const Remove& remove, const std::function<bool()>& stopRequested, long long& removed)
{
    for (auto next = list.begin(); next != list.end() && !stopRequested();) {
        const auto end = next + std::min<std::ptrdiff_t>(RemovedTogether, list.end() - next);
        Transaction transaction(session.database());
        long long count = 0;
        for (; next != end; ++next) {
            if (!isGone(next->path))
                continue;
            session.database().check(remove(next->id), u"Removing a record"_s);
            ++count;
        }
        transaction.commit();
        removed += count;
    }
}

} // namespace velmioctl
