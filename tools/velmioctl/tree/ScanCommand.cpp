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

        QJsonObject object = counts.toJson();
        object.insert(u"id"_s, root.getId());
        object.insert(u"clientPath"_s, root.getClientPath());
        object.insert(u"missing"_s, counts.rootMissing);
        object.insert(u"topLevel"_s, counts.topLevel);
        roots.append(object);

        const QString note = counts.rootMissing ? u"missing"_s
                             : counts.topLevel  ? u"without subfolders"_s
                                                : QString();
        addRow(QString::number(root.getId()), counts, note, root.getClientPath());
    }

    bool hasFindings() const { return total.hasFindings(); }

    void print(Output& output, qint64 elapsedMs, bool interrupted)
    {
        if (output.json()) {
            QJsonObject object = total.toJson();
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
    void addRow(
        const QString& id, const ScanCounts& counts, const QString& note, const QString& path)
    {
        table.addRow(
            {id, QString::number(counts.folders.seen), QString::number(counts.folders.added),
             QString::number(counts.files.seen), QString::number(counts.files.added),
             QString::number(counts.files.changed),
             QString::number(counts.folders.missing + counts.files.missing),
             QString::number(counts.files.skipped), QString::number(counts.problems()), note,
             path});
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
    // Its paths belong to another machine or account.
    if (session.database().engine().isMoved()) {
        throw CommandError(
            ExitCode::OtherError, u"Nothing was scanned, because the database comes from another "
                                  u"machine or account. Run 'velmioctl adopt' first."_s);
    }
    if (options.scan.prune) {
        session.confirm(
            options.yes, u"Remove the records of all files and folders that do not exist on the "
                         u"disk? Their base "
                         u"copies and generated files are deleted from the disk."_s);
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
    auto* const command =
        app.addSubcommand("scan", "Update the records of the folders and files below the roots");
    const auto options = std::make_shared<ScanCommandOptions>();
    command->addOption("ROOT", options->root, "Id or path of one root folder; the default is all")
        ->offersFolders();
    command
        ->addOption(
            "--hash", options->hash,
            "Which files to read for their checksums: always all, never any, or changed (the "
            "default): new files, and files whose size or times differ")
        ->choices({"always", "changed", "never"});
    command->addFlag(
        "--prune", options->scan.prune,
        "Remove the records of files and folders that do not exist, and delete the base copies "
        "and generated files of these files");
    command->addFlag("--yes", options->yes, "Prune without asking");
    command->example("velmioctl scan Work")->example("velmioctl scan --hash always --prune");
    command->callback([&session, options] {
        options->scan.hash = hashModeOf(options->hash);
        scan(session, *options);
    });
}

} // namespace velmioctl
