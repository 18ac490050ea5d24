#include <velmioctl/records/Commands.h>

#include <config/ScheduleEntryManager.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/records/FieldOptions.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/References.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using sync::config::ScheduleEntry;

namespace velmioctl {

namespace {

struct ScheduleOptions
{
    std::optional<int> id;
    FieldOptions fields{"Schedules"};
    bool yes = false;
};

QString knownIds(WatchedDatabase& database)
{
    const auto query = database.select(u"SELECT id FROM Schedules ORDER BY id"_s);
    QStringList ids;
    while (query->next())
        ids += query->value(0).toString();
    database.check();
    return ids.isEmpty() ? u"none"_s : ids.join(u", "_s);
}

// The default entry without an id.
ScheduleEntry entryOf(Session& session, std::optional<int> id)
{
    ScheduleEntry entry = id ? session.schedules().GetScheduleEntryById(*id)
                             : session.schedules().GetDefaultScheduleEntry();
    session.database().check();
    if (entry.getId() == -1) {
        throw CommandError(
            ExitCode::NotFound, u"%1 does not exist. The ids of all schedules: %2."_s.arg(
                                    id ? u"Schedule %1"_s.arg(*id) : u"The default schedule"_s,
                                    knownIds(session.database())));
    }
    return entry;
}

void set(Session& session, const ScheduleOptions& options)
{
    Transaction transaction(session.database());
    ScheduleEntry entry = entryOf(session, options.id);
    options.fields.apply(&entry);
    const bool bothTimes = entry.getStartTime().isValid() && entry.getExpireTime().isValid();
    if (bothTimes && entry.getExpireTime() < entry.getStartTime()) {
        throw CommandError(
            ExitCode::Usage,
            u"The schedule would expire at %1, before it starts at %2. Give other times."_s.arg(
                entry.getExpireTime().toString(Qt::ISODateWithMs),
                entry.getStartTime().toString(Qt::ISODateWithMs)));
    }
    session.database().check(session.schedules().Update(entry), u"Storing the schedule"_s);
    transaction.commit();
    print(session.output, entryOf(session, options.id));
}

void remove(Session& session, const ScheduleOptions& options)
{
    const ScheduleEntry entry = entryOf(session, options.id);
    QString question = u"Remove the schedule %1?"_s.arg(*options.id);
    if (entry.getFolderConfigId() == 0)
        question += u" It is the default schedule, and no command creates it again."_s;
    session.confirm(options.yes, question);

    session.database().check(session.schedules().Remove(*options.id), u"Removing the schedule"_s);
    printRemoved(session, *options.id, u"schedule %1"_s.arg(*options.id));
}

} // namespace

void addScheduleCommands(Command& app, Session& session)
{
    Command* const schedule = app.addSubcommand("schedule", "When the client synchronises");
    schedule->requireSubcommand();
    const auto options = std::make_shared<ScheduleOptions>();
    const auto addId = [options](Command* command) {
        return command->addOption("ID", options->id, "Id of the schedule");
    };

    auto* const showCommand =
        schedule->addSubcommand("show", "Show a schedule, or the default one");
    addId(showCommand);
    showCommand->example("velmioctl schedule show");
    showCommand->callback(
        [&session, options] { print(session.output, entryOf(session, options->id)); });

    auto* const setCommand =
        schedule->addSubcommand("set", "Change the given fields of a schedule");
    addId(setCommand)->required();
    options->fields.addTo(*setCommand, FieldOptions::Purpose::Change);
    setCommand->example("velmioctl schedule set 1 --interval 15 --start 2026-12-01T08:30");
    setCommand->callback([&session, options] { set(session, *options); });

    auto* const removeCommand = schedule->addSubcommand("remove", "Remove a schedule");
    addId(removeCommand)->required();
    removeCommand->addFlag("--yes", options->yes, "Remove without asking");
    removeCommand->example("velmioctl schedule remove 2 --yes");
    removeCommand->callback([&session, options] { remove(session, *options); });
}

} // namespace velmioctl
