#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>

namespace sync::config {
class ScheduleEntry;
}

namespace sync::interf {

/// Reads and maintains the synchronisation schedules; it never adds one.
///
/// A lookup that finds nothing or fails returns a record with id -1. A write returns false when the
/// database fails, and true for an id that is not in the table, which changes nothing.
class VELMIO_INTERFACES_EXPORT IScheduleEntryManager : public QObject
{
    Q_OBJECT

public:
    /// Owned by `parent` when there is one.
    explicit IScheduleEntryManager(QObject* parent = nullptr);
    ~IScheduleEntryManager() override;

    /// The schedule with this id.
    virtual config::ScheduleEntry GetScheduleEntryById(int scheduleEntryId) = 0;

    /// The schedule of the whole client: the one whose folder id is 0, of several the first in the
    /// database's order.
    virtual config::ScheduleEntry GetDefaultScheduleEntry() = 0;

    /// Stores every field under the record's id. It never adds a row.
    virtual bool Update(const config::ScheduleEntry& scheduleEntry) = 0;

    /// Removes one row.
    virtual bool Remove(int scheduleEntryId) = 0;
};

} // namespace sync::interf
