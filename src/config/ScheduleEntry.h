#pragma once
#include <core/PosixSync.h>

#include <config/ConfigurationEnums.h>
#include <core/Export.h>

#include <QDateTime>
#include <QObject>

namespace sync::config {

/// When and how often to synchronise: one folder, or the whole client.
///
/// A value: a copy is a new object with the same fields and without a parent. Only one thread at
/// a time may use a record. Setters store times unchanged. The database stores their clock
/// reading, and a record from the database has that reading as local time.
class VELMIO_CONFIGURATION_EXPORT ScheduleEntry : public QObject
{
    Q_OBJECT
    // clang-format off
    /// For the meta-object: each property uses the accessors of its name. @{
    Q_PROPERTY(int                        Id               READ getId)
    Q_PROPERTY(QDateTime                  StartTime        READ getStartTime        WRITE setStartTime)
    Q_PROPERTY(QDateTime                  ExpireTime       READ getExpireTime       WRITE setExpireTime)
    Q_PROPERTY(int                        FolderConfigId   READ getFolderConfigId   WRITE setFolderConfigId)
    Q_PROPERTY(sync::config::SyncSchedule SyncScheduleType READ getSyncScheduleType WRITE setSyncScheduleType)
    Q_PROPERTY(int                        SyncInterval     READ getSyncInterval     WRITE setSyncInterval)
    ///@}
    // clang-format on

public:
    /// A record with the default of each field.
    ScheduleEntry();
    ~ScheduleEntry() override;

    /// Copies and moves every field, but not the parent. Only assign to or destroy a record after
    /// it was moved from. @{
    ScheduleEntry(const ScheduleEntry& other);
    ScheduleEntry(ScheduleEntry&& other) noexcept;
    ScheduleEntry& operator=(const ScheduleEntry& other);
    ScheduleEntry& operator=(ScheduleEntry&& other) noexcept;
    ///@}

    /// -1 for a record that is not in the database.
    int getId() const { return members.id; }

    /// The folder that the schedule is for; 0, as in a new record, for the default schedule. @{
    int getFolderConfigId() const { return members.folderConfigId; }
    void setFolderConfigId(int value) { members.folderConfigId = value; }
    ///@}

    /// When the schedule begins; null for none. Local time in a record from the database. @{
    QDateTime getStartTime() const { return members.startTime; }
    void setStartTime(QDateTime value) { members.startTime = std::move(value); }
    ///@}

    /// When the schedule ends; null for none. Local time in a record from the database. @{
    QDateTime getExpireTime() const { return members.expireTime; }
    void setExpireTime(QDateTime value) { members.expireTime = std::move(value); }
    ///@}

    /// The kind of the schedule; DefaultSchedule in a new record. @{
    SyncSchedule getSyncScheduleType() const { return members.syncScheduleType; }
    void setSyncScheduleType(SyncSchedule value) { members.syncScheduleType = value; }
    ///@}

    /// Length of the interval, in the unit of the client; 30 in a new record. @{
    int getSyncInterval() const { return members.syncInterval; }
    void setSyncInterval(int value) { members.syncInterval = value; }
    ///@}

private:
    friend class ScheduleEntryManager;

    /// All that a copy copies.
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
