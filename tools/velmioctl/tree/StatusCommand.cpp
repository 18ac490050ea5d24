#include <velmioctl/tree/Commands.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Interruption.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/tree/Status.h>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

/// The numbers of all roots, as they are printed at the end.
class StatusSummary
{
public:
    void add(const FolderConfiguration& root, const Status& status)
    {
        total += status.counts();
        QJsonObject object = status.counts().toJson();
        object.insert(u"id"_s, root.getId());
        object.insert(u"clientPath"_s, root.getClientPath());
        object.insert(u"folders"_s, status.folders());
        roots.append(object);
        addRow(QString::number(root.getId()), status.counts(), root.getClientPath());
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
             QString::number(counts.modified), QString::number(counts.missing),
             QString::number(counts.outOfSync), QString::number(counts.problems), path});
    }

    static Table emptyTable()
    {
        Table table(
            {u"ROOT"_s, u"FILES"_s, u"NEW"_s, u"MODIFIED"_s, u"MISSING"_s, u"OUT OF SYNC"_s,
             u"PROBLEMS"_s, u"PATH"_s});
        for (int column = 0; column < 7; ++column)
            table.alignRight(column);
        return table;
    }

    StatusCounts total;
    QJsonArray roots;
    Table table = emptyTable();
};

void status(Session& session, const std::optional<std::string>& chosen)
{
    const auto roots = session.rootFolders(chosen);
    const Interruption interruption;
    StatusSummary summary;
    {
        Progress progress(stderr, session.output.messageTerminal());
        Status status(session, progress, [&interruption] { return interruption.requested(); });
        for (const FolderConfiguration& root : roots) {
            const bool toItsEnd = status.run(root);
            summary.add(root, status);
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
    const auto root = std::make_shared<std::optional<std::string>>();
    command->addOption("ROOT", *root, "Id or path of one root folder; the default is all")
        ->offersFolders();
    command->example("velmioctl status Work");
    command->callback([&session, root] { status(session, *root); });
}

} // namespace velmioctl
