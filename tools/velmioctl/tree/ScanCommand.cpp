#include <velmioctl/tree/Commands.h>

#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Interruption.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/IgnoreFile.h>
#include <velmioctl/tree/Scan.h>
#include <velmioctl/tree/TreeTexts.h>

#include <QElapsedTimer>

#include <limits>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;
using sync::tree::RootState;

namespace velmioctl {

namespace {

/// The findings of all roots, as they are printed at the end.
class ScanSummary
{
public:
    void add(const Subtree& tree, const ScanCounts& counts, const QJsonValue& pruned)
    {
        const FolderConfiguration& root = tree.root;
        total += counts;

        QJsonObject object = counts.toJson();
        object.insert(u"id"_s, root.getId());
        object.insert(u"clientPath"_s, tree.start.getClientPath());
        object.insert(u"missing"_s, counts.rootState == RootState::Missing);
        object.insert(u"state"_s, wordFor(counts.rootState));
        object.insert(u"topLevel"_s, counts.topLevel);
        if (pruned.isObject())
            object.insert(u"prune"_s, pruned);
        roots.append(object);

        const QString note = counts.rootState != RootState::Present ? wordFor(counts.rootState)
                             : counts.topLevel                      ? u"without subfolders"_s
                                                                    : QString();
        addRow(QString::number(root.getId()), counts, note, tree.start.getClientPath());
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
    std::optional<std::string> folder;
    std::string hash = "changed";
    IgnoreFile ignored;
    Scan::Options scan;
    std::optional<std::string> maxPrune;
    PruneLimit limit;
    bool yes = false;
};

// What a person is shown of a plan before the question.
constexpr qsizetype ShownRemovals = 20;

Scan::HashMode hashModeOf(const std::string& word)
{
    if (word == "always")
        return Scan::HashMode::Always;
    return word == "never" ? Scan::HashMode::Never : Scan::HashMode::Changed;
}

/// One run of the command, from the disk to the answer.
class Findings
{
public:
    Findings(Session& session, const ScanCommandOptions& options)
        : session(session)
        , options(options)
    {
    }

    /// Compares the roots. Throws CommandError when the database fails.
    void scan()
    {
        trees = session.subtrees(options.folder);
        const Interruption interruption;
        Progress progress(stderr, session.output.progressTerminal());
        Scan scan(
            session, progress, options.scan, [&interruption] { return interruption.requested(); });
        for (const Subtree& tree : trees) {
            if (interruption.requested())
                break;
            try {
                scan.run(tree.root, tree.start);
            } catch (const CommandError&) {
                add(scan, tree);
                throw;
            }
            add(scan, tree);
        }
        if (scan.hasMovedFromOtherRoot())
            leaveOutMoved();
        session.exitCode = interruption.exitCode();
    }

    /// Removes what scan() did not find, if the user agrees.
    void prune()
    {
        Prune prune(session, missing);
        const bool asks = !options.scan.dryRun && !options.yes;
        if (!session.output.json() && (options.scan.dryRun || asks))
            prune.show(asks ? ShownRemovals : std::numeric_limits<qsizetype>::max());
        if (!options.scan.force)
            prune.requireWithin(options.limit);
        if (options.scan.dryRun || prune.isEmpty())
            return;
        session.confirm(options.yes, prune.question());
        const Interruption interruption;
        prune.run([&interruption] { return interruption.requested(); });
        session.exitCode = interruption.exitCode();
    }

