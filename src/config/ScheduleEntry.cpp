#include <config/ScheduleEntry.h>

namespace sync::config {

ScheduleEntry::ScheduleEntry() = default;
ScheduleEntry::~ScheduleEntry() = default;

ScheduleEntry::ScheduleEntry(const ScheduleEntry& other)
    : QObject()
{
    _CopyMembers(other);
}

ScheduleEntry::ScheduleEntry(ScheduleEntry&& other) noexcept
    : QObject()
    , members(std::move(other.members))
{
}

ScheduleEntry& ScheduleEntry::operator=(const ScheduleEntry& other)
{
    _CopyMembers(other);
    return *this;
}

ScheduleEntry& ScheduleEntry::operator=(ScheduleEntry&& other) noexcept
{
    members = std::move(other.members);
    return *this;
}

} // namespace sync::config
