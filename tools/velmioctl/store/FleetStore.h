#pragma once

#include <QString>

#include <memory>

namespace velmioctl {

class WatchedDatabase;

/// What names the database of a fleet, as libpq takes it. Throws CommandError if that cannot be
/// read, or has a password in it, which all users of the machine could read in the list of
/// processes.
QString checkedFleetPlace(const QString& place);

/// The name of a fleet for messages: its database and host, and no login.
QString fleetName(const QString& place);

/// Opens a store of a fleet for reading. Throws CommandError, also if there is no such store.
std::shared_ptr<WatchedDatabase> openFleetStore(const QString& place, const QString& storeId);

} // namespace velmioctl
