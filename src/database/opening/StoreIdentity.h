#pragma once

#include <core/Export.h>

#include <QByteArray>
#include <QString>

struct sqlite3;

namespace sync::database {

/// Who a store is, and whether it is where it belongs.
struct StoreIdentity
{
    QString storeId;
    bool moved = false; ///< Last used on another machine or by another account.
};

/// The stamp of a store on a machine, used by an account.
///
/// A keyed hash, so that nobody learns the machine's id from a copy of the store (machine-id(5)).
/// Where the system has no machine id, as in many containers, the account alone counts: a host name
/// that changes with each start would call every store moved.
QString machineStamp(const QByteArray& machineId, qint64 userId, const QString& storeId);

/// machineStamp() of this machine and the account that runs the program.
VELMIO_DATABASE_EXPORT QString ownMachineStamp(const QString& storeId);

/// Reads who the store is, and stamps one that belongs nowhere yet. A stamp that cannot be written
/// now, as on a full disk, is written by the next opening. Throws DatabaseError.
StoreIdentity readIdentity(sqlite3* database, const QString& path);

/// Whether a database of a newer schema version says that programs of `version` may use it.
bool admitsVersion(sqlite3* database, int version, const QString& path);

} // namespace sync::database
