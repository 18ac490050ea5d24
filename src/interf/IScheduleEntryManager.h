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
/// A lookup that finds nothing or fails returns a record with id -1.
class VELMIO_INTERFACES_EXPORT IScheduleEntryManager : public QObject
{
    Q_OBJECT

public:
    explicit IScheduleEntryManager(QObject* parent = nullptr);
    ~IScheduleEntryManager() override;

    virtual config::ScheduleEntry GetScheduleEntryById(int scheduleEntryId) = 0;
    virtual config::ScheduleEntry GetDefaultScheduleEntry() = 0;
    virtual bool Update(const config::ScheduleEntry& scheduleEntry) = 0;
    virtual bool Remove(int scheduleEntryId) = 0;
};

} // namespace sync::interf
