#include <velmioctl/upkeep/Commands.h>

#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using sync::database::DatabaseBackups;
using sync::database::DatabaseError;

namespace velmioctl {

namespace {

struct BackupOptions
{
    std::optional<std::string> file;
    bool list = false;
    bool verify = false;
};

QJsonObject objectOf(const DatabaseBackups::Backup& backup)
{
    return {
        {u"path"_s, backup.path},
        {u"number"_s, backup.number},
        {u"time"_s, toJson(backup.time)},
        {u"timeIsImpossible"_s, backup.hasImpossibleTime},
        {u"reason"_s, DatabaseBackups::wordFor(backup.reason)},
        {u"bytes"_s, backup.bytes},
    };
}

QString clockWarning(const DatabaseBackups::Backup& backup)
{
    return u"The backup %1 has the time %2, which is impossible: a clock was wrong. Go by the "
           u"numbers; the highest one is the newest backup."_s.arg(
               quoted(backup.path), backup.time.toString(Qt::ISODate));
}

// Empty if the backup is whole.
QString findingIn(const DatabaseBackups::Backup& backup)
{
    try {
        DatabaseBackups::verify(backup.path);
        return {};
    } catch (const DatabaseError& error) {
        return error.text();
    }
}

// Each was verified when it was made. Doing it again reads all of each.
void list(Session& session, bool verifies)
{
    QStringList headings{u"NUMBER"_s, u"TIME"_s, u"REASON"_s, u"BYTES"_s, u"PATH"_s};
    if (verifies)
        headings.insert(4, u"STATE"_s);
    Table table(headings);
    // 'restore' needs the path.
    table.alignRight(0).alignRight(3).keepWhole();
    QJsonArray array;
    QStringList findings;
    QStringList clockWarnings;
    for (const auto& backup : DatabaseBackups(session.databasePath()).list()) {
        const QString finding = verifies ? findingIn(backup) : QString();
        QJsonObject object = objectOf(backup);
        object.insert(u"verified"_s, verifies ? QJsonValue(finding.isEmpty()) : QJsonValue());
        array.append(object);
        QStringList cells{
            backup.number > 0 ? QString::number(backup.number) : u"-"_s,
            backup.time.toString(Qt::ISODate), DatabaseBackups::wordFor(backup.reason),
            QString::number(backup.bytes), backup.path};
        if (verifies)
            cells.insert(4, finding.isEmpty() ? u"whole"_s : u"unusable"_s);
        table.addRow(cells);
        if (!finding.isEmpty())
            findings += finding;
        if (backup.hasImpossibleTime)
            clockWarnings += clockWarning(backup);
    }
    if (session.output.json())
        session.output.print(array);
    else if (!table.isEmpty())
        session.output.print(table);
    else
        session.output.note(u"No backup exists yet. Run 'velmioctl backup' to make one."_s);
    for (const QString& warning : findings + clockWarnings)
        session.output.warning(warning);
    session.exitCode = findings.isEmpty() ? ExitCode::Ok : ExitCode::Findings;
}

DatabaseBackups::Backup make(const QString& database, const std::optional<std::string>& file)
{
    const DatabaseBackups backups(database);
    try {
        return file ? backups.makeAt(absolutePath(*file))
                    : backups.make(DatabaseBackups::Reason::Manual);
    } catch (const DatabaseError& error) {
        throw openingError(error);
    }
}

void backUp(Session& session, const BackupOptions& options)
{
    if (options.list) {
        list(session, options.verify);
        return;
    }
    // Beside the database, where nothing is to change.
    if (!options.file)
        session.requireWriting();
    const auto made = make(session.filledDatabasePath(), options.file);
    if (session.output.json()) {
        QJsonObject object = objectOf(made);
        object.insert(u"verified"_s, true);
        session.output.print(object);
        return;
    }
    session.output.printText(
        u"Made and verified the backup %1, %2 bytes."_s.arg(quoted(made.path)).arg(made.bytes));
}

} // namespace

void addBackupCommands(Command& app, Session& session)
{
    const auto options = std::make_shared<BackupOptions>();
    Command* const backup =
        app.addSubcommand("backup", "Copy the database, also while clients use it");
    auto* const file =
        backup->addOption("FILE", options->file, "A new file; by default one beside the database")
            ->offersFiles();
    auto* const list =
        backup->addFlag("--list", options->list, "List the backups beside the database")
            ->excludes(file);
    backup->addFlag("--verify", options->verify, "With --list, check each backup completely again")
        ->needs(list);
    backup->example("velmioctl backup stick/velmio.db")->example("velmioctl backup --list");
    backup->callback([&session, options] { backUp(session, *options); });
}

} // namespace velmioctl
