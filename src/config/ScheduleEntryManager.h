#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/ScheduleEntry.h>
#include <interf/IScheduleEntryManager.h>

#include <QVector>

namespace sync::config {

/// Reads and maintains the synchronisation schedules; it never adds one.
/// What each operation answers is told by the interface. Keeps no state between calls: as
/// thread-safe as the factory it is given. Nothing is thrown.
class VELMIO_CONFIGURATION_EXPORT ScheduleEntryManager : public interf::IScheduleEntryManager,
                                                         public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    /// Keeps the factory, which must not be null. The manager has no parent.
    explicit ScheduleEntryManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    ~ScheduleEntryManager() override;

    Q_INVOKABLE ScheduleEntry GetScheduleEntryById(int scheduleEntryId) override;
    Q_INVOKABLE ScheduleEntry GetDefaultScheduleEntry() override;
    Q_INVOKABLE bool Update(const ScheduleEntry& scheduleEntry) override;
    Q_INVOKABLE bool Remove(int scheduleEntryId) override;

private:
    void _PopulateScheduleEntry(const RowReader& row, ScheduleEntry& scheduleEntry);
    void _PopulateScheduleEntries(const RowReader& row, QVector<ScheduleEntry>& scheduleEntries);
};

} // namespace sync::config
