#include "ScanCommand.h"

#include "Interruption.h"
#include "Progress.h"
#include "Scan.h"
#include "Session.h"
#include "Table.h"
#include "WatchedDatabase.h"

#include <config/FolderConfigManager.h>

#include <CLI/CLI.hpp>

#include <QElapsedTimer>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

/// The findings of all roots, as they are printed at the end.
class Summary
{
public:
    void add(const FolderConfiguration& root, const ScanCounts& counts)
    {
        total.seen += counts.seen;
        total.added += counts.added;
        total.failed += counts.failed;
        total.unreadable += counts.unreadable;
        total.invalidNames += counts.invalidNames;
        findings = findings || counts.hasFindings();

        QJsonObject object = toJson(counts);
        object.insert(u"id"_s, root.getId());
        object.insert(u"clientPath"_s, root.getClientPath());
        object.insert(u"missing"_s, counts.missing);
        object.insert(u"topLevel"_s, counts.topLevel);
        roots.append(object);

        const QString note = counts.missing    ? u"not there"_s
                             : counts.topLevel ? u"without subfolders"_s
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
    static QJsonObject toJson(const ScanCounts& counts)
    {
        return {
            {u"seen"_s, counts.seen},
            {u"new"_s, counts.added},
            {u"failed"_s, counts.failed},
            {u"unreadable"_s, counts.unreadable},
            {u"invalidNames"_s, counts.invalidNames},
        };
    }

    void addRow(
        const QString& id, const ScanCounts& counts, const QString& note, const QString& path)
    {
        table.addRow(
            {id, QString::number(counts.seen), QString::number(counts.added),
             QString::number(counts.failed), QString::number(counts.unreadable),
             QString::number(counts.invalidNames), note, path});
    }

    static Table emptyTable()
    {
        Table table(
            {u"ROOT"_s, u"FOLDERS"_s, u"NEW"_s, u"FAILED"_s, u"UNREADABLE"_s, u"BAD NAMES"_s,
             u"NOTE"_s, u"PATH"_s});
        for (int column = 0; column < 6; ++column)
            table.alignRight(column);
        return table;
    }

    ScanCounts total;
    bool findings = false;
    QJsonArray roots;
    Table table = emptyTable();
};

QVector<FolderConfiguration> chosenRoots(Session& session, const std::optional<std::string>& chosen)
{
    if (chosen)
        return {session.rootFolder(*chosen)};
    const auto roots = session.folders().GetFolderConfigurationByParentId(0);
    session.database().check();
    if (roots.isEmpty()) {
        session.output.note(
            u"No root folder is registered yet: add one with 'velmioctl folder add'."_s);
    }
    return roots;
}

void scan(Session& session, const std::optional<std::string>& chosen)
{
    QElapsedTimer clock;
    clock.start();
    const auto roots = chosenRoots(session, chosen);

    const Interruption interruption;
    Summary summary;
    std::optional<CommandError> failure;
    {
        Progress progress(stderr, session.output.messageTerminal());
        Scan scan(session, progress, [&interruption] { return interruption.requested(); });
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
        throw *failure;
    if (interruption.requested())
        session.exitCode = interruption.exitCode();
    else if (summary.hasFindings())
        session.exitCode = ExitCode::Findings;
}

} // namespace

void addScanCommand(CLI::App& app, Session& session)
{
    auto* const command = app.add_subcommand(
        "scan", "Register the folders below the roots that are on the disk and not known yet");
    const auto root = std::make_shared<std::optional<std::string>>();
    command->add_option("ROOT", *root, "Id or path of one root folder; all without it");
    command->callback([&session, root] { scan(session, *root); });
}

} // namespace velmioctl
