#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>

namespace sync::config {
class ScheduleEntry;
}

namespace sync::interf {

/// Reads, updates and removes the synchronisation schedules. It never adds one.
///
/// A lookup returns a record with id -1 if it finds nothing or fails. A write returns false if the
/// database fails, and true for an id that is not in the table, which changes nothing.
class VELMIO_INTERFACES_EXPORT IScheduleEntryManager : public QObject
{
    Q_OBJECT

public:
    /// `parent` owns the manager, unless it is null.
    explicit IScheduleEntryManager(QObject* parent = nullptr);
    ~IScheduleEntryManager() override;

    /// The schedule with this id.
    virtual config::ScheduleEntry GetScheduleEntryById(int scheduleEntryId) = 0;

    /// The schedule of the whole client, which has folder id 0; of several the first in the
    /// database's order.
    virtual config::ScheduleEntry GetDefaultScheduleEntry() = 0;

    /// Stores every field under the record's id. It never adds a row.
    virtual bool Update(const config::ScheduleEntry& scheduleEntry) = 0;

    /// Removes one row.
    virtual bool Remove(int scheduleEntryId) = 0;
};

} // namespace sync::interf
