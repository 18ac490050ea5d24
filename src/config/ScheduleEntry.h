#pragma once
#include <core/PosixSync.h>

#include <config/ConfigurationEnums.h>
#include <core/Export.h>

#include <QDateTime>
#include <QObject>

namespace sync::config {

/// When and how often to synchronise: one folder, or the whole client.
///
/// A value: copies are new objects without parent that hold the same fields. Times are stored and
/// returned as given.
class VELMIO_CONFIGURATION_EXPORT ScheduleEntry : public QObject
{
    Q_OBJECT
    // clang-format off
    Q_PROPERTY(int                        Id               READ getId)
    Q_PROPERTY(QDateTime                  StartTime        READ getStartTime        WRITE setStartTime)
    Q_PROPERTY(QDateTime                  ExpireTime       READ getExpireTime       WRITE setExpireTime)
    Q_PROPERTY(int                        FolderConfigId   READ getFolderConfigId   WRITE setFolderConfigId)
    Q_PROPERTY(sync::config::SyncSchedule SyncScheduleType READ getSyncScheduleType WRITE setSyncScheduleType)
    Q_PROPERTY(int                        SyncInterval     READ getSyncInterval     WRITE setSyncInterval)
    // clang-format on

public:
    ScheduleEntry();
    ~ScheduleEntry() override;
    ScheduleEntry(const ScheduleEntry& other);
    ScheduleEntry(ScheduleEntry&& other) noexcept;
    ScheduleEntry& operator=(const ScheduleEntry& other);
    ScheduleEntry& operator=(ScheduleEntry&& other) noexcept;

    /// -1 for a record that is not in the database.
    int getId() const { return members.id; }

    /// The folder that the schedule is for; 0 for the default schedule.
    int getFolderConfigId() const { return members.folderConfigId; }
    void setFolderConfigId(int value) { members.folderConfigId = value; }

    /// Local time in a record from the database; null for none.
    QDateTime getStartTime() const { return members.startTime; }
    void setStartTime(QDateTime value) { members.startTime = std::move(value); }

    /// Local time in a record from the database; null for none.
    QDateTime getExpireTime() const { return members.expireTime; }
    void setExpireTime(QDateTime value) { members.expireTime = std::move(value); }

    SyncSchedule getSyncScheduleType() const { return members.syncScheduleType; }
    void setSyncScheduleType(SyncSchedule value) { members.syncScheduleType = value; }

    /// Length of the interval, as the client counts it.
    int getSyncInterval() const { return members.syncInterval; }
    void setSyncInterval(int value) { members.syncInterval = value; }

private:
    friend class ScheduleEntryManager;

    /// All that a copy takes along.
    struct Members
    {
        int id = -1;
        int folderConfigId = 0;
        QDateTime startTime;
        QDateTime expireTime;
        SyncSchedule syncScheduleType = DefaultSchedule;
        int syncInterval = 30;
    };

    void _CopyMembers(const ScheduleEntry& other) { members = other.members; }

    Members members;
};

} // namespace sync::config
