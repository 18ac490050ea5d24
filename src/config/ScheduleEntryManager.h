#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/ScheduleEntry.h>
#include <interf/IScheduleEntryManager.h>

#include <QVector>

namespace sync::config {

/// Reads and maintains the synchronisation schedules; it never adds one.
///
/// Keeps no state between calls: as thread-safe as the factory it is given. Nothing is thrown: a
/// lookup that finds nothing or fails returns a record with id -1.
class VELMIO_CONFIGURATION_EXPORT ScheduleEntryManager : public interf::IScheduleEntryManager,
                                                         public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    explicit ScheduleEntryManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    ~ScheduleEntryManager() override;

    Q_INVOKABLE ScheduleEntry GetScheduleEntryById(int scheduleEntryId) override;

    /// The schedule of the whole client: the first whose folder id is 0, as the database orders
    /// them.
    Q_INVOKABLE ScheduleEntry GetDefaultScheduleEntry() override;

    /// Stores every field under the record's id; false when that fails. True for an id that is not
    /// in the table, which changes nothing.
    Q_INVOKABLE bool Update(const ScheduleEntry& scheduleEntry) override;

    /// Removes one row; true also when there was none.
    Q_INVOKABLE bool Remove(int scheduleEntryId) override;

private:
    void _PopulateScheduleEntry(const RowReader& row, ScheduleEntry& scheduleEntry);
    void _PopulateScheduleEntries(const RowReader& row, QVector<ScheduleEntry>& scheduleEntries);
};

} // namespace sync::config