    void print(qint64 elapsedMs)
    {
        ScanSummary summary;
        for (size_t at = 0; at < counts.size(); ++at) {
            counts[at].prunedFiles = missing[at].prunedFiles;
            counts[at].prunedFolders = missing[at].prunedFolders;
            summary.add(
                trees[at], counts[at], options.scan.prune ? missing[at].toJson() : QJsonValue());
            if (!session.output.json() && !options.scan.dryRun) {
                for (const QString& path : missing[at].deleted())
                    session.output.printText(u"Deleted %1."_s.arg(quoted(path)));
            }
        }
        summary.print(session.output, elapsedMs, session.exitCode != ExitCode::Ok);
        if (session.exitCode == ExitCode::Ok && summary.hasFindings())
            session.exitCode = ExitCode::Findings;
    }

private:
    // What an earlier root did not have any more, and a later one has got.
    void leaveOutMoved()
    {
        const auto hasMoved = [this](const QString& table, const MissingRecords::Record& record) {
            return session.database().number(
                       u"SELECT count(*) FROM %1 WHERE id = :id AND clientPath = :clientPath"_s.arg(
                           table),
                       {{u":id"_s, record.id}, {u":clientPath"_s, record.path}}) == 0;
        };
        for (size_t at = 0; at < missing.size(); ++at) {
            counts[at].files.missing -=
                qint64(std::erase_if(missing[at].files, [&](const auto& record) {
                    return hasMoved(u"FileConfiguration"_s, record);
                }));
            counts[at].folders.missing -=
                qint64(std::erase_if(missing[at].folders, [&](const auto& record) {
                    return hasMoved(u"FolderConfiguration"_s, record);
                }));
        }
    }

    void add(Scan& scan, const Subtree& tree)
    {
        counts.push_back(scan.counts());
        missing.push_back(scan.takeMissing());
        missing.back().root = tree.root;
    }

    Session& session;
    const ScanCommandOptions& options;
    std::vector<Subtree> trees;
    // One for each of these that was compared.
    std::vector<ScanCounts> counts;
    std::vector<MissingRecords> missing;
};

void scan(Session& session, const ScanCommandOptions& options)
{
    requireOwnDatabase(options.scan.dryRun ? session.database() : session.writableDatabase());
    if (options.scan.prune && !options.scan.dryRun && !options.yes)
        session.requireTerminal(u"Remove the records of what does not exist on the disk?"_s);
    QElapsedTimer clock;
    clock.start();
    Findings findings(session, options);
    try {
        findings.scan();
        if (options.scan.prune && session.exitCode == ExitCode::Ok)
            findings.prune();
    } catch (const CommandError&) {
        findings.print(clock.elapsed());
        throw;
    }
    findings.print(clock.elapsed());
}

} // namespace

void addScanCommand(Command& app, Session& session)
{
    auto* const command =
        app.addSubcommand("scan", "Update the records of the folders and files below the roots");
    const auto options = std::make_shared<ScanCommandOptions>();
    command
        ->addOption(
            "FOLDER", options->folder,
            "Id or path of a root folder or of one below it; the default is all roots")
        ->offersFolders();
    command
        ->addOption(
            "--hash", options->hash,
            "Which files to read for their checksums: always all, never any, or changed (the "
            "default): new files, and files whose size or times differ")
        ->choices({"always", "changed", "never"});
    auto* const prune = command->addFlag(
        "--prune", options->scan.prune,
        "Remove the records of files and folders that do not exist, and delete the base copies "
        "and generated files of these files");
    command
        ->addFlag(
            "--dry-run", options->scan.dryRun, "List what --prune would remove, and change nothing")
        ->needs(prune);
    command
        ->addOption(
            "--max-prune", options->maxPrune,
            "Prune nothing if a root folder would lose more than this many records, or this share "
            "of them; the default is 50% for roots with more than 20 records")
        ->typeName("N|N%")
        ->needs(prune);
    command->addFlag(
        "--force", options->scan.force,
        "Scan a root folder that is empty or was exchanged, and prune without a limit");
    command->addFlag(
        "--no-moves", options->scan.noMoves,
        "Record what has another path as new, and its old path as missing");
    command->addFlag("--yes", options->yes, "Prune without asking");
    options->ignored.addOption(*command);
    command->example("velmioctl scan Work")->example("velmioctl scan --prune --dry-run");
    command->callback([&session, options] {
        options->scan.hash = hashModeOf(options->hash);
        options->scan.ignored = options->ignored.read();
        if (options->maxPrune)
            options->limit = PruneLimit::from(*options->maxPrune);
        scan(session, *options);
    });
}

} // namespace velmioctl
