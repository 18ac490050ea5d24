#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/ScheduleEntry.h>
#include <interf/IScheduleEntryManager.h>

namespace sync::config {

/// Reads, updates and removes the synchronisation schedules. It never adds one.
///
/// The interface documents each operation. The manager keeps no state between calls, so it is as
/// thread-safe as its factory. It throws nothing.
class VELMIO_CONFIGURATION_EXPORT ScheduleEntryManager : public interf::IScheduleEntryManager,
                                                         public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    using DatabaseConfigurationManager::DatabaseConfigurationManager;

    Q_INVOKABLE ScheduleEntry GetScheduleEntryById(int scheduleEntryId) override;
    Q_INVOKABLE ScheduleEntry GetDefaultScheduleEntry() override;
    Q_INVOKABLE bool Update(const ScheduleEntry& scheduleEntry) override;
    Q_INVOKABLE bool Remove(int scheduleEntryId) override;

private:
    void _PopulateScheduleEntry(const RowReader& row, ScheduleEntry& scheduleEntry) const;
};

} // namespace sync::config
