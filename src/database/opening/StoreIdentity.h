#pragma once

#include <QByteArray>
#include <QString>

struct sqlite3;

namespace sync::database {

/// The first schema version that has one.
constexpr int FirstVersionWithIdentity = 2;

/// Which store it is, and where it belongs.
struct StoreIdentity
{
    QString storeId;
    bool stamped = false; ///< It belongs to a machine and an account.
    bool moved = false;   ///< Last used on another machine or by another account.
};

/// The stamp of a store on a machine, used by an account.
///
/// A keyed hash, so that nobody learns the machine's id from a copy of the store (machine-id(5)).
/// Where the system has no machine id, as in many containers, only the account counts: with a host
/// name that changes at each start every store would seem moved.
QString machineStamp(const QByteArray& machineId, qint64 userId, const QString& storeId);

/// machineStamp() of this machine and the account that runs the program.
QString ownMachineStamp(const QString& storeId);

/// Throws DatabaseError.
StoreIdentity readIdentity(sqlite3* database, const QString& path);

/// Makes a store that has no stamp belong to this machine and account. A stamp that cannot be
/// written now, as on a full disk, is written by the next opening.
void stamp(sqlite3* database, const StoreIdentity& identity);

/// True if a database of a newer schema version says that programs of `version` may use it.
bool admitsVersion(sqlite3* database, int version, const QString& path);

} // namespace sync::database
