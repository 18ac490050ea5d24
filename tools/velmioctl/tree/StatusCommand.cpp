#include <velmioctl/tree/Commands.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Interruption.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/IgnoreFile.h>
#include <velmioctl/tree/Status.h>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

/// The numbers of all roots, as they are printed at the end.
class StatusSummary
{
public:
    void add(const Subtree& tree, const Status& status)
    {
        const FolderConfiguration& root = tree.root;
        total += status.counts();
        QJsonObject object = status.counts().toJson();
        object.insert(u"id"_s, root.getId());
        object.insert(u"clientPath"_s, tree.start.getClientPath());
        object.insert(u"folders"_s, status.folders());
        object.insert(u"moves"_s, status.moves());
        roots.append(object);
        addRow(QString::number(root.getId()), status.counts(), tree.start.getClientPath());
    }

    bool clean() const { return total.clean(); }

    void print(Output& output, bool interrupted)
    {
        if (output.json()) {
            QJsonObject object = total.toJson();
            object.insert(u"roots"_s, roots);
            object.insert(u"interrupted"_s, interrupted);
            output.print(object);
            return;
        }
        addRow(u"all"_s, total, {});
        if (!total.clean())
            output.printText({});
        output.print(table);
    }

private:
    void addRow(const QString& id, const StatusCounts& counts, const QString& path)
    {
        table.addRow(
            {id, QString::number(counts.files), QString::number(counts.added),
             QString::number(counts.modified), QString::number(counts.moved),
             QString::number(counts.missing), QString::number(counts.outOfSync),
             QString::number(counts.problems), path});
    }

    static Table emptyTable()
    {
        Table table(
            {u"ROOT"_s, u"FILES"_s, u"NEW"_s, u"MODIFIED"_s, u"MOVED"_s, u"MISSING"_s,
             u"OUT OF SYNC"_s, u"PROBLEMS"_s, u"PATH"_s});
        for (int column = 0; column < 8; ++column)
            table.alignRight(column);
        return table;
    }

    StatusCounts total;
    QJsonArray roots;
    Table table = emptyTable();
};

struct StatusOptions
{
    std::optional<std::string> folder;
    bool summary = false;
    bool noMoves = false;
    IgnoreFile ignored;
};

// Of a store of a fleet the disk is on another machine.
void statusWithoutDisk(Session& session, const std::vector<Subtree>& trees)
{
    Table table({u"ROOT"_s, u"FILES"_s, u"OUT OF SYNC"_s, u"LAST SYNC"_s, u"PATH"_s});
    table.alignRight(0).alignRight(1).alignRight(2);
    QJsonArray roots;
    for (const Subtree& tree : trees) {
        const RecordCounts counts = countRecords(session.database(), tree);
        const QString path = tree.start.getClientPath();
        const QDateTime lastSync = tree.root.getLastSyncTime();
        const QString time = lastSync.isValid() ? lastSync.toString(Qt::ISODate) : QString();
        roots.append(QJsonObject{
            {u"id"_s, tree.root.getId()},
            {u"clientPath"_s, path},
            {u"files"_s, counts.files},
            {u"outOfSync"_s, counts.outOfSync},
            {u"lastSyncTime"_s, toJson(lastSync)}});
        table.addRow(
            {QString::number(tree.root.getId()), QString::number(counts.files),
             QString::number(counts.outOfSync), time, path});
    }
    if (session.output.json()) {
        session.output.print(QJsonObject{{u"diskCompared"_s, false}, {u"roots"_s, roots}});
        return;
    }
    session.output.print(table);
    session.output.note(u"These are the records. Only 'velmioctl status' on the machine of the "
                        u"store compares them with the disk."_s);
}

void status(Session& session, const StatusOptions& options)
{
    const auto trees = session.subtrees(options.folder);
    if (!session.database().isFile()) {
        statusWithoutDisk(session, trees);
        return;
    }
    const QString ignored = options.ignored.read();
    const Interruption interruption;
    StatusSummary summary;
    {
        Progress progress(stderr, session.output.progressTerminal());
        Status status(
            session, progress, options.summary, !options.noMoves, ignored,
            [&interruption] { return interruption.requested(); });
        for (const Subtree& tree : trees) {
            const bool toItsEnd = status.run(tree.root, tree.start);
            summary.add(tree, status);
            if (!toItsEnd)
                break;
        }
    }
    summary.print(session.output, interruption.requested());
    if (interruption.requested())
        session.exitCode = interruption.exitCode();
    else if (!summary.clean())
        session.exitCode = ExitCode::Findings;
}

} // namespace

void addStatusCommand(Command& app, Session& session)
{
    auto* const command = app.addSubcommand(
        "status", "Show which files on the disk differ from their records, and change nothing");
    const auto options = std::make_shared<StatusOptions>();
    command
        ->addOption(
            "FOLDER", options->folder,
            "Id or path of a root folder or of one below it; the default is all roots")
        ->offersFolders();
    command->addFlag("--summary", options->summary, "Show only the numbers of each root");
    command->addFlag(
        "--no-moves", options->noMoves,
        "Show what has another path as missing in one place and new in another");
    options->ignored.addOption(*command);
    command->example("velmioctl status Work/Plans")->example("velmioctl status --summary");
    command->callback([&session, options] { status(session, *options); });
}

} // namespace velmioctl
