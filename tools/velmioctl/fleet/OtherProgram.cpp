// What velmioctl has in place of the other sources of this room and of FleetStore.cpp: whatever
// needs a fleet goes on in velmioctl-fleet.

#include <velmioctl/fleet/Fleet.h>
#include <velmioctl/fleet/OtherProgram.h>
#include <velmioctl/store/FleetStore.h>
#include <velmioctl/store/WatchedDatabase.h>

namespace velmioctl {

QString checkedFleetPlace(const QString&)
{
    throw fleet::NeedsOtherProgram();
}

QString fleetName(const QString&)
{
    throw fleet::NeedsOtherProgram();
}

std::shared_ptr<WatchedDatabase> openFleetStore(const QString&, const QString&)
{
    throw fleet::NeedsOtherProgram();
}

namespace fleet {

void init(Session&, const FleetOptions&)
{
    throw fleet::NeedsOtherProgram();
}

void push(Session&, const FleetOptions&)
{
    throw fleet::NeedsOtherProgram();
}

void list(Session&, const FleetOptions&)
{
    throw fleet::NeedsOtherProgram();
}

void report(Session&, const FleetOptions&)
{
    throw fleet::NeedsOtherProgram();
}

void show(Session&, const FleetOptions&)
{
    throw fleet::NeedsOtherProgram();
}

void forget(Session&, const FleetOptions&)
{
    throw fleet::NeedsOtherProgram();
}

} // namespace fleet

} // namespace velmioctl
