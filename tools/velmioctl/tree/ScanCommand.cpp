#include <velmioctl/tree/Commands.h>

#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Interruption.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/Scan.h>

#include <QElapsedTimer>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

/// The findings of all roots, as they are printed at the end.
class ScanSummary
{
public:
    void add(const FolderConfiguration& root, const ScanCounts& counts)
    {
        total += counts;
        findings = findings || counts.hasFindings();

        QJsonObject object = toJson(counts);
        object.insert(u"id"_s, root.getId());
        object.insert(u"clientPath"_s, root.getClientPath());
        object.insert(u"missing"_s, counts.rootMissing);
        object.insert(u"topLevel"_s, counts.topLevel);
        roots.append(object);

        const QString note = counts.rootMissing ? u"not there"_s
                             : counts.topLevel  ? u"without subfolders"_s
                                                : QString();
        addRow(QString::number(root.getId()), counts, note, root.getClientPath());
    }

    bool hasFindings() const { return findings; }

    void print(Output& output, qint64 elapsedMs, bool interrupted)
    {
        if (output.json()) {
            QJsonObject object = toJson(total);
            object.insert(u"roots"_s, roots);
            object.insert(u"elapsedMs"_s, elapsedMs);
            object.insert(u"interrupted"_s, interrupted);
            output.print(object);
            return;
        }
        addRow(u"all"_s, total, interrupted ? u"interrupted"_s : QString(), {});
        output.print(table);
    }

private:
    static QJsonObject toJson(const ScanCounts::Files& files)
    {
        return {
            {u"seen"_s, files.seen},
            {u"new"_s, files.added},
            {u"changed"_s, files.changed},
            {u"refreshed"_s, files.refreshed},
            {u"gone"_s, files.missing},
            {u"pruned"_s, files.pruned},
            {u"skipped"_s, files.skipped},
            {u"unstable"_s, files.unstable},
            {u"unreadable"_s, files.unreadable},
            {u"invalidNames"_s, files.invalidNames},
            {u"failed"_s, files.failed},
        };
    }

    static QJsonObject toJson(const ScanCounts& counts)
    {
        return {
            {u"seen"_s, counts.seen},
            {u"new"_s, counts.added},
            {u"failed"_s, counts.failed},
            {u"unreadable"_s, counts.unreadable},
            {u"invalidNames"_s, counts.invalidNames},
            {u"gone"_s, counts.missing},
            {u"pruned"_s, counts.pruned},
            {u"files"_s, toJson(counts.files)},
        };
    }

    void addRow(
        const QString& id, const ScanCounts& counts, const QString& note, const QString& path)
    {
        const long long problems =
            counts.failed + counts.unreadable + counts.invalidNames + counts.fileProblems();
        table.addRow(
            {id, QString::number(counts.seen), QString::number(counts.added),
             QString::number(counts.files.seen), QString::number(counts.files.added),
             QString::number(counts.files.changed),
             QString::number(counts.missing + counts.files.missing),
             QString::number(counts.files.skipped), QString::number(problems), note, path});
    }

    static Table emptyTable()
    {
        Table table(
            {u"ROOT"_s, u"FOLDERS"_s, u"NEW"_s, u"FILES"_s, u"NEW"_s, u"CHANGED"_s, u"GONE"_s,
             u"SKIPPED"_s, u"PROBLEMS"_s, u"NOTE"_s, u"PATH"_s});
        for (int column = 0; column < 9; ++column)
            table.alignRight(column);
        return table;
    }

    ScanCounts total;
    bool findings = false;
    QJsonArray roots;
    Table table = emptyTable();
};

struct ScanCommandOptions
{
    std::optional<std::string> root;
    std::string hash = "changed";
    Scan::Options scan;
    bool yes = false;
};

HashMode hashModeOf(const std::string& word)
{
    if (word == "always")
        return HashMode::Always;
    return word == "never" ? HashMode::Never : HashMode::Changed;
}

void scan(Session& session, const ScanCommandOptions& options)
{
    // The paths in it are those of another machine, or of somebody else.
    if (session.database().engine().isMoved()) {
        throw CommandError(
            ExitCode::OtherError, u"Nothing was scanned: run 'velmioctl adopt' first, as the "
                                  u"database comes from another machine or account."_s);
    }
    if (options.scan.prune) {
        session.confirm(
            options.yes,
            u"Remove the records of all files and folders that are gone from the disk? The base "
            u"copies and generated files that belong to them are deleted from the disk."_s);
    }
    QElapsedTimer clock;
    clock.start();
    const auto roots = session.rootFolders(options.root);

    const Interruption interruption;
    ScanSummary summary;
    std::optional<CommandError> failure;
    {
        Progress progress(stderr, session.output.messageTerminal());
        Scan scan(
            session, progress, options.scan, [&interruption] { return interruption.requested(); });
        for (const FolderConfiguration& root : roots) {
            if (interruption.requested())
                break;
            try {
                scan.run(root);
            } catch (const CommandError& error) {
                failure = error;
            }
            summary.add(root, scan.counts());
            if (failure)
                break;
        }
    }
    summary.print(session.output, clock.elapsed(), interruption.requested());
    if (failure)
        throw CommandError(*failure);
    if (interruption.requested())
        session.exitCode = interruption.exitCode();
    else if (summary.hasFindings())
        session.exitCode = ExitCode::Findings;
}

} // namespace

void addScanCommand(Command& app, Session& session)
{
    auto* const command = app.addSubcommand(
        "scan", "Bring the records of the folders and files below the roots up to date");
    const auto options = std::make_shared<ScanCommandOptions>();
    command->addOption("ROOT", options->root, "Id or path of one root folder; all without it")
        ->offersFolders();
    command
        ->addOption(
            "--hash", options->hash,
            "Which files to read for their checksums: always all, never any, or (without the "
            "option) changed: new ones and those whose size or times differ")
        ->choices({"always", "changed", "never"});
    command->addFlag(
        "--prune", options->scan.prune,
        "Remove the records of what is gone, and delete the base copies and generated files of "
        "these files from the disk");
    command->addFlag("--yes", options->yes, "Prune without asking");
    command->example("velmioctl scan Work")->example("velmioctl scan --hash always --prune");
    command->callback([&session, options] {
        options->scan.hash = hashModeOf(options->hash);
        scan(session, *options);
    });
}

} // namespace velmioctl
