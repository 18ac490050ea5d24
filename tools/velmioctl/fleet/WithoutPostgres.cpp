// What takes the place of the other sources of this room and of FleetStore.cpp in a build without
// PostgreSQL: the commands exist, and say why they cannot run.

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/fleet/Fleet.h>
#include <velmioctl/store/FleetStore.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

[[noreturn]] void refuse()
{
    throw CommandError(
        ExitCode::Usage, u"This velmioctl was built without PostgreSQL, so it knows no fleets. "
                         u"Install one that was built with VELMIO_WITH_POSTGRESQL."_s);
}

} // namespace

QString checkedFleetPlace(const QString&)
{
    refuse();
}

QString fleetName(const QString&)
{
    refuse();
}

std::shared_ptr<WatchedDatabase> openFleetStore(const QString&, const QString&)
{
    refuse();
}

namespace fleet {

void init(Session&, const FleetOptions&)
{
    refuse();
}

void push(Session&, const FleetOptions&)
{
    refuse();
}

void list(Session&, const FleetOptions&)
{
    refuse();
}

void report(Session&, const FleetOptions&)
{
    refuse();
}

void show(Session&, const FleetOptions&)
{
    refuse();
}

void forget(Session&, const FleetOptions&)
{
    refuse();
}

} // namespace fleet

} // namespace velmioctl
