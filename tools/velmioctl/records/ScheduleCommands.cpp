#include <velmioctl/records/Commands.h>

#include <config/ScheduleEntryManager.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using sync::config::ScheduleEntry;

namespace velmioctl {

namespace {

struct ScheduleOptions
{
    std::optional<int> id;
    std::optional<int> interval;
    std::optional<std::string> start;
    std::optional<std::string> expire;
    std::optional<int> type;
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
        const QString what = id ? u"schedule %1"_s.arg(*id) : u"default schedule"_s;
        throw CommandError(
            ExitCode::NotFound, u"There is no %1. The ids of those that there are: %2."_s.arg(
                                    what, knownIds(session.database())));
    }
    return entry;
}

QDateTime timeFrom(const std::string& text)
{
    const QString wanted = QString::fromStdString(text);
    if (wanted.compare(u"none"_s, Qt::CaseInsensitive) == 0)
        return {};
    QDateTime time = QDateTime::fromString(wanted, Qt::ISODateWithMs);
    // A schedule holds local clock readings: one of another zone would be stored as if it were one.
    if (!time.isValid() || time.timeSpec() != Qt::LocalTime) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 is no local time: write it as in 2026-12-31T08:30, without a zone, or none."_s.arg(
                quoted(wanted)));
    }
    return time;
}

QString shown(const QDateTime& time)
{
    return time.isValid() ? time.toString(Qt::ISODateWithMs) : u"none"_s;
}

void print(Session& session, const ScheduleEntry& entry)
{
    const int folder = entry.getFolderConfigId();
    if (session.output.json()) {
        session.output.print(toJson(entry));
        return;
    }
    FieldList fields;
    fields.add(u"id"_s, QString::number(entry.getId()));
    fields.add(u"folder"_s, folder == 0 ? u"none: the default"_s : QString::number(folder));
    fields.add(u"start"_s, shown(entry.getStartTime()));
    fields.add(u"expire"_s, shown(entry.getExpireTime()));
    fields.add(u"type"_s, QString::number(entry.getSyncScheduleType()));
    fields.add(u"interval"_s, QString::number(entry.getSyncInterval()));
    session.output.print(fields);
}

void set(Session& session, const ScheduleOptions& options)
{
    Transaction transaction(session.database());
    ScheduleEntry entry = entryOf(session, options.id);
    if (options.interval)
        entry.setSyncInterval(*options.interval);
    if (options.start)
        entry.setStartTime(timeFrom(*options.start));
    if (options.expire)
        entry.setExpireTime(timeFrom(*options.expire));
    if (options.type)
        entry.setSyncScheduleType(static_cast<sync::config::SyncSchedule>(*options.type));
    const bool bothTimes = entry.getStartTime().isValid() && entry.getExpireTime().isValid();
    if (bothTimes && entry.getExpireTime() < entry.getStartTime()) {
        throw CommandError(
            ExitCode::Usage,
            u"The schedule would expire at %1, before it starts at %2: give other times."_s.arg(
                shown(entry.getExpireTime()), shown(entry.getStartTime())));
    }
    session.database().check(session.schedules().Update(entry), u"Storing the schedule"_s);
    transaction.commit();
    print(session, entryOf(session, options.id));
}

void remove(Session& session, const ScheduleOptions& options)
{
    const ScheduleEntry entry = entryOf(session, options.id);
    QString question = u"Remove the schedule %1?"_s.arg(*options.id);
    if (entry.getFolderConfigId() == 0)
        question += u" It is the default schedule, which no command makes again."_s;
    session.confirm(options.yes, question);

    session.database().check(session.schedules().Remove(*options.id), u"Removing the schedule"_s);
    if (session.output.json())
        session.output.print(QJsonObject{{u"id"_s, *options.id}, {u"removed"_s, true}});
    else
        session.output.printText(u"Removed the schedule %1."_s.arg(*options.id));
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
    showCommand->callback([&session, options] { print(session, entryOf(session, options->id)); });

    auto* const setCommand = schedule->addSubcommand("set", "Change what is given of a schedule");
    addId(setCommand)->required();
    setCommand->addOption("--interval", options->interval, "Length of the interval")
        ->typeName("NUMBER")
        ->notNegative();
    setCommand->addOption("--start", options->start, "Local time, or none")->typeName("TIME");
    setCommand->addOption("--expire", options->expire, "Local time, or none")->typeName("TIME");
    setCommand->addOption("--type", options->type, "Kind of schedule, a number of the client")
        ->typeName("NUMBER");
    setCommand->example("velmioctl schedule set 1 --interval 15 --start 2026-12-01T08:30");
    setCommand->callback([&session, options] { set(session, *options); });

    auto* const removeCommand = schedule->addSubcommand("remove", "Remove a schedule");
    addId(removeCommand)->required();
    removeCommand->addFlag("--yes", options->yes, "Remove without asking");
    removeCommand->example("velmioctl schedule remove 2 --yes");
    removeCommand->callback([&session, options] { remove(session, *options); });
}

} // namespace velmioctl
