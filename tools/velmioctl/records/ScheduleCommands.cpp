#include <velmioctl/records/Commands.h>

#include <config/FolderConfigManager.h>
#include <config/ScheduleEntryManager.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/records/FieldOptions.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/References.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using sync::config::ScheduleEntry;

namespace velmioctl {

namespace {

constexpr int DefaultFolder = 0;

struct ScheduleOptions
{
    std::optional<int> id;
    std::optional<std::string> folder;
    FieldOptions fields{"Schedules"};
    bool yes = false;
};

std::vector<int> allIds(WatchedDatabase& database)
{
    const auto query = database.select(u"SELECT id FROM Schedules ORDER BY id"_s);
    std::vector<int> ids;
    while (query->next())
        ids.push_back(query->value(0).toInt());
    database.check();
    return ids;
}

// The default entry without an id.
ScheduleEntry entryOf(Session& session, std::optional<int> id)
{
    ScheduleEntry entry = id ? session.schedules().GetScheduleEntryById(*id)
                             : session.schedules().GetDefaultScheduleEntry();
    session.database().check();
    if (entry.getId() != -1)
        return entry;
    if (id)
        throw notFound(u"Schedule %1"_s.arg(*id), u"schedule list"_s, u"schedules"_s);
    throw CommandError(
        ExitCode::NotFound,
        u"The default schedule does not exist. Add it with 'velmioctl schedule add'."_s);
}

// Stores the given fields of an entry that exists. Update() also returns true for one that does
// not.
void store(Session& session, ScheduleEntry entry, const FieldOptions& fields)
{
    fields.apply(&entry);
    const bool bothTimes = entry.getStartTime().isValid() && entry.getExpireTime().isValid();
    if (bothTimes && entry.getExpireTime() < entry.getStartTime()) {
        throw CommandError(
            ExitCode::Usage,
            u"The schedule would expire at %1, before it starts at %2. Give other times."_s.arg(
                entry.getExpireTime().toString(Qt::ISODateWithMs),
                entry.getStartTime().toString(Qt::ISODateWithMs)));
    }
    if (entry.getSyncInterval() == 0) {
        session.output.warning(
            u"The interval of schedule %1 is 0, so the client may never wait. Set another one with "
            u"'velmioctl schedule set %1 --interval NUMBER'."_s.arg(entry.getId()));
    }
    session.database().check(session.schedules().Update(entry), u"Storing the schedule"_s);
}

void add(Session& session, const ScheduleOptions& options)
{
    auto& database = session.writableDatabase();
    const int folder = options.folder ? session.folder(*options.folder).getId() : DefaultFolder;
    Transaction transaction(database);
    const long long present = database.number(
        u"SELECT id FROM Schedules WHERE folderConfigurationId = :folder"_s,
        {{u":folder"_s, folder}});
    if (present != 0) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 has schedule %2 already. Change it with 'velmioctl schedule set %2'."_s.arg(
                folder == DefaultFolder ? u"The client"_s : u"Folder %1"_s.arg(folder),
                QString::number(present)));
    }
    database.change(
        u"INSERT INTO Schedules (folderConfigurationId, syncScheduleType, syncInterval) VALUES "
        u"(:folder, :type, :interval)"_s,
        {{u":folder"_s, folder},
         {u":type"_s, int(ScheduleEntry().getSyncScheduleType())},
         {u":interval"_s, ScheduleEntry().getSyncInterval()}});
    const int id = int(database.number(u"SELECT last_insert_rowid()"_s));
    store(session, entryOf(session, id), options.fields);
    transaction.commit();
    print(session.output, entryOf(session, id));
}

void list(Session& session)
{
    Table table(
        {u"ID"_s, u"FOLDER"_s, u"INTERVAL"_s, u"TYPE"_s, u"START"_s, u"EXPIRE"_s, u"PATH"_s});
    for (const int column : {0, 1, 2, 3})
        table.alignRight(column);
    QJsonArray array;
    // A client may remove entries meanwhile.
    const Transaction moment(session.database());
    for (const int id : allIds(session.database())) {
        const ScheduleEntry entry = entryOf(session, id);
        const int folderId = entry.getFolderConfigId();
        const QString path = session.folders().GetFolderConfigurationById(folderId).getClientPath();
        session.database().check();
        array.append(toJson(entry));
        table.addRow(
            {QString::number(id), folderId == DefaultFolder ? u"all"_s : QString::number(folderId),
             QString::number(entry.getSyncInterval()), QString::number(entry.getSyncScheduleType()),
             entry.getStartTime().toString(Qt::ISODate),
             entry.getExpireTime().toString(Qt::ISODate), path});
    }
    session.output.printList(
        array, table, u"No schedules are stored. Add one with 'velmioctl schedule add'."_s);
}

void set(Session& session, const ScheduleOptions& options)
{
    Transaction transaction(session.writableDatabase());
    store(session, entryOf(session, options.id), options.fields);
    transaction.commit();
    print(session.output, entryOf(session, options.id));
}

void remove(Session& session, const ScheduleOptions& options)
{
    session.writableDatabase();
    const ScheduleEntry entry = entryOf(session, options.id);
    QString question = u"Remove the schedule %1?"_s.arg(*options.id);
    if (entry.getFolderConfigId() == DefaultFolder)
        question += u" It is the default schedule. 'velmioctl schedule add' makes another one."_s;
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
        return command->addOption("ID", options->id, "Id of the schedule")
            ->offersStored("Schedules")
            ->id();
    };

    auto* const showCommand =
        schedule->addSubcommand("show", "Show a schedule, or the default one");
    addId(showCommand);
    showCommand->example("velmioctl schedule show");
    showCommand->callback(
        [&session, options] { print(session.output, entryOf(session, options->id)); });

    schedule->addSubcommand("list", "List the schedules")
        ->example("velmioctl schedule list")
        ->callback([&session] { list(session); });

    auto* const addCommand =
        schedule->addSubcommand("add", "Add the schedule of a folder, or the default one");
    addCommand
        ->addOption("FOLDER", options->folder, "Id or path of a folder; without it, the default")
        ->offersFolders();
    options->fields.addTo(*addCommand, FieldOptions::Purpose::Add);
    addCommand->example("velmioctl schedule add Work --interval 60");
    addCommand->callback([&session, options] { add(session, *options); });

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
