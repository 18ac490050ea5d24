#include <config/ScheduleEntryManager.h>

#include <config/statement/DateTimes.h>
#include <config/statement/RowReader.h>
#include <config/statement/SqlText.h>
#include <config/statement/Statement.h>
#include <database/TransactionalScope.h>

using namespace Qt::StringLiterals;
using sync::database::TransactionalScope;

namespace sync::config {

namespace {

// In the order in which _PopulateScheduleEntry reads them.
constexpr SqlText Columns(
    u"id, folderConfigurationId, startTime, expireTime, syncScheduleType, syncInterval");

constexpr auto Select = u"SELECT " + Columns + u" FROM Schedules";
constexpr auto SelectDefault = Select + u" WHERE folderConfigurationId = 0";
constexpr auto SelectById = Select + u" WHERE id = :id";

constexpr SqlText UpdateById(
    u"UPDATE Schedules SET folderConfigurationId = :folderConfigurationId,"
    u" startTime = :startTime, expireTime = :expireTime, syncScheduleType = :syncScheduleType,"
    u" syncInterval = :syncInterval  WHERE id = :id");
constexpr SqlText Delete(u"DELETE FROM Schedules WHERE Id = :id;");

QDateTime readLocalDateTime(const QVariant& column)
{
    QDateTime time = readDateTime(column);
    // Labelled, not converted: the column holds local clock readings, whatever zone they name.
    time.setTimeSpec(Qt::LocalTime);
    return time;
}

} // namespace

ScheduleEntry ScheduleEntryManager::GetScheduleEntryById(int scheduleEntryId)
{
    return _Prepare(SelectById)
        .bind(u":id"_s, scheduleEntryId)
        .readOne(this, &ScheduleEntryManager::_PopulateScheduleEntry);
}

ScheduleEntry ScheduleEntryManager::GetDefaultScheduleEntry()
{
    return _Prepare(SelectDefault).readOne(this, &ScheduleEntryManager::_PopulateScheduleEntry);
}

bool ScheduleEntryManager::Update(const ScheduleEntry& scheduleEntry)
{
    TransactionalScope scope;
    const auto& members = scheduleEntry.members;
    return _Prepare(UpdateById)
        .bind(u":id"_s, members.id)
        .bind(u":folderConfigurationId"_s, members.folderConfigId)
        .bind(u":startTime"_s, members.startTime)
        .bind(u":expireTime"_s, members.expireTime)
        .bind(u":syncScheduleType"_s, static_cast<int>(members.syncScheduleType))
        .bind(u":syncInterval"_s, members.syncInterval)
        .exec();
}

bool ScheduleEntryManager::Remove(int scheduleEntryId)
{
    TransactionalScope scope;
    return _Prepare(Delete).bind(u":id"_s, scheduleEntryId).exec();
}

void ScheduleEntryManager::_PopulateScheduleEntry(
    const RowReader& row, ScheduleEntry& scheduleEntry) const
{
    if (!row.isValid())
        return;

    auto& members = scheduleEntry.members;
    members.id = row.integer(0);
    members.folderConfigId = row.integer(1);
    members.startTime = readLocalDateTime(row.value(2));
    members.expireTime = readLocalDateTime(row.value(3));
    members.syncScheduleType = static_cast<SyncSchedule>(row.integer(4));
    members.syncInterval = row.integer(5);
}

} // namespace sync::config
